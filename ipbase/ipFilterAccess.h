#pragma once

#include "imagemodel/kraoi.h"
#include "ipbase/ipRows.h"

// The rows of the image that a filter reads and of the one that it writes, which may be the same.
namespace KrN {

// Width and height of what is filtered.
struct Extent {
    std::size_t width, height;
};

// The rows of a source while a destination is written from top to bottom. The rows from `kept - 1` above the last one
// that was asked for are at hand; with `kept` 1, a row is no longer needed when the destination's row is written.
template <class T>
class RowReader {
public:
    RowReader(const KrTAOI<T>& src, const KrTAOI<T>& dst, KrTSize<int> size, std::size_t kept);
    // Of an image in memory that is its own destination; `kept` is 1.
    explicit RowReader(const KrTBuf2D<T>& image);
    // Rows are asked for in ascending order, or again while they are kept.
    const T* Row(std::size_t y) {
        if (mFirst) return reinterpret_cast<const T*>(reinterpret_cast<const char*>(mFirst) + y * mIncrement);
        while (mNext <= y) Fetch();
        return mRows.Row(y % mRows.Height());
    }

private:
    void Fetch();

    const KrTAOI<T>* mSrc = nullptr;
    const T* mFirst = nullptr;  // null when the rows are copied
    std::size_t mIncrement = 0;
    bool mPointers = false;
    std::size_t mNext = 0;
    KrTBuf2D<T> mRows;
    KrTBuf1D<T> mLine;
};

// Gives the memory for each row of a destination and delivers it.
template <class T>
class RowWriter {
public:
    RowWriter(KrTAOI<T>& dst, KrTSize<int> size);
    explicit RowWriter(KrTBuf2D<T>& image);
    T* Row(std::size_t y) {
        if (mImage) return mImage->Row(y);
        return mDirect ? mDst->GetRowPointer(static_cast<int>(y)) : mLine.Data();
    }
    void Finish(std::size_t y) {
        if (!mDirect) mDst->WriteRow(static_cast<int>(y), mColumns, mLine);
    }

private:
    KrTAOI<T>* mDst = nullptr;
    KrTBuf2D<T>* mImage = nullptr;
    KrColumnRange mColumns{};
    bool mDirect = true;
    KrTBuf1D<T> mLine;
};

}  // namespace KrN
