#include "ipbase/ipFilterMasked.h"

#include "ipbase/ipFilterColumns.h"

namespace KrN {

namespace {

template <class T>
void SumMasked(const KrTBuf1D<std::int32_t>& weights, bool atLeastOne, const std::vector<const T*>& taps,
               const std::vector<const std::uint8_t*>& valid, T* out, std::size_t width) {
    std::get<rows::MaskedWeightedRow<T>>(rows::GetMaskRows().weighted)(out, taps.data(), valid.data(), weights.Data(),
                                                                       taps.size(), atLeastOne, width);
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
    FilteredRows<T, NeutralRows<T>> filtered(source, rows, size, std::max(window.ky, 2u));
    SelectWriter<T> select(source, writer, size.width);
    RunColumns<T>(columns, size, filtered, select);
}

// Invalid pixels become 0; of a row that is looked at with the mask of another one as well.
template <class T>
void Zero(const T* row, const std::uint8_t* valid, std::size_t width, T* zeroed) {
    std::get<rows::MaskedPixels<T>>(rows::GetMaskRows().pixels).neutralize(zeroed, row, valid, T{0}, width);
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
          mLine(window.weights, size.width),
          mTaps(window.taps),
          mOut(size.width),
          mRows(size.width, std::min(kept, size.height)),
          mZeroed(size.width, mRows.Height()),
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
        for (; mNext <= y; ++mNext) Fetch();
        return y % mRows.Height();
    }
    void Fetch() {
        const std::size_t width = mOut.size();
        const T* row = mReader.Row(mNext);
        const std::uint8_t* valid = mMask.Row(mNext);
        T* smoothed = mRows.Row(mNext % mRows.Height());
        if (mTaps > 0) mLine.Run(row, valid, mOut.data());
        std::get<rows::MaskedPixels<T>>(rows::GetMaskRows().pixels)
            .split(smoothed, mZeroed.Row(mNext % mRows.Height()), mTaps > 0 ? mOut.data() : row, row, valid, width);
        if (mNext == 0) Zero(smoothed, mMask.Row(mMask.Height() - 1), width, mAbove.data());
    }

    RowReader<T>& mReader;
    const KrTBuf2D<std::uint8_t>& mMask;
    MaskedLine<T> mLine;
    std::size_t mTaps, mNext = 0;
    std::vector<T> mOut;
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

template <class T>
bool LongMeans<T>::Take(const KrTBuf1D<std::int32_t>& weights) {
    const std::int32_t* first = weights.Data();
    return std::is_integral_v<T> && weights.Size() > kFewSummands &&
           std::all_of(first, first + weights.Size(), [](std::int32_t weight) { return weight == 1; });
}

template <class T>
void LongMeans<T>::Add(const T* row, const std::uint8_t* valid) {
    if constexpr (std::is_integral_v<T>)
        std::get<rows::MaskedMeans<T>>(rows::GetMaskRows().means)
            .add(mSums.data(), mCounts.data(), row, valid, mSums.size());
}
template <class T>
void LongMeans<T>::Remove(const T* row, const std::uint8_t* valid) {
    if constexpr (std::is_integral_v<T>)
        std::get<rows::MaskedMeans<T>>(rows::GetMaskRows().means)
            .remove(mSums.data(), mCounts.data(), row, valid, mSums.size());
}
template <class T>
void LongMeans<T>::Divide(T* out) const {
    if constexpr (std::is_integral_v<T>)
        std::get<rows::MaskedMeans<T>>(rows::GetMaskRows().means)
            .divide(out, mSums.data(), mCounts.data(), mSums.size());
}

template <class T>
void LongMeans<T>::Slide(const T* padded, const std::uint8_t* valid, std::size_t taps, T* out) {
    double sum = 0.0;
    std::int32_t count = 0;
    for (std::size_t i = 0; i < taps + mSums.size() - 1; ++i) {
        sum += padded[i];
        count += valid[i] & 1;
        if (i + 1 < taps) continue;
        const std::size_t x = i + 1 - taps;
        mSums[x] = sum;
        mCounts[x] = count;
        sum -= padded[x];
        count -= valid[x] & 1;
    }
    Divide(out);
}

template <class T>
MaskedLine<T>::MaskedLine(const KrTBuf1D<std::int32_t>& weights, std::size_t width)
    : mWeights(weights),
      mWidth(width),
      mLeft(weights.Size() / 2),
      mRight(weights.Size() - std::min(weights.Size(), mLeft + 1)),
      mLong(LongMeans<T>::Take(weights)),
      mMeans(mLong ? width : 0),
      mPadded(mLeft + width + mRight),
      mValid(mPadded.size()),
      mTaps(weights.Size()),
      mValidTaps(weights.Size()) {
    PointTaps<T>(mPadded.data(), mTaps);
    PointTaps<std::uint8_t>(mValid.data(), mValidTaps);
}

template <class T>
void MaskedLine<T>::Run(const T* row, const std::uint8_t* valid, T* out) {
    std::copy_n(valid, mWidth, mValid.data() + mLeft);
    WrapMask(mValid.data(), mWidth, mLeft, mRight);
    Zero(row, valid, mWidth, mPadded.data() + mLeft);
    const bool beyond = valid[mWidth - 1] != 0;
    std::fill_n(mPadded.data(), mLeft, beyond ? row[0] : T{0});
    std::fill_n(mPadded.data() + mLeft + mWidth, mRight, beyond ? row[mWidth - 1] : T{0});
    if (mLong) return mMeans.Slide(mPadded.data(), mValid.data(), mTaps.size(), out);
    SumMasked(mWeights, false, mTaps, mValidTaps, out, mWidth);
}

namespace {

// Smoothed rows along the columns. Above the image the mask is that of the last row.
template <class T>
class MaskedColumns {
public:
    MaskedColumns(const LineWindow& window, Extent size, SmoothedRows<T>& rows, const KrTBuf2D<std::uint8_t>& mask)
        : mWindow(window),
          mLast(size.height - 1),
          mRows(rows),
          mMask(mask),
          mLong(LongMeans<T>::Take(window.weights)),
          mMeans(mLong ? size.width : 0),
          mTaps(window.taps),
          mValidTaps(window.taps) {
        for (std::size_t k = 0; mLong && k + 1 < window.taps; ++k) mMeans.Add(Row(k), Valid(k));
    }
    // The rows from top to bottom.
    void Run(std::size_t y, T* out) {
        if (mLong) {
            mMeans.Add(Row(y + mWindow.taps - 1), Valid(y + mWindow.taps - 1));
            mMeans.Divide(out);
            return mMeans.Remove(Row(y), Valid(y));
        }
        for (std::size_t k = 0; k < mTaps.size(); ++k) {
            mTaps[k] = Row(y + k);
            mValidTaps[k] = Valid(y + k);
        }
        SumMasked(mWindow.weights, false, mTaps, mValidTaps, out, mMask.Width());
    }

private:
    // Samples are counted from the first one of the window of the first row.
    const T* Row(std::size_t sample) {
        return sample < mWindow.left ? mRows.Above() : mRows.Zeroed(std::min(sample - mWindow.left, mLast));
    }
    const std::uint8_t* Valid(std::size_t sample) const {
        return mMask.Row(sample < mWindow.left ? mLast : std::min(sample - mWindow.left, mLast));
    }

    const LineWindow& mWindow;
    std::size_t mLast;
    SmoothedRows<T>& mRows;
    const KrTBuf2D<std::uint8_t>& mMask;
    bool mLong;
    LongMeans<T> mMeans;
    std::vector<const T*> mTaps;
    std::vector<const std::uint8_t*> mValidTaps;
};

}  // namespace

template <class T>
void FilterLinesMasked(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                       RowWriter<T>& writer, const KrTBuf2D<std::uint8_t>& mask) {
    SmoothedRows<T> smoothed(rows, size, reader, mask, std::size_t{columns.taps} + 1);
    MaskedColumns<T> filter(columns, size, smoothed, mask);
    std::vector<T> filtered(size.width);
    for (std::size_t y = 0; y < size.height; ++y) {
        if (columns.taps > 0) filter.Run(y, filtered.data());
        const T* row = smoothed.Row(y);
        std::get<rows::MaskedPixels<T>>(rows::GetMaskRows().pixels)
            .select(writer.Row(y), columns.taps > 0 ? filtered.data() : row, row, mask.Row(y), size.width);
        writer.Finish(y);
    }
}

#define VORIP_INSTANTIATE(T)                                                                                     \
  template class LongMeans<T>;                                                                                   \
  template class MaskedLine<T>;                                                                                  \
  template void FilterBlockMasked<T>(const BlockWindow&, Extent, RowReader<T>&, RowWriter<T>&,                   \
                                     const KrTBuf2D<std::uint8_t>&);                                             \
  template void FilterLinesMasked<T>(const LineWindow&, const LineWindow&, Extent, RowReader<T>&, RowWriter<T>&, \
                                     const KrTBuf2D<std::uint8_t>&)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE
template class LongMeans<std::uint32_t>;
template class MaskedLine<std::uint32_t>;

}  // namespace KrN
