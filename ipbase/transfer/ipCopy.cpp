#include "ipbase/ipCopy.h"

#include <cstring>
#include <vector>

#include "ipbase/base/overlap.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/kernels/transfer.h"
#include "ipbase/kernels/zoom.h"

namespace KrN {

using namespace kernels;

template <class T>
void KrIpSet::Set(KrTAOI<T>* dst, double value) {
    WalkConstant(Access::eTyped, std::get<FillRow<T>>(GetTransferKernels().fill), TruncateTo<T>(value), dst);
}

template <class T>
void KrIpCopy::Copy(const KrTAOI<T>* src, KrTAOI<T>* dst) {
    WalkRows(
        Access::eTyped, [](T* d, const T* s, std::size_t n) { std::memmove(d, s, n * sizeof(T)); }, dst, src);
}

template <class A, class D>
void KrIpCopy::MoveHigh(const KrTAOI<A>* src, KrTAOI<D>* dst) {
    WalkRows(Access::eTyped, std::get<UnaryRow<D, A>>(GetTransferKernels().high), dst, src);
}

template <class A, class D>
void KrIpCopy::MoveLow(const KrTAOI<A>* src, KrTAOI<D>* dst) {
    WalkRows(Access::eTyped, std::get<UnaryRow<D, A>>(GetTransferKernels().convert), dst, src);
}

namespace {

// First source coordinate of each destination coordinate, and the end of the last block.
std::vector<int> BlockStarts(int source, int destination) {
    std::vector<int> starts(static_cast<std::size_t>(destination) + 1);
    for (std::size_t i = 0; i < starts.size(); ++i)
        starts[i] = static_cast<int>(static_cast<std::int64_t>(i) * source / destination);
    return starts;
}

// The means of one row of blocks, which grow row by row. Values are added up block by block in raster order.
template <class T, class Sum>
class BlockMeans {
public:
    BlockMeans(const std::vector<int>& columns, int step) : mColumns(columns), mStep(step), mSums(columns.size() - 1) {}

    void Add(const T* src) {
        ++mRows;
        if (mStep > 0)
            return std::get<BlockSumRow<Sum, T>>(GetZoomKernels().sum)(mSums.data(), src, mStep, mSums.size());
        for (std::size_t x = 0; x < mSums.size(); ++x)
            for (int i = mColumns[x]; i < mColumns[x + 1]; ++i) mSums[x] += static_cast<Sum>(src[i]);
    }

    void Take(T* dst) {
        if (mStep > 0)
            std::get<ConstantRow<T, Sum, int>>(GetZoomKernels().mean)(dst, mSums.data(), mStep * mRows, mSums.size());
        else
            for (std::size_t x = 0; x < mSums.size(); ++x)
                dst[x] = static_cast<T>(mSums[x] / static_cast<Sum>((mColumns[x + 1] - mColumns[x]) * mRows));
        std::fill(mSums.begin(), mSums.end(), Sum{0});
        mRows = 0;
    }

private:
    const std::vector<int>& mColumns;
    int mStep;  // width of the blocks where all are equally wide, else 0
    std::vector<Sum> mSums;
    int mRows = 0;
};

// Goes down the source: `add(pixels)` sees each row, `finish(out)` makes destination row k after source row ends[k]
// - 1.
template <class T, class Add, class Finish>
void ReduceRows(const KrTAOI<T>* src, KrTAOI<T>* dst, const int* ends, const Add& add, const Finish& finish) {
    TargetRows<T> to(dst, RouteOf(Access::eTyped, dst), dst->AOIWidth());
    int done = 0;
    VisitRows(
        Access::eTyped,
        [&](int y, const T* pixels, std::size_t) {
            add(pixels);
            if (done == dst->AOIHeight() || y + 1 < ends[done]) return;
            finish(to.Row(done));
            to.Finish(done++);
        },
        src);
}

template <class Sum, class T>
void AverageBlocks(const KrTAOI<T>* src, KrTAOI<T>* dst, const int* ends, const std::vector<int>& columns, int step) {
    BlockMeans<T, Sum> means(columns, step);
    ReduceRows(
        src, dst, ends, [&](const T* pixels) { means.Add(pixels); }, [&](T* out) { means.Take(out); });
}

template <class T>
void SampleBlocks(const KrTAOI<T>* src, KrTAOI<T>* dst, const int* starts, const std::vector<int>& columns, int step) {
    std::vector<int> ends(starts, starts + dst->AOIHeight());
    for (int& end : ends) ++end;
    const std::size_t width = columns.size() - 1;
    const T* line = nullptr;
    ReduceRows(
        src, dst, ends.data(), [&](const T* pixels) { line = pixels; },
        [&](T* out) {
            if (step > 0) return std::get<PickRow<T>>(GetZoomKernels().pick)(out, line, step, width);
            for (std::size_t x = 0; x < width; ++x) out[x] = line[columns[x]];
        });
}

}  // namespace

template <class T>
void KrIpCopy::Reduce(const KrTAOI<T>* src, KrTAOI<T>* dst, int averaging) {
    const KrTSize<int> size = CommonRegion(src, dst);
    if (size.cx == 0) return;
    dst->RequireWritable();
    if (SharePixels(src, dst)) throw new KrNotImplementedException(L"C\\ipCopy", 250, L"CopyZoom( pSrc == pDest )");
    if (src->AOIWidth() < dst->AOIWidth() || src->AOIHeight() < dst->AOIHeight())
        throw new KrNotImplementedException(L"C\\ipCopy", 325, L"CopyZoom( pSrc < pDest )");
    if (src->AOISize() == dst->AOISize()) return Copy(src, dst);

    const std::vector<int> columns = BlockStarts(src->AOIWidth(), size.cx);
    const std::vector<int> rows = BlockStarts(src->AOIHeight(), size.cy);
    const int step = src->AOIWidth() % size.cx == 0 ? src->AOIWidth() / size.cx : 0;
    if (!averaging) return SampleBlocks(src, dst, rows.data(), columns, step);
    if constexpr (std::is_floating_point_v<T>) {
        AverageBlocks<double>(src, dst, rows.data() + 1, columns, step);
    } else {
        using Narrow = std::conditional_t<sizeof(T) == 4, std::int64_t, std::uint32_t>;
        if ((src->AOIWidth() / size.cx + 1) * (src->AOIHeight() / size.cy + 1) <= 0x10000)
            AverageBlocks<Narrow>(src, dst, rows.data() + 1, columns, step);
        else
            AverageBlocks<std::int64_t>(src, dst, rows.data() + 1, columns, step);
    }
}

// The supported combinations.
// clang-format off
#define COPY(kernel, A, D) template VORIP_API void KrIpCopy::kernel(const KrTAOI<A>*, KrTAOI<D>*);
COPY(Copy, u8, u8) COPY(Copy, u16, u16) COPY(Copy, i32, i32) COPY(Copy, float, float) COPY(Copy, double, double)
COPY(MoveHigh, u8, u16) COPY(MoveHigh, u16, u8) COPY(MoveHigh, u16, i32)
COPY(MoveLow, u8, u16) COPY(MoveLow, u16, i32)

#define SET(T) template VORIP_API void KrIpSet::Set(KrTAOI<T>*, double);
SET(u8) SET(u16) SET(i32) SET(float) SET(double)

#define ZOOM(T) template VORIP_API void KrIpCopy::Reduce(const KrTAOI<T>*, KrTAOI<T>*, int);
ZOOM(u8) ZOOM(u16) ZOOM(i32) ZOOM(float)
// clang-format on

}  // namespace KrN
