#include "ipbase/filters/median.h"

#include <memory>

#include "ipbase/filters/masked.h"
#include "ipbase/filters/ranks.h"
#include "ipbase/kernels/median.h"

namespace KrN {

namespace {

using Byte = std::uint8_t;

// Windows of up to so many samples are given to networks, whose cost grows faster than that of histograms and sets of
// ranks but whose vectors then still fit in the first-level cache. Bytes have the cheaper alternative.
template <class T>
constexpr std::size_t kNetworkSamples = sizeof(T) == 1   ? 49
                                        : sizeof(T) == 2 ? 450
                                                         : 300;
// Ranks beside masks are bytes.
constexpr std::size_t kRankedSamples = 254;

// A row from the padded rows of its window, by the square functions or by networks. The columns are sorted once for all
// windows that they belong to.
template <class T>
class SmallMedian {
public:
    // With ranks, the network selects all from the least one to the median.
    SmallMedian(const BlockWindow& window, Extent size, bool ranked)
        : mKx(window.kx),
          mKy(window.ky),
          mWidth(size.width),
          mColumns(size.width + window.kx - 1),
          mTaps(std::size_t{window.kx} * window.ky),
          mScratch((mTaps.size() + 1) * (kernels::kLongestVector / sizeof(T))) {
        const auto& table = kernels::GetMedianKernels();
        const std::size_t middle = (mTaps.size() + 1) / 2 - 1, first = ranked ? 0 : middle;
        if (mKx == 3 && mKy == 3) mSquare = std::get<kernels::SquareRow<T>>(table.square3);
        if (mKx == 5 && mKy == 5) mSquare = std::get<kernels::SquareRow<T>>(table.square5);
        if (mSquare) {
            mScratch.resize(mScratch.size() + mKy * mColumns);
            return;
        }
        if (mKx == 1 || mKy == 1) {
            mSelect = Network(mTaps.size(), 1, first, middle);
            return;
        }
        mSort = Network(mKy, 1, 0, mKy - 1);
        mSelect = Network(mKx, mKy, first, middle);
        mSorted.Resize(mColumns, mKy);
        for (std::size_t k = 0; k < mKy; ++k) mSortedRows.push_back(mSorted.Row(k));
        Point(mSortedRows);
    }
    void Run(const std::vector<const T*>& rows, const Byte* ranks, T* dst) {
        if (mSquare) return mSquare(dst, rows.data(), ranks, Scratch(), mWidth);
        const auto& network = std::get<kernels::NetworkRow<T>>(kernels::GetMedianKernels().network);
        if (mSortedRows.empty())
            Point(rows);
        else
            network.sort(mSortedRows.data(), rows.data(), mKy, mSort, Scratch(), mColumns);
        network.select(dst, mTaps.data(), mTaps.size(), mSelect, ranks, Scratch(), mWidth);
    }

private:
    // Vectors that lie across lines of the cache are slow.
    T* Scratch() {
        void* at = mScratch.data();
        std::size_t space = mScratch.size() * sizeof(T);
        return static_cast<T*>(std::align(kernels::kLongestVector, 0, at, space));
    }
    // The samples column by column.
    template <class Row>
    void Point(const std::vector<Row>& rows) {
        for (std::size_t t = 0; t < mTaps.size(); ++t) mTaps[t] = rows[t % mKy] + t / mKy;
    }

    std::size_t mKx, mKy, mWidth, mColumns;
    kernels::SquareRow<T> mSquare = nullptr;
    Network mSort, mSelect;
    KrTBuf2D<T> mSorted;
    std::vector<T*> mSortedRows;
    std::vector<const T*> mTaps;
    std::vector<T> mScratch;
};

template <class T, class Rows>
void PointRows(const BlockWindow& window, std::size_t y, std::size_t height, Rows& padded,
               std::vector<const T*>& rows) {
    for (std::size_t j = 0; j < rows.size(); ++j) rows[j] = padded.Row(BlockRow(window, y + j, height));
}

template <class T>
void RunSmall(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer) {
    PaddedRows<T> padded(reader, size, window, window.ky);
    SmallMedian<T> median(window, size, false);
    std::vector<const T*> rows(window.ky);
    for (std::size_t y = 0; y < size.height; ++y) {
        PointRows(window, y, size.height, padded, rows);
        median.Run(rows, nullptr, writer.Row(y));
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
    SmallMedian<T> median(window, size, true);
    std::vector<const T*> rows(window.ky);
    std::vector<const Byte*> validRows(window.ky);
    std::vector<Byte> counts(size.width + window.kx - 1), ranks(size.width);
    SelectWriter<T> select(source, writer, size.width);
    for (std::size_t y = 0; y < size.height; ++y) {
        PointRows(window, y, size.height, padded, rows);
        PointRows(window, y, size.height, paddedValid, validRows);
        kernels::GetMaskKernels().count(counts.data(), validRows.data(), validRows.size(), counts.size());
        kernels::GetMaskKernels().middle(ranks.data(), counts.data(), window.kx, size.width);
        median.Run(rows, ranks.data(), select.Row(y));
        select.Finish(y);
    }
}

// Bytes, by the histograms of columns.
void RunHistogram(const BlockWindow& window, Extent size, RowReader<Byte>& reader, RowWriter<Byte>& writer, Mask mask) {
    const kernels::HistogramRows& histogram = kernels::GetMedianKernels().histogram;
    const std::size_t columns = size.width + window.kx - 1;
    PaddedRows<Byte> padded(reader, size, window, window.ky + 1);
    KrTBuf2D<Byte> none;
    RowReader<Byte> maskReader(mask ? *mask : none);
    PaddedRows<Byte> paddedMask(maskReader, mask ? size : Extent{1, 1}, window, window.ky + 1);
    std::vector<kernels::ColumnCounts> counts(columns);
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

// What a window sees of an axis: the samples from `first` to `last`; where it reaches beyond the axis it sees the first
// or the last one again, so many times.
struct AxisWindow {
    std::size_t first, last;
    std::uint32_t againFirst, againLast;

    AxisWindow(std::size_t at, std::size_t taps, std::size_t extent) {
        const std::size_t before = taps / 2, after = taps - 1 - before;
        const std::size_t left = std::min(at, before), right = std::min(after, extent - 1 - at);
        first = at - left;
        last = at + right;
        againFirst = static_cast<std::uint32_t>(before - left);
        againLast = static_cast<std::uint32_t>(after - right);
    }
    // Calls `sample(i, times)` for each sample.
    template <class F>
    void Each(const F& sample) const {
        for (std::size_t i = first; i <= last; ++i)
            sample(i, 1 + (i == first ? againFirst : 0) + (i == last ? againLast : 0));
    }
};

// Windows of any size, from the ranks of all pixels. The window goes along the rows to and fro, and down at their ends:
// from one place to the next, one column or row of samples leaves the set and another one enters it. What lies beyond
// the image is not looked at sample by sample, so that the cost of a window ends to grow at the size of the image.
template <class T>
class RankMedian {
public:
    RankMedian(const BlockWindow& window, const KrTBuf2D<T>& image, Mask mask)
        : mWindow(window), mImage(image), mMask(mask), mRanked(image), mSet(mRanked.values.size()) {
        AxisWindow(0, window.ky, image.Height()).Each([this](std::size_t y, std::uint32_t times) {
            ChangeRow(&RankSet::Add, y, times);
        });
    }
    // The rows from top to bottom.
    void Run(std::size_t y, T* dst) {
        if (y > 0) {
            ChangeRow(&RankSet::Remove, BlockRow(mWindow, y - 1, mImage.Height()), 1);
            ChangeRow(&RankSet::Add, BlockRow(mWindow, y - 1 + mWindow.ky, mImage.Height()), 1);
        }
        const bool toRight = mX == 0;
        Give(y, dst);
        for (std::size_t steps = mImage.Width() - 1; steps > 0; --steps) {
            toRight ? StepRight(y) : StepLeft(y);
            Give(y, dst);
        }
    }

private:
    using Change = void (RankSet::*)(std::uint32_t rank, std::uint32_t times);

    // Samples of a row are counted from the first one of the window of its first pixel.
    void StepRight(std::size_t y) {
        ChangeColumn(&RankSet::Remove, y, mX);
        ChangeColumn(&RankSet::Add, y, mX + mWindow.kx);
        ++mX;
    }
    void StepLeft(std::size_t y) {
        --mX;
        ChangeColumn(&RankSet::Remove, y, mX + mWindow.kx);
        ChangeColumn(&RankSet::Add, y, mX);
    }
    void ChangeRow(Change change, std::size_t y, std::uint32_t rows) {
        AxisWindow(mX, mWindow.kx, mImage.Width()).Each([&](std::size_t x, std::uint32_t times) {
            ChangePixel(change, y, x, rows * times);
        });
    }
    void ChangeColumn(Change change, std::size_t y, std::size_t sample) {
        const std::size_t x = std::min(sample - std::min<std::size_t>(sample, mWindow.kx / 2), mImage.Width() - 1);
        AxisWindow(y, mWindow.ky, mImage.Height()).Each([&](std::size_t row, std::uint32_t times) {
            ChangePixel(change, row, x, times);
        });
    }
    void ChangePixel(Change change, std::size_t y, std::size_t x, std::uint32_t times) {
        if (!mMask || mMask->Row(y)[x]) (mSet.*change)(mRanked.ranks.Row(y)[x], times);
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
    std::size_t mX = 0;  // where the window stands
};

template <class T>
void RunRanks(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask) {
    const KrTBuf2D<T> image = ReadAll(size, reader);
    RankMedian<T> median(window, image, mask);
    for (std::size_t y = 0; y < size.height; ++y) {
        median.Run(y, writer.Row(y));
        writer.Finish(y);
    }
}

}  // namespace

template <class T>
void FilterMedian(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask) {
    const std::size_t samples = std::size_t{window.kx} * window.ky;
    if (samples <= kNetworkSamples<T> && !mask) return RunSmall(window, size, reader, writer);
    if (samples <= std::min(kNetworkSamples<T>, kRankedSamples) && mask)
        return RunSmallMasked(window, size, reader, writer, *mask);
    // Columns are counted in 8 bits, windows in 15.
    if constexpr (sizeof(T) == 1)
        if (samples < 32768 && window.ky < 256) return RunHistogram(window, size, reader, writer, mask);
    RunRanks(window, size, reader, writer, mask);
}

#define VORIP_INSTANTIATE(T) \
  template void FilterMedian<T>(const BlockWindow&, Extent, RowReader<T>&, RowWriter<T>&, Mask)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
