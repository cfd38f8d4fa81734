#pragma once

#include <algorithm>
#include <cstddef>

#include "imagemodel/kraoi.h"
#include "ipbase/ipFrame.h"

// The rows of images: how their pixels are reached, where images share them, and which of the last rows are kept.
namespace KrN {

// How pixels are reached: by address whenever all operands have addressable pixels; by address only when the switch for
// direct memory access is on as well; or likewise, but else pixel by pixel instead of row by row.
enum class Access { eTyped, eSwitched, eSwitchedPixels };
enum class Route { eAddress, eRows, ePixels };

inline bool AllowsDirect(Access access) {
    return access == Access::eTyped || KrIPAccelerationInfo::HasToUseDirectMemoryAccess() != 0;
}

// A null image, such as a mask that may be missing, has nothing that would have to be reached.
template <class... AOIs>
bool HaveRowPointers(const AOIs*... aois) {
    return ((!aois || aois->GetRowPointer(0)) && ...);
}

template <class... AOIs>
Route RouteOf(Access access, const AOIs*... aois) {
    if (AllowsDirect(access) && HaveRowPointers(aois...)) return Route::eAddress;
    return access == Access::eSwitchedPixels ? Route::ePixels : Route::eRows;
}

// The least width and height of all operands; empty when one is missing.
template <class... AOIs>
KrTSize<int> CommonRegion(const AOIs*... aois) {
    KrTSize<int> size{32767, 32767};
    const auto limit = [&size](const KrAOI* aoi) {
        size.cx = std::min<int>(size.cx, aoi ? aoi->AOIWidth() : 0);
        size.cy = std::min<int>(size.cy, aoi ? aoi->AOIHeight() : 0);
    };
    (limit(aois), ...);
    if (size.cx == 0 || size.cy == 0) return {0, 0};
    return size;
}

// Width and height of what is filtered.
struct Extent {
    std::size_t width, height;
};
inline Extent ExtentOf(KrTSize<int> size) {
    return {static_cast<std::size_t>(size.cx), static_cast<std::size_t>(size.cy)};
}

namespace walk {

inline KrColumnRange Columns(int first, int count) {
    return {static_cast<std::int16_t>(first), static_cast<std::int16_t>(first + count - 1)};
}
inline KrColumnRange Columns(int width) { return Columns(0, width); }

}  // namespace walk

// The rows of an image to be read, by address or from a buffer. A row is at hand until the next one is asked for.
template <class T>
class SourceRows {
public:
    SourceRows() = default;
    SourceRows(const KrTAOI<T>* aoi, Route route, int width)
        : mAOI(aoi), mRoute(route), mWidth(width), mBuffer(BufferSize(route, width)) {}

    bool IsDirect() const { return mRoute == Route::eAddress; }
    const T* Row(int y) { return Part(y, 0, mWidth); }
    // Some columns of a row.
    const T* Part(int y, int first, int count) {
        if (mRoute == Route::eAddress) return mAOI->GetRowPointer(y) + first;
        Load(*mAOI, mRoute, y, first, count, mBuffer);
        return mBuffer.Data();
    }

    static std::size_t BufferSize(Route route, int width) {
        return route == Route::eAddress ? 0 : static_cast<std::size_t>(width);
    }
    static void Load(const KrTAOI<T>& aoi, Route route, int y, int first, int count, KrTBuf1D<T>& buffer) {
        if (route == Route::eRows) return aoi.ReadRow(y, walk::Columns(first, count), buffer);
        for (int i = 0; i < count; ++i)
            buffer[static_cast<std::size_t>(i)] = aoi.ReadPixel({static_cast<short>(first + i), static_cast<short>(y)});
    }

private:
    const KrTAOI<T>* mAOI = nullptr;
    Route mRoute = Route::eAddress;
    int mWidth = 0;
    KrTBuf1D<T> mBuffer;
};

// The rows of an image to be written: each is delivered by Finish.
template <class T>
class TargetRows {
public:
    TargetRows() = default;
    TargetRows(KrTAOI<T>* aoi, Route route, int width)
        : mAOI(aoi), mRoute(route), mWidth(width), mBuffer(SourceRows<T>::BufferSize(route, width)) {
        if (aoi && width > 0) aoi->RequireWritable();
    }

    // Where to write a row, or a part of it that begins at the given column.
    T* Row(int y, int first = 0) { return mRoute == Route::eAddress ? mAOI->GetRowPointer(y) + first : mBuffer.Data(); }
    // The same with the pixels as they are.
    T* Load(int y) { return Load(y, 0, mWidth); }
    T* Load(int y, int first, int count) {
        if (mRoute != Route::eAddress) SourceRows<T>::Load(*mAOI, mRoute, y, first, count, mBuffer);
        return Row(y, first);
    }
    void Finish(int y) { Finish(y, 0, mWidth); }
    void Finish(int y, int first, int count) {
        if (mRoute == Route::eRows) mAOI->WriteRow(y, walk::Columns(first, count), mBuffer);
        if (mRoute != Route::ePixels) return;
        for (int i = 0; i < count; ++i)
            mAOI->WritePixel({static_cast<short>(first + i), static_cast<short>(y)},
                             mBuffer[static_cast<std::size_t>(i)]);
    }

private:
    KrTAOI<T>* mAOI = nullptr;
    Route mRoute = Route::eAddress;
    int mWidth = 0;
    KrTBuf1D<T> mBuffer;
};

// A buffer of so many rows through which a sequence of rows rolls: the places of the last ones.
class Ring {
public:
    explicit Ring(std::size_t size) : mSize(size), mLast(size - 1) {}
    std::size_t Size() const { return mSize; }
    // The place of a row. For those up to it that have not been there, `fetch(row, place)` is called in ascending
    // order.
    template <class F>
    std::size_t Reach(std::size_t row, const F& fetch) {
        while (mNext <= row) {
            const std::size_t next = mNext;
            fetch(next, Add());
        }
        return (*this)[row];
    }
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
        return mRows.Row(mRing.Reach(y, [this](std::size_t row, std::size_t place) {
            std::copy_n(mSource.Row(static_cast<int>(row)), mRows.Width(), mRows.Row(place));
        }));
    }

private:
    const T* mFirst = nullptr;  // null when the rows are copied
    std::size_t mIncrement = 0;
    SourceRows<T> mSource;
    Ring mRing{1};
    KrTBuf2D<T> mRows;
};

// Gives the memory for each row of a destination and delivers it.
template <class T>
class RowWriter {
public:
    RowWriter(KrTAOI<T>& dst, KrTSize<int> size) : mTarget(&dst, RouteOf(Access::eSwitched, &dst), size.cx) {}
    RowWriter(T* pixels, std::size_t width) : mFirst(pixels), mWidth(width) {}
    explicit RowWriter(KrTBuf2D<T>& image) : RowWriter(image.Row(0), image.Width()) {}
    T* Row(std::size_t y) { return mFirst ? mFirst + y * mWidth : mTarget.Row(static_cast<int>(y)); }
    void Finish(std::size_t y) { mTarget.Finish(static_cast<int>(y)); }

private:
    T* mFirst = nullptr;
    std::size_t mWidth = 0;
    TargetRows<T> mTarget;
};

template <class T, class Rows>
void Copy(Extent size, Rows& rows, RowWriter<T>& writer) {
    for (std::size_t y = 0; y < size.height; ++y) {
        std::copy_n(rows.Row(y), size.width, writer.Row(y));
        writer.Finish(y);
    }
}

}  // namespace KrN
