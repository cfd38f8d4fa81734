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
void Zero(const T* row, const std::uint8_t* mask, std::size_t width, T* zeroed) {
    std::get<rows::MaskedPixels<T>>(rows::GetMaskRows().pixels).neutralize(zeroed, row, mask, T{0}, width);
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
        const std::uint8_t* mask = mMask.Row(mNext);
        T* smoothed = mRows.Row(mNext % mRows.Height());
        if (mTaps > 0) {
            mLine.Run(row, mask, mOut.data());
            std::get<rows::MaskedPixels<T>>(rows::GetMaskRows().pixels).select(smoothed, mOut.data(), row, mask, width);
        } else {
            std::copy_n(row, width, smoothed);
        }
        Zero(smoothed, mask, width, mZeroed.Row(mNext % mRows.Height()));
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
    ValidRows valid(mask);
    PaddedRows<T, NeutralRows<T>> padded(source, size, window, window.ky);
    PaddedRows<std::uint8_t, ValidRows> paddedValid(valid, size, window, window.ky);
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
MaskedLine<T>::MaskedLine(const KrTBuf1D<std::int32_t>& weights, std::size_t width)
    : mWeights(weights),
      mWidth(width),
      mLeft(weights.Size() / 2),
      mRight(weights.Size() - std::min(weights.Size(), mLeft + 1)),
      mPadded(mLeft + width + mRight),
      mValid(mPadded.size()),
      mTaps(weights.Size()),
      mValidTaps(weights.Size()) {
    PointTaps<T>(mPadded.data(), mTaps);
    PointTaps<std::uint8_t>(mValid.data(), mValidTaps);
}

template <class T>
void MaskedLine<T>::Run(const T* row, const std::uint8_t* mask, T* out) {
    rows::GetMaskRows().validate(mValid.data() + mLeft, mask, mWidth);
    WrapMask(mValid.data(), mWidth, mLeft, mRight);
    Zero(row, mask, mWidth, mPadded.data() + mLeft);
    const bool ends = mask[mWidth - 1] < rows::kFirstInvalid;
    std::fill_n(mPadded.data(), mLeft, ends ? row[0] : T{0});
    std::fill_n(mPadded.data() + mLeft + mWidth, mRight, ends ? row[mWidth - 1] : T{0});
    SumMasked(mWeights, false, mTaps, mValidTaps, out, mWidth);
}

template <class T>
void FilterLinesMasked(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                       RowWriter<T>& writer, const KrTBuf2D<std::uint8_t>& mask) {
    SmoothedRows<T> smoothed(rows, size, reader, mask, std::size_t{columns.taps} + 1);
    const std::size_t last = size.height - 1;
    KrTBuf2D<std::uint8_t> valid(size.width, size.height);
    rows::GetMaskRows().validate(valid.Row(0), mask.Row(0), size.width * size.height);
    std::vector<const T*> taps(columns.taps);
    std::vector<const std::uint8_t*> validTaps(columns.taps);
    std::vector<T> sums(size.width);
    for (std::size_t y = 0; y < size.height; ++y) {
        for (std::size_t k = 0; k < taps.size(); ++k) {
            const bool above = y + k < columns.left;
            const std::size_t at = above ? last : std::min(y + k - columns.left, last);
            validTaps[k] = valid.Row(at);
            taps[k] = above ? smoothed.Above() : smoothed.Zeroed(at);
        }
        if (columns.taps > 0) SumMasked(columns.weights, false, taps, validTaps, sums.data(), size.width);
        const T* row = smoothed.Row(y);
        std::get<rows::MaskedPixels<T>>(rows::GetMaskRows().pixels)
            .select(writer.Row(y), columns.taps > 0 ? sums.data() : row, row, mask.Row(y), size.width);
        writer.Finish(y);
    }
}

#define VORIP_INSTANTIATE(T)                                                                                     \
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
template class MaskedLine<std::uint32_t>;

}  // namespace KrN
