#include "ipbase/filters/masked.h"

#include "ipbase/filters/columns.h"

namespace KrN {

namespace {

// Means along the columns: up to here it is faster to add up the samples.
constexpr std::uint32_t kFewRows = 4;

template <class T>
void SumMasked(const KrTBuf1D<std::int32_t>& weights, bool atLeastOne, const std::vector<const T*>& taps,
               const std::vector<const std::uint8_t*>& valid, T* out, std::size_t width) {
    std::get<kernels::MaskedWeightedRow<T>>(kernels::GetMaskKernels().weighted)(
        out, taps.data(), valid.data(), weights.Data(), taps.size(), atLeastOne, width);
}

template <class T>
void RunExtremes(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                 const KrTBuf2D<std::uint8_t>& mask) {
    using Limits = std::numeric_limits<T>;
    const T most = Limits::has_infinity ? Limits::infinity() : Limits::max();
    const T least = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
    const LineWindow rows = RankWindow(window.kind, window.kx), columns = RankWindow(window.kind, window.ky);
    NeutralRows<T> source(reader, mask, size, window.kind == WindowKind::eMinimum ? most : least,
                          std::size_t{window.ky} + 1);
    FilteredRows<T, NeutralRows<T>> filtered(source, rows, size, RowsToKeep(window.ky));
    SelectWriter<T> select(source, writer, size.width);
    FilterDown<T>(columns, size, filtered, select);
}

// Invalid pixels become 0; of a row that is looked at with the mask of another one as well.
template <class T>
void Zero(const T* row, const std::uint8_t* valid, std::size_t width, T* zeroed) {
    std::get<kernels::MaskedPixels<T>>(kernels::GetMaskKernels().pixels).neutralize(zeroed, row, valid, T{0}, width);
}

// The rows of a source, smoothed along themselves; of the last `kept` ones what was smoothed, and the same with 0 in
// invalid pixels.
template <class T>
class SmoothedRows {
public:
    SmoothedRows(const LineWindow& window, Extent size, RowReader<T>& reader, const KrTBuf2D<std::uint8_t>& mask,
                 std::size_t kept)
        : mReader(reader),
          mMask(mask),
          mLine(window.weights, size.width, mWork),
          mTaps(window.taps),
          mOut(size.width),
          mRing(std::min(kept, size.height)),
          mRows(size.width, mRing.Size()),
          mZeroed(size.width, mRing.Size()),
          mAbove(size.width) {}
    const T* Row(std::size_t y) { return mRows.Row(Fetched(y)); }
    const T* Zeroed(std::size_t y) { return mZeroed.Row(Fetched(y)); }
    // The first row, with the mask of the last one.
    const T* Above() {
        Fetched(0);
        return mAbove.data();
    }

private:
    std::size_t Fetched(std::size_t y) {
        return mRing.Reach(y, [this](std::size_t row, std::size_t place) { Fetch(row, place); });
    }
    void Fetch(std::size_t y, std::size_t at) {
        const std::size_t width = mOut.size();
        const T* row = mReader.Row(y);
        const std::uint8_t* valid = mMask.Row(y);
        T* smoothed = mRows.Row(at);
        if (mTaps > 0) mLine.Run(row, valid, mOut.data());
        std::get<kernels::MaskedPixels<T>>(kernels::GetMaskKernels().pixels)
            .split(smoothed, mZeroed.Row(at), mTaps > 0 ? mOut.data() : row, row, valid, width);
        if (y == 0) Zero(smoothed, mMask.Row(mMask.Height() - 1), width, mAbove.data());
    }

    RowReader<T>& mReader;
    const KrTBuf2D<std::uint8_t>& mMask;
    KrTFilterWork<T> mWork;
    MaskedLine<T> mLine;
    std::size_t mTaps;
    std::vector<T> mOut;
    Ring mRing;
    KrTBuf2D<T> mRows, mZeroed;
    std::vector<T> mAbove;
};

}  // namespace

template <class T>
void FilterBlockMasked(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                       const KrTBuf2D<std::uint8_t>& mask) {
    if (window.kind != WindowKind::eWeighted) return RunExtremes(window, size, reader, writer, mask);
    NeutralRows<T> source(reader, mask, size, T{0}, std::size_t{window.ky} + 1);
    RowReader<std::uint8_t> valid(mask);
    PaddedRows<T, NeutralRows<T>> padded(source, size, window, window.ky);
    PaddedRows<std::uint8_t> paddedValid(valid, size, window, window.ky);
    std::vector<const T*> taps(std::size_t{window.kx} * window.ky);
    std::vector<const std::uint8_t*> validTaps(taps.size());
    SelectWriter<T> select(source, writer, size.width);
    for (std::size_t y = 0; y < size.height; ++y) {
        PointBlock(window, y, size.height, padded, taps);
        PointBlock(window, y, size.height, paddedValid, validTaps);
        SumMasked(window.weights, true, taps, validTaps, select.Row(y), size.width);
        select.Finish(y);
    }
}

namespace {

// Sums of floats depend on the order of their samples.
template <class T>
bool AreMeans(const KrTBuf1D<std::int32_t>& weights) {
    const std::int32_t* first = weights.Data();
    return std::is_integral_v<T> &&
           std::all_of(first, first + weights.Size(), [](std::int32_t weight) { return weight == 1; });
}

}  // namespace

template <class T>
MaskedLine<T>::MaskedLine(const KrTBuf1D<std::int32_t>& weights, std::size_t width, KrTFilterWork<T>& work)
    : mWeights(weights),
      mWidth(width),
      mLeft(weights.Size() / 2),
      mRight(weights.Size() - std::min(weights.Size(), mLeft + 1)),
      mSlides(weights.Size() > kFewSummands && AreMeans<T>(weights)),
      mWork(work) {
    mWork.padded.resize(mLeft + width + mRight);
    mWork.valid.resize(mWork.padded.size());
    mWork.taps.resize(weights.Size());
    mWork.validTaps.resize(weights.Size());
    mWork.sums.resize(mSlides ? width : 0);
    mWork.counts.resize(mWork.sums.size());
    PointTaps<T>(mWork.padded.data(), mWork.taps);
    PointTaps<std::uint8_t>(mWork.valid.data(), mWork.validTaps);
}

template <class T>
void MaskedLine<T>::Run(const T* row, const std::uint8_t* valid, T* out) {
    T* padded = mWork.padded.data();
    std::copy_n(valid, mWidth, mWork.valid.data() + mLeft);
    WrapMask(mWork.valid.data(), mWidth, mLeft, mRight);
    Zero(row, valid, mWidth, padded + mLeft);
    const bool beyond = valid[mWidth - 1] != 0;
    std::fill_n(padded, mLeft, beyond ? row[0] : T{0});
    std::fill_n(padded + mLeft + mWidth, mRight, beyond ? row[mWidth - 1] : T{0});
    if (mSlides) return Slide(out);
    SumMasked(mWeights, false, mWork.taps, mWork.validTaps, out, mWidth);
}

template <class T>
void MaskedLine<T>::Slide(T* out) {
    const std::size_t taps = mWeights.Size();
    double sum = 0.0;
    std::int32_t count = 0;
    for (std::size_t i = 0; i < mWork.padded.size(); ++i) {
        sum += mWork.padded[i];
        count += mWork.valid[i] & 1;
        if (i + 1 < taps) continue;
        const std::size_t x = i + 1 - taps;
        mWork.sums[x] = sum;
        mWork.counts[x] = count;
        sum -= mWork.padded[x];
        count -= mWork.valid[x] & 1;
    }
    if constexpr (std::is_integral_v<T>)
        std::get<kernels::MaskedMeans<T, double, std::int32_t>>(kernels::GetMaskKernels().means)
            .divide(out, mWork.sums.data(), mWork.counts.data(), mWidth);
}

namespace {

// The rows of the window samples along the columns, counted from the first one of the window of the first row. Above
// the image the mask is that of the last row.
template <class T>
class ColumnSamples {
public:
    ColumnSamples(const LineWindow& window, SmoothedRows<T>& rows, const KrTBuf2D<std::uint8_t>& mask)
        : mLeft(window.left), mRows(rows), mMask(mask) {}
    const T* Row(std::size_t sample) { return sample < mLeft ? mRows.Above() : mRows.Zeroed(At(sample)); }
    const std::uint8_t* Valid(std::size_t sample) const { return mMask.Row(At(sample)); }

private:
    std::size_t At(std::size_t sample) const {
        const std::size_t last = mMask.Height() - 1;
        return sample < mLeft ? last : std::min(sample - mLeft, last);
    }
    std::size_t mLeft;
    SmoothedRows<T>& mRows;
    const KrTBuf2D<std::uint8_t>& mMask;
};

// Filtered rows, from top to bottom.
template <class T>
class SummedColumns {
public:
    SummedColumns(const LineWindow& window, Extent size, ColumnSamples<T>& samples)
        : mWindow(window), mWidth(size.width), mSamples(samples), mTaps(window.taps), mValid(window.taps) {}
    void Run(std::size_t y, T* out) {
        for (std::size_t k = 0; k < mTaps.size(); ++k) {
            mTaps[k] = mSamples.Row(y + k);
            mValid[k] = mSamples.Valid(y + k);
        }
        SumMasked(mWindow.weights, false, mTaps, mValid, out, mWidth);
    }

private:
    const LineWindow& mWindow;
    std::size_t mWidth;
    ColumnSamples<T>& mSamples;
    std::vector<const T*> mTaps;
    std::vector<const std::uint8_t*> mValid;
};

template <class T, class Sum, class Count>
class SlidingColumns {
public:
    SlidingColumns(const LineWindow& window, Extent size, ColumnSamples<T>& samples)
        : mTaps(window.taps), mSamples(samples), mSums(size.width), mCounts(size.width) {
        const std::vector<T> nothing(size.width);
        const std::vector<std::uint8_t> invalid(size.width);
        std::vector<T> unused(size.width);
        for (std::size_t k = 0; k + 1 < mTaps; ++k) Slide(unused.data(), k, nothing.data(), invalid.data());
    }
    void Run(std::size_t y, T* out) { Slide(out, y + mTaps - 1, mSamples.Row(y), mSamples.Valid(y)); }

private:
    void Slide(T* out, std::size_t added, const T* removed, const std::uint8_t* removedValid) {
        std::get<kernels::MaskedMeans<T, Sum, Count>>(kernels::GetMaskKernels().means)
            .slide(out, mSums.data(), mCounts.data(), mSamples.Row(added), mSamples.Valid(added), removed, removedValid,
                   mTaps, mSums.size());
    }

    std::size_t mTaps;
    ColumnSamples<T>& mSamples;
    std::vector<Sum> mSums;
    std::vector<Count> mCounts;
};

template <class T, class Columns>
void RunColumnsMasked(Columns filter, Extent size, SmoothedRows<T>& smoothed, RowWriter<T>& writer,
                      const KrTBuf2D<std::uint8_t>& mask) {
    std::vector<T> filtered(size.width);
    for (std::size_t y = 0; y < size.height; ++y) {
        filter.Run(y, filtered.data());
        std::get<kernels::MaskedPixels<T>>(kernels::GetMaskKernels().pixels)
            .select(writer.Row(y), filtered.data(), smoothed.Row(y), mask.Row(y), size.width);
        writer.Finish(y);
    }
}

}  // namespace

template <class T>
void FilterSeparableMasked(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                           RowWriter<T>& writer, const KrTBuf2D<std::uint8_t>& mask) {
    SmoothedRows<T> smoothed(rows, size, reader, mask, std::size_t{columns.taps} + 1);
    if (columns.taps == 0) return Copy(size, smoothed, writer);
    ColumnSamples<T> samples(columns, smoothed, mask);
    const auto run = [&](auto filter) { RunColumnsMasked<T>(std::move(filter), size, smoothed, writer, mask); };
    const bool means = AreMeans<T>(columns.weights) && columns.taps > kFewRows;
    if constexpr (std::is_same_v<T, std::uint8_t>)
        if (means && columns.taps < 256)
            return run(SlidingColumns<T, std::uint16_t, std::uint8_t>(columns, size, samples));
    if constexpr (std::is_same_v<T, std::uint16_t>)
        if (means && columns.taps < 32768)
            return run(SlidingColumns<T, std::uint32_t, std::uint16_t>(columns, size, samples));
    if constexpr (std::is_integral_v<T>)
        if (means && columns.taps > kFewSummands)
            return run(SlidingColumns<T, double, std::int32_t>(columns, size, samples));
    run(SummedColumns<T>(columns, size, samples));
}

#define VORIP_INSTANTIATE(T)                                                                                         \
  template class MaskedLine<T>;                                                                                      \
  template void FilterBlockMasked<T>(const BlockWindow&, Extent, RowReader<T>&, RowWriter<T>&,                       \
                                     const KrTBuf2D<std::uint8_t>&);                                                 \
  template void FilterSeparableMasked<T>(const LineWindow&, const LineWindow&, Extent, RowReader<T>&, RowWriter<T>&, \
                                         const KrTBuf2D<std::uint8_t>&)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE
template class MaskedLine<std::uint32_t>;

}  // namespace KrN
