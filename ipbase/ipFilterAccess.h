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
    // Of pixels in memory that are their own destination; `kept` is 1.
    RowReader(const T* pixels, std::size_t width) : mFirst(pixels), mIncrement(width * sizeof(T)) {}
    explicit RowReader(const KrTBuf2D<T>& image) : RowReader(image.Row(0), image.Width()) {}
    // The rows are those of the source itself.
    bool IsDirect() const { return mFirst != nullptr; }
    // Rows are asked for in ascending order, or again while they are kept; those of the source itself in any order.
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
    RowWriter(T* pixels, std::size_t width) : mFirst(pixels), mWidth(width) {}
    explicit RowWriter(KrTBuf2D<T>& image) : RowWriter(image.Row(0), image.Width()) {}
    T* Row(std::size_t y) {
        if (mFirst) return mFirst + y * mWidth;
        return mDirect ? mDst->GetRowPointer(static_cast<int>(y)) : mLine.Data();
    }
    void Finish(std::size_t y) {
        if (!mDirect) mDst->WriteRow(static_cast<int>(y), mColumns, mLine);
    }

private:
    KrTAOI<T>* mDst = nullptr;
    T* mFirst = nullptr;
    std::size_t mWidth = 0;
    KrColumnRange mColumns{};
    bool mDirect = true;
    KrTBuf1D<T> mLine;
};

template <class T, class Rows>
void Copy(Extent size, Rows& rows, RowWriter<T>& writer) {
    for (std::size_t y = 0; y < size.height; ++y) {
        std::copy_n(rows.Row(y), size.width, writer.Row(y));
        writer.Finish(y);
    }
}

}  // namespace KrN
