#pragma once

#include "imagemodel/kraoi.h"
#include "ipbase/base/rowwalk.h"

// The rows of the image that a filter reads and of the one that it writes, which may be the same.
namespace KrN {

// Width and height of what is filtered.
struct Extent {
    std::size_t width, height;
};
inline Extent ExtentOf(KrTSize<int> size) {
    return {static_cast<std::size_t>(size.cx), static_cast<std::size_t>(size.cy)};
}

// Where the last rows of a sequence stand in a buffer of so many rows.
class Ring {
public:
    explicit Ring(std::size_t size) : mSize(size), mLast(size - 1) {}
    std::size_t Size() const { return mSize; }
    // The number of the next row.
    std::size_t Next() const { return mNext; }
    // Gives the next row the place of the oldest one.
    std::size_t Add() {
        ++mNext;
        mLast = mLast + 1 < mSize ? mLast + 1 : 0;
        return mLast;
    }
    // The place of one of the last rows.
    std::size_t operator[](std::size_t row) const {
        const std::size_t back = mNext - 1 - row;
        return mLast >= back ? mLast - back : mLast + mSize - back;
    }

private:
    std::size_t mSize, mLast, mNext = 0;
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
        while (mRing.Next() <= y) Fetch();
        return mRows.Row(mRing[y]);
    }

private:
    void Fetch();

    const KrTAOI<T>* mSrc = nullptr;
    const T* mFirst = nullptr;  // null when the rows are copied
    std::size_t mIncrement = 0;
    bool mPointers = false;
    Ring mRing{1};
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
