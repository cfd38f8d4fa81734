#include "ipbase/ipCopy.h"

#include <cstring>
#include <numeric>
#include <vector>

#include "ipbase/ipRows.h"
#include "ipbase/ipScalar.h"
#include "ipbase/rows/ipTransferRows.h"

namespace KrN {

using namespace rows;

template <class T>
void KrIpSet::Set(KrTAOI<T>* dst, double value) {
    const auto row = std::get<FillRow<T>>(GetTransferRows().fill);
    const T constant = TruncateTo<T>(value);
    WalkRows(
        Access::eTyped, [=](T* d, std::size_t n) { row(d, constant, n); }, dst);
}

template <class T>
void KrIpCopy::Copy(const KrTAOI<T>* src, KrTAOI<T>* dst) {
    WalkRows(
        Access::eTyped, [](T* d, const T* s, std::size_t n) { std::memmove(d, s, n * sizeof(T)); }, dst, src);
}

template <class A, class D>
void KrIpCopy::CopyHigh(const KrTAOI<A>* src, KrTAOI<D>* dst) {
    WalkRows(Access::eTyped, std::get<UnaryRow<D, A>>(GetTransferRows().high), dst, src);
}

template <class A, class D>
void KrIpCopy::CopyLow(const KrTAOI<A>* src, KrTAOI<D>* dst) {
    WalkRows(Access::eTyped, std::get<UnaryRow<D, A>>(GetTransferRows().convert), dst, src);
}

namespace {

// Whether any row of one view overlaps any row of the other.
template <class T>
bool SharePixels(const KrTAOI<T>* a, const KrTAOI<T>* b) {
    if (static_cast<const KrAOI*>(a) == b) return true;
    if (!HaveRowPointers(a, b)) return false;
    const auto end = [](const KrTAOI<T>* aoi) { return aoi->GetRowPointer(aoi->AOIHeight() - 1) + aoi->AOIWidth(); };
    const bool apart =
        std::less_equal<>()(end(a), b->GetRowPointer(0)) || std::less_equal<>()(end(b), a->GetRowPointer(0));
    if (apart) return false;
    if (a->GetRowIncInBytes() != b->GetRowIncInBytes() || a->GetRowIncInBytes() == 0) return true;
    // The same stride: the views overlap when their rows do and their columns do, on the common pitch.
    const auto pitch = static_cast<std::ptrdiff_t>(a->GetRowIncInBytes());
    const auto offset =
        reinterpret_cast<std::intptr_t>(b->GetRowPointer(0)) - reinterpret_cast<std::intptr_t>(a->GetRowPointer(0));
    const std::ptrdiff_t column = ((offset % pitch) + pitch) % pitch;
    return column < a->AOIWidth() * std::ptrdiff_t{sizeof(T)} ||
           column + b->AOIWidth() * std::ptrdiff_t{sizeof(T)} > pitch;
}

// First source coordinate of each destination coordinate, and the end of the last block.
std::vector<int> BlockStarts(int source, int destination) {
    std::vector<int> starts(static_cast<std::size_t>(destination) + 1);
    for (std::size_t i = 0; i < starts.size(); ++i)
        starts[i] = static_cast<int>(static_cast<std::int64_t>(i) * source / destination);
    return starts;
}

// Means of blocks. Integers may be added up in any order: here whole rows first, in vectors. Sums of 8- and 16-bit
// pixels are so far below 2^53 that their quotient in double precision, truncated, is the integer quotient.
template <class T, class = void>
class BlockMeans {
public:
    BlockMeans(std::size_t sourceWidth, const std::vector<int>& columns) : mColumns(columns), mSums(sourceWidth) {}
    void Add(const T* src) {
        for (std::size_t x = 0; x < mSums.size(); ++x) mSums[x] += static_cast<Sum>(src[x]);
        ++mRows;
    }
    void Take(T* dst, std::size_t width) {
        if (mSums.size() == 2 * width)
            for (std::size_t x = 0; x < width; ++x)
                dst[x] = Quotient(Total{mSums[2 * x]} + mSums[2 * x + 1], 2 * mRows);
        else
            for (std::size_t x = 0; x < width; ++x) {
                const auto first = mSums.begin() + mColumns[x], last = mSums.begin() + mColumns[x + 1];
                dst[x] = Quotient(std::accumulate(first, last, Total{0}), static_cast<int>(last - first) * mRows);
            }
        std::fill(mSums.begin(), mSums.end(), Sum{0});
        mRows = 0;
    }

private:
    using Sum = std::conditional_t<sizeof(T) <= 2, std::uint32_t, std::int64_t>;  // of up to 32,767 rows
    using Total = std::int64_t;
    static T Quotient(Total sum, int count) {
        if constexpr (sizeof(T) <= 2)
            return static_cast<T>(static_cast<int>(static_cast<double>(sum) / count));
        else
            return static_cast<T>(sum / count);
    }
    const std::vector<int>& mColumns;
    std::vector<Sum> mSums;
    int mRows = 0;
};

// Floating-point values are added up block by block in raster order.
template <class T>
class BlockMeans<T, std::enable_if_t<std::is_floating_point_v<T>>> {
public:
    BlockMeans(std::size_t, const std::vector<int>& columns) : mColumns(columns), mSums(columns.size() - 1) {}
    void Add(const T* src) {
        for (std::size_t x = 0; x < mSums.size(); ++x)
            for (int i = mColumns[x]; i < mColumns[x + 1]; ++i) mSums[x] += static_cast<double>(src[i]);
        ++mRows;
    }
    void Take(T* dst, std::size_t width) {
        for (std::size_t x = 0; x < width; ++x)
            dst[x] = static_cast<T>(mSums[x] / ((mColumns[x + 1] - mColumns[x]) * mRows));
        std::fill(mSums.begin(), mSums.end(), 0.0);
        mRows = 0;
    }

private:
    const std::vector<int>& mColumns;
    std::vector<double> mSums;
    int mRows = 0;
};

}  // namespace

template <class T>
void KrIpCopy::CopyZoom(const KrTAOI<T>* src, KrTAOI<T>* dst, int averaging) {
    if (CommonRegion(src, dst).cx == 0) return;
    if (SharePixels(src, dst)) throw new KrNotImplementedException(L"C\\ipCopy", 250, L"CopyZoom( pSrc == pDest )");
    if (src->AOIWidth() < dst->AOIWidth() || src->AOIHeight() < dst->AOIHeight())
        throw new KrNotImplementedException(L"C\\ipCopy", 325, L"CopyZoom( pSrc < pDest )");
    if (src->AOISize() == dst->AOISize()) return Copy(src, dst);

    const int width = dst->AOIWidth();
    const std::vector<int> columns = BlockStarts(src->AOIWidth(), width);
    const std::vector<int> rows = BlockStarts(src->AOIHeight(), dst->AOIHeight());
    KrTBuf1D<T> in(static_cast<std::size_t>(src->AOIWidth()));
    KrTBuf1D<T> buffer(static_cast<std::size_t>(width));
    BlockMeans<T> means(in.Size(), columns);
    for (std::size_t y = 0; y + 1 < rows.size(); ++y) {
        const int end = averaging ? rows[y + 1] : rows[y] + 1;
        T* direct = dst->GetRowPointer(static_cast<int>(y));
        T* out = direct ? direct : buffer.Data();
        for (int row = rows[y]; row < end; ++row) {
            const T* line = src->GetRowPointer(row);
            if (!line) {
                src->ReadRow(row, walk::Columns(src->AOIWidth()), in);
                line = in.Data();
            }
            if (averaging)
                means.Add(line);
            else
                for (std::size_t x = 0; x < buffer.Size(); ++x) out[x] = line[columns[x]];
        }
        if (averaging) means.Take(out, buffer.Size());
        if (!direct) dst->WriteRow(static_cast<int>(y), walk::Columns(width), buffer);
    }
}

// The supported combinations.
// clang-format off
#define COPY(kernel, A, D) template VORIP_API void KrIpCopy::kernel(const KrTAOI<A>*, KrTAOI<D>*);
COPY(Copy, u8, u8) COPY(Copy, u16, u16) COPY(Copy, i32, i32) COPY(Copy, float, float) COPY(Copy, double, double)
COPY(CopyHigh, u8, u16) COPY(CopyHigh, u16, u8) COPY(CopyHigh, u16, i32)
COPY(CopyLow, u8, u16) COPY(CopyLow, u16, i32)

#define SET(T) template VORIP_API void KrIpSet::Set(KrTAOI<T>*, double);
SET(u8) SET(u16) SET(i32) SET(float) SET(double)

#define ZOOM(T) template VORIP_API void KrIpCopy::CopyZoom(const KrTAOI<T>*, KrTAOI<T>*, int);
ZOOM(u8) ZOOM(u16) ZOOM(i32) ZOOM(float)
// clang-format on

}  // namespace KrN
