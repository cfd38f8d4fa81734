#include "ipbase/ipFilterMedian.h"

#include "ipbase/ipFilterMasked.h"
#include "ipbase/ipFilterRanks.h"
#include "ipbase/rows/ipMedianRows.h"

namespace KrN {

namespace {

using Byte = std::uint8_t;
using rows::Comparator;

// Up to this many samples a sorting network is fastest.
template <class T>
constexpr std::size_t kNetworkSamples = sizeof(T) == 1 ? 49 : 81;

// Batcher's odd-even merge sort of `count` samples, without what does not lead to the ranks from `first` to `last`.
std::vector<Comparator> SelectionNetwork(std::size_t count, std::size_t first, std::size_t last) {
    std::vector<Comparator> all;
    for (std::size_t p = 1; p < count; p *= 2)
        for (std::size_t k = p; k > 0; k /= 2)
            for (std::size_t j = k % p; j + k < count; j += 2 * k)
                for (std::size_t i = 0; i < k && i + j + k < count; ++i)
                    if ((i + j) / (2 * p) == (i + j + k) / (2 * p))
                        all.push_back({static_cast<rows::u16>(i + j), static_cast<rows::u16>(i + j + k), true, true});
    std::vector<bool> needed(count);
    std::fill(needed.begin() + static_cast<std::ptrdiff_t>(first),
              needed.begin() + static_cast<std::ptrdiff_t>(last) + 1, true);
    std::vector<Comparator> list;
    for (auto c = all.rbegin(); c != all.rend(); ++c) {
        c->keepLow = needed[c->low];
        c->keepHigh = needed[c->high];
        if (!c->keepLow && !c->keepHigh) continue;
        needed[c->low] = needed[c->high] = true;
        list.push_back(*c);
    }
    return {list.rbegin(), list.rend()};
}

// A row from the rows of its window, by the square functions or by a network.
template <class T>
class SmallMedian {
public:
    SmallMedian(const BlockWindow& window, Extent size)
        : mKx(window.kx),
          mWidth(size.width),
          mTaps(std::size_t{window.kx} * window.ky),
          mScratch(mTaps.size() * (rows::kLongestVector / sizeof(T))) {
        const auto& table = rows::GetMedianRows();
        if (window.kx == 3 && window.ky == 3) mSquare = std::get<rows::SquareRow<T>>(table.square3);
        if (window.kx == 5 && window.ky == 5) mSquare = std::get<rows::SquareRow<T>>(table.square5);
        if (mSquare)
            mScratch.resize(std::max(mScratch.size(), window.ky * (size.width + window.kx - 1)));
        else
            mNetwork = SelectionNetwork(mTaps.size(), Rank(), Rank());
    }
    void Run(const std::vector<const T*>& rows, T* dst) {
        if (mSquare) return mSquare(dst, rows.data(), mScratch.data(), mWidth);
        for (std::size_t t = 0; t < mTaps.size(); ++t) mTaps[t] = rows[t / mKx] + t % mKx;
        std::get<rows::NetworkRow<T>>(rows::GetMedianRows().network)
            .run(dst, mTaps.data(), mTaps.size(), mNetwork.data(), mNetwork.size(), Rank(), mScratch.data(), mWidth);
    }

private:
    std::size_t Rank() const { return (mTaps.size() + 1) / 2 - 1; }

    std::size_t mKx, mWidth;
    rows::SquareRow<T> mSquare = nullptr;
    std::vector<const T*> mTaps;
    std::vector<T> mScratch;
    std::vector<Comparator> mNetwork;
};

template <class T>
void RunSmall(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer) {
    PaddedRows<T> padded(reader, size, window, window.ky);
    SmallMedian<T> median(window, size);
    std::vector<const T*> rows(window.ky);
    for (std::size_t y = 0; y < size.height; ++y) {
        for (std::size_t j = 0; j < window.ky; ++j) rows[j] = padded.Row(BlockRow(window, y + j, size.height));
        median.Run(rows, writer.Row(y));
        writer.Finish(y);
    }
}

// With masks, invalid samples are sorted behind the valid ones; as many are left as the rank is counted in.
template <class T>
void RunSmallMasked(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                    const KrTBuf2D<Byte>& mask) {
    using Limits = std::numeric_limits<T>;
    NeutralRows<T> source(reader, mask, size, Limits::has_infinity ? Limits::infinity() : Limits::max(),
                          std::size_t{window.ky} + 1);
    RowReader<Byte> valid(mask);
    PaddedRows<T, NeutralRows<T>> padded(source, size, window, window.ky);
    PaddedRows<Byte> paddedValid(valid, size, window, window.ky);
    std::vector<const T*> taps(std::size_t{window.kx} * window.ky);
    std::vector<const Byte*> validTaps(taps.size());
    std::vector<T> scratch(taps.size() * (rows::kLongestVector / sizeof(T)));
    std::vector<Byte> ranks(size.width);
    const std::size_t rank = (taps.size() + 1) / 2 - 1;
    const std::vector<Comparator> network = SelectionNetwork(taps.size(), 0, rank);
    SelectWriter<T> select(source, writer, size.width);
    for (std::size_t y = 0; y < size.height; ++y) {
        PointBlock(window, y, size.height, padded, taps);
        PointBlock(window, y, size.height, paddedValid, validTaps);
        rows::GetMaskRows().middle(ranks.data(), validTaps.data(), validTaps.size(), size.width);
        std::get<rows::NetworkRow<T>>(rows::GetMedianRows().network)
            .runRanked(select.Row(y), taps.data(), taps.size(), network.data(), network.size(), rank, ranks.data(),
                       scratch.data(), size.width);
        select.Finish(y);
    }
}

// Bytes, by the histograms of columns.
void RunHistogram(const BlockWindow& window, Extent size, RowReader<Byte>& reader, RowWriter<Byte>& writer, Mask mask) {
    const rows::HistogramRows& histogram = rows::GetMedianRows().histogram;
    const std::size_t columns = size.width + window.kx - 1;
    PaddedRows<Byte> padded(reader, size, window, window.ky + 1);
    KrTBuf2D<Byte> none;
    RowReader<Byte> maskReader(mask ? *mask : none);
    PaddedRows<Byte> paddedMask(maskReader, mask ? size : Extent{1, 1}, window, window.ky + 1);
    std::vector<rows::ColumnCounts> counts(columns);
    const auto change = [&](const auto& function, std::size_t sample) {
        const std::size_t y = BlockRow(window, sample, size.height);
        function(counts.data(), padded.Row(y), mask ? paddedMask.Row(y) : nullptr, columns);
    };
    for (std::size_t j = 0; j + 1 < window.ky; ++j) change(histogram.add, j);
    for (std::size_t y = 0; y < size.height; ++y) {
        change(histogram.add, y + window.ky - 1);
        Byte* out = writer.Row(y);
        const Byte* own = padded.Row(y) + window.kx / 2;
        histogram.median(out, counts.data(), window.kx, size.width);
        if (mask)
            for (std::size_t x = 0; x < size.width; ++x)
                if (!mask->Row(y)[x]) out[x] = own[x];
        change(histogram.remove, y);
        writer.Finish(y);
    }
}

// Any window, from the ranks of all pixels. The window goes to and fro, and down at the ends.
template <class T>
class RankMedian {
public:
    RankMedian(const BlockWindow& window, const KrTBuf2D<T>& image, Mask mask)
        : mWindow(window), mImage(image), mMask(mask), mRanked(image), mSet(mRanked.values.size()) {
        for (std::size_t j = 0; j < window.ky; ++j) Change(&RankSet::Add, j, 0);
    }
    void Run(std::size_t y, T* dst) {
        const std::size_t last = mImage.Width() - 1;
        if (y > 0) {
            Change(&RankSet::Remove, y - 1, mX);
            Change(&RankSet::Add, y - 1 + mWindow.ky, mX);
        }
        const bool right = mX == 0;
        Give(y, dst);
        for (std::size_t x = 0; x < last; ++x) {
            ChangeColumn(&RankSet::Remove, y, right ? mX : mX + mWindow.kx - 1);
            mX = right ? mX + 1 : mX - 1;
            ChangeColumn(&RankSet::Add, y, right ? mX + mWindow.kx - 1 : mX);
            Give(y, dst);
        }
    }

private:
    using Operation = void (RankSet::*)(std::uint32_t);

    // Samples are counted from the first one of the window of the first pixel.
    void One(Operation operation, std::size_t y, std::size_t column) {
        const std::size_t x = std::min(column - std::min<std::size_t>(column, mWindow.kx / 2), mImage.Width() - 1);
        if (!mMask || mMask->Row(y)[x]) (mSet.*operation)(mRanked.ranks.Row(y)[x]);
    }
    void Change(Operation operation, std::size_t sample, std::size_t column) {
        const std::size_t row = BlockRow(mWindow, sample, mImage.Height());
        for (std::size_t i = 0; i < mWindow.kx; ++i) One(operation, row, column + i);
    }
    void ChangeColumn(Operation operation, std::size_t y, std::size_t column) {
        for (std::size_t j = 0; j < mWindow.ky; ++j) One(operation, BlockRow(mWindow, y + j, mImage.Height()), column);
    }
    void Give(std::size_t y, T* dst) {
        const bool valid = !mMask || mMask->Row(y)[mX] != 0;
        dst[mX] = valid ? mRanked.values[mSet.Median()] : mImage.Row(y)[mX];
    }

    const BlockWindow& mWindow;
    const KrTBuf2D<T>& mImage;
    Mask mMask;
    RankedImage<T> mRanked;
    RankSet mSet;
    std::size_t mX = 0;
};

}  // namespace

template <class T>
void FilterMedian(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask) {
    const std::size_t samples = std::size_t{window.kx} * window.ky;
    if (samples <= kNetworkSamples<T>) {
        if (mask) return RunSmallMasked(window, size, reader, writer, *mask);
        return RunSmall(window, size, reader, writer);
    }
    if constexpr (sizeof(T) == 1)
        if (samples < 32768 && window.ky < 256) return RunHistogram(window, size, reader, writer, mask);
    const KrTBuf2D<T> image = ReadAll(size, reader);
    RankMedian<T> median(window, image, mask);
    for (std::size_t y = 0; y < size.height; ++y) {
        median.Run(y, writer.Row(y));
        writer.Finish(y);
    }
}

#define VORIP_INSTANTIATE(T) \
  template void FilterMedian<T>(const BlockWindow&, Extent, RowReader<T>&, RowWriter<T>&, Mask)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
