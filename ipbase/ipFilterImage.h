#pragma once

#include <cstdint>

#include "ipbase/ipDispatch.h"
#include "ipbase/ipFilterLine.h"
#include "ipbase/ipRows.h"

// A window on images: along rows or along columns of their common region.
namespace KrN {

// The rows of a source while a destination, which may be the same image, is written from top to bottom. The rows from
// `kept - 1` above the last one that was asked for are at hand.
template <class T>
class RowReader {
public:
    RowReader(const KrTAOI<T>& src, const KrTAOI<T>& dst, KrTSize<int> size, std::size_t kept);
    // Rows are asked for in ascending order, or again while they are kept.
    const T* Row(std::size_t y) {
        while (mNext <= y) Fetch();
        return mDirect ? mSrc.GetRowPointer(static_cast<int>(y)) : mRows.Row(y % mRows.Height());
    }

private:
    void Fetch();

    const KrTAOI<T>& mSrc;
    bool mPointers, mDirect = false;
    std::size_t mNext = 0;
    KrTBuf2D<T> mRows;
    KrTBuf1D<T> mLine;
};

// Gives the memory for each row of a destination and delivers it.
template <class T>
class RowWriter {
public:
    RowWriter(KrTAOI<T>& dst, KrTSize<int> size);
    T* Row(std::size_t y) { return mDirect ? mDst.GetRowPointer(static_cast<int>(y)) : mLine.Data(); }
    void Finish(std::size_t y) {
        if (!mDirect) mDst.WriteRow(static_cast<int>(y), mColumns, mLine);
    }

private:
    KrTAOI<T>& mDst;
    KrColumnRange mColumns;
    bool mDirect;
    KrTBuf1D<T> mLine;
};

template <class T>
void FilterAlongRows(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst);
template <class T>
void FilterAlongColumns(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst);

// Two-pass recursive smoothing of every row or column.
template <class T>
void SmoothAlongRows(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);
template <class T>
void SmoothAlongColumns(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);
// The rows, then the columns of the result.
template <class T>
void SmoothBothWays(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);

std::vector<OperationInfo> LineFilterOperations();
std::vector<OperationInfo> ImageFilterOperations();

}  // namespace KrN
