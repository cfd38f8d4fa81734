#include "ipbase/filters/binary.h"

#include "ipbase/kernels/edge.h"

// Both passes give the pixels that they fill the same value, so that bits tell all about them but the value of others.
namespace KrN {

namespace {

using kernels::BitWords;
using kernels::u64;

// The rows of a source as bits, which take an eighth of the memory of bytes and are handled 64 at a time; the last
// `kept` ones are at hand.
template <class T>
class EdgeBits {
public:
    EdgeBits(const EdgeFill<T>& fill, std::uint32_t reach, Extent size, RowReader<T>& reader, std::size_t kept)
        : mFill(fill),
          mReach(std::min<std::size_t>(reach, size.width)),
          mWidth(size.width),
          mReader(reader),
          mRing(std::min(kept, size.height)),
          mPixels(reader.IsDirect() ? 0 : size.width, mRing.Size()),
          mWords(BitWords(size.width)),
          mFilled(mWords + 1, mRing.Size()),
          mGround(mWords + 4, mRing.Size()),
          mScratch(6 * mWords) {}
    const T* Pixels(std::size_t y) {
        const std::size_t at = At(y);
        return mReader.IsDirect() ? mReader.Row(y) : mPixels.Row(at);
    }
    // What the pass along the row fills.
    const u64* Filled(std::size_t y) { return mFilled.Row(At(y)); }
    // The ground when that is filled.
    const u64* Ground(std::size_t y) { return mGround.Row(At(y)) + 2; }

private:
    std::size_t At(std::size_t y) {
        return mRing.Reach(y, [this](std::size_t row, std::size_t place) { Fetch(row, place); });
    }
    void Fetch(std::size_t y, std::size_t at) {
        const T* row = mReader.Row(y);
        u64 *filled = mFilled.Row(at), *ground = mGround.Row(at) + 2;
        if (!mReader.IsDirect()) std::copy_n(row, mWidth, mPixels.Row(at));
        std::get<kernels::EdgeRows<T>>(mTable.edges).ground(ground, row, mFill.foreground, mFill.outwards, mWidth);
        if (mReach == 0) return;  // nothing is filled
        const bool isGround = (mFill.value >= mFill.foreground) != mFill.outwards;
        mTable.bits.along(filled, ground, mReach, isGround, mScratch.data(), mWords);
    }

    const kernels::EdgeKernels& mTable = kernels::GetEdgeKernels();
    EdgeFill<T> mFill;
    std::size_t mReach, mWidth;
    RowReader<T>& mReader;
    Ring mRing;
    KrTBuf2D<T> mPixels;
    std::size_t mWords;
    KrTBuf2D<u64> mFilled, mGround;
    std::vector<u64> mScratch;
};

// What the pass along the columns fills. The mark of an edge stands in the row from which on it fills `reach` rows,
// which may be up to `reach - 1` rows above the image; a row is filled where one of the last `reach` marks is set.
// Those of a whole block of marks are joined from its end on, so that two joined rows cover each window (M. van Herk,
// "A fast algorithm for local minimum and maximum filters on rectangular and octagonal kernels", Pattern Recognition
// Letters 13, 1992).
template <class T>
class ColumnFill {
public:
    ColumnFill(EdgeBits<T>& rows, std::size_t reach, Extent size)
        : mRows(rows),
          mReach(reach),
          mHeight(size.height),
          mMarks(BitWords(size.width), reach),
          mSince(BitWords(size.width)),
          mFilled(mSince.size() + 1) {
        for (std::size_t mark = 0; mark + 1 < reach; ++mark) Add(mark);
    }
    // The rows from top to bottom, joined with what the pass along the row fills.
    const u64* Row(std::size_t y) {
        Add(y + mReach - 1);
        mBits.join(mFilled.data(), mRows.Filled(y), mMarks.Row(mAt), mSince.data(), mSince.size());
        return mFilled.data();
    }

private:
    void Add(std::size_t mark) {
        const std::size_t first = mark - std::min(mark, mReach - 1), above = mark - std::min(mark, mReach);
        const std::size_t last = std::min(mark, mHeight - 1), below = std::min(mark + 1, mHeight - 1);
        const std::size_t words = mSince.size();
        mBits.mark(mMarks.Row(mAt), mSince.data(), mRows.Ground(first), mRows.Ground(above), mRows.Ground(last),
                   mRows.Ground(below), words);
        if (++mAt < mReach) return;
        while (--mAt > 0) {
            u64* joined = mMarks.Row(mAt - 1);
            mBits.join(joined, joined, mMarks.Row(mAt), joined, words);
        }
        std::fill(mSince.begin(), mSince.end(), u64{0});
    }

    const kernels::BitRows& mBits = kernels::GetEdgeKernels().bits;
    EdgeBits<T>& mRows;
    std::size_t mReach, mHeight, mAt = 0;  // the row of the next mark, which is that of the oldest one
    KrTBuf2D<u64> mMarks;
    std::vector<u64> mSince, mFilled;
};

}  // namespace

template <class T>
void FillEdges(const EdgeFill<T>& fill, std::uint32_t reachX, std::uint32_t reachY, Extent size, RowReader<T>& reader,
               RowWriter<T>& writer) {
    if (size.width == 0 || size.height == 0) return;
    const std::size_t reach = std::min<std::size_t>(reachY, size.height);
    EdgeBits<T> source(fill, reachX, size, reader, reach + 2);
    ColumnFill<T> columns(source, std::max<std::size_t>(reach, 1), size);
    const auto& edges = std::get<kernels::EdgeRows<T>>(kernels::GetEdgeKernels().edges);
    for (std::size_t y = 0; y < size.height; ++y) {
        const u64* filled = reach > 0 ? columns.Row(y) : source.Filled(y);
        edges.fill(writer.Row(y), source.Pixels(y), filled, fill.value, size.width);
        writer.Finish(y);
    }
}

#define VORIP_INSTANTIATE(T) \
  template void FillEdges<T>(const EdgeFill<T>&, std::uint32_t, std::uint32_t, Extent, RowReader<T>&, RowWriter<T>&)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
