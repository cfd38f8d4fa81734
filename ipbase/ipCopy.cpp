#include "ipbase/ipCopy.h"

#include <cstring>
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
    const bool apart = std::less_equal<>()(end(a), b->GetRowPointer(0)) || std::less_equal<>()(end(b), a->GetRowPointer(0));
    if (apart) return false;
    if (a->GetRowIncInBytes() != b->GetRowIncInBytes() || a->GetRowIncInBytes() == 0) return true;
    // The same stride: the views overlap when their rows do and their columns do, on the common pitch.
    const auto pitch = static_cast<std::ptrdiff_t>(a->GetRowIncInBytes());
    const auto offset = reinterpret_cast<std::intptr_t>(b->GetRowPointer(0)) - reinterpret_cast<std::intptr_t>(a->GetRowPointer(0));
    const std::ptrdiff_t column = ((offset % pitch) + pitch) % pitch;
    return column < a->AOIWidth() * std::ptrdiff_t{sizeof(T)} || column + b->AOIWidth() * std::ptrdiff_t{sizeof(T)} > pitch;
}

// First source coordinate of each destination coordinate, and the end of the last block.
std::vector<int> BlockStarts(int source, int destination) {
    std::vector<int> starts(static_cast<std::size_t>(destination) + 1);
    for (std::size_t i = 0; i < starts.size(); ++i)
        starts[i] = static_cast<int>(static_cast<std::int64_t>(i) * source / destination);
    return starts;
}

template <class T>
using BlockSum = std::conditional_t<std::is_integral_v<T>, std::int64_t, double>;

template <class T>
void AddBlockSums(const T* src, const std::vector<int>& columns, std::vector<BlockSum<T>>& sums) {
    for (std::size_t x = 0; x < sums.size(); ++x)
        for (int i = columns[x]; i < columns[x + 1]; ++i) sums[x] += src[i];
}

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
    KrTBuf1D<T> out(static_cast<std::size_t>(width));
    std::vector<BlockSum<T>> sums(static_cast<std::size_t>(width));
    for (std::size_t y = 0; y + 1 < rows.size(); ++y) {
        const int end = averaging ? rows[y + 1] : rows[y] + 1;
        std::fill(sums.begin(), sums.end(), 0);
        for (int row = rows[y]; row < end; ++row) {
            const T* line = src->GetRowPointer(row);
            if (!line) {
                src->ReadRow(row, walk::Columns(src->AOIWidth()), in);
                line = in.Data();
            }
            if (averaging)
                AddBlockSums(line, columns, sums);
            else
                for (std::size_t x = 0; x < sums.size(); ++x) out[x] = line[columns[x]];
        }
        if (averaging)
            for (std::size_t x = 0; x < sums.size(); ++x)
                out[x] = static_cast<T>(sums[x] / ((columns[x + 1] - columns[x]) * (end - rows[y])));
        dst->WriteRow(static_cast<int>(y), walk::Columns(width), out);
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
