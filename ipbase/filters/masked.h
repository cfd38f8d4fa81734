#pragma once

#include "Core/vorTools/Inc/syfilt2d.h"
#include "ipbase/filters/blockwindow.h"
#include "ipbase/kernels/mask.h"

// Filters of images of which some pixels are invalid. Weighted sums are normalised convolutions with a certainty of 0
// or 1: H. Knutsson and C.-F. Westin, "Normalized and Differential Convolution", Proceedings of the IEEE Conference on
// Computer Vision and Pattern Recognition (1993). Samples and weights are summed over valid pixels, and divided at the
// end; so that samples need no mask there, invalid ones are made 0 beforehand, or what no extreme or median is.
namespace KrN {

// The rows of a source with a neutral value in invalid pixels, each until the next one is asked for. The last `kept`
// rows are at hand as they were.
template <class T>
class NeutralRows {
public:
    NeutralRows(RowReader<T>& reader, const KrTBuf2D<std::uint8_t>& mask, Extent size, T neutral, std::size_t kept)
        : mReader(reader),
          mMask(mask),
          mNeutral(neutral),
          mRing(std::min(kept, size.height)),
          mRows(size.width, mRing.Size()),
          mRow(size.width) {}
    const T* Row(std::size_t y) {
        mRing.Reach(y, [this](std::size_t next, std::size_t place) {
            T* row = mRows.Row(place);
            std::copy_n(mReader.Row(next), mRow.size(), row);
            std::get<kernels::MaskedPixels<T>>(kernels::GetMaskKernels().pixels)
                .neutralize(mRow.data(), row, mMask.Row(next), mNeutral, mRow.size());
        });
        return mRow.data();
    }
    // Writes what was filtered, and the source where it is invalid.
    void Select(std::size_t y, const T* filtered, T* dst) const {
        std::get<kernels::MaskedPixels<T>>(kernels::GetMaskKernels().pixels)
            .select(dst, filtered, mRows.Row(mRing[y]), mMask.Row(y), mRow.size());
    }

private:
    RowReader<T>& mReader;
    const KrTBuf2D<std::uint8_t>& mMask;
    T mNeutral;
    Ring mRing;
    KrTBuf2D<T> mRows;
    std::vector<T> mRow;
};

// Filtered rows on their way to a destination.
template <class T>
class SelectWriter {
public:
    SelectWriter(const NeutralRows<T>& source, RowWriter<T>& writer, std::size_t width)
        : mSource(source), mWriter(writer), mRow(width) {}
    T* Row(std::size_t) { return mRow.data(); }
    void Finish(std::size_t y) {
        mSource.Select(y, mRow.data(), mWriter.Row(y));
        mWriter.Finish(y);
    }

private:
    const NeutralRows<T>& mSource;
    RowWriter<T>& mWriter;
    std::vector<T> mRow;
};

// Weighted sums and extremes.
template <class T>
void FilterBlockMasked(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                       const KrTBuf2D<std::uint8_t>& mask);
// Weighted sums along the rows, then along the columns. Beyond both ends of a line the mask is that of its last pixel.
template <class T>
void FilterSeparableMasked(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                           RowWriter<T>& writer, const KrTBuf2D<std::uint8_t>& mask);

// Lines of one width. Invalid samples get values, too.
template <class T>
class MaskedLine {
public:
    MaskedLine(const KrTBuf1D<std::int32_t>& weights, std::size_t width, KrTFilterWork<T>& work);
    void Run(const T* row, const std::uint8_t* valid, T* out);

private:
    void Slide(T* out);

    const KrTBuf1D<std::int32_t>& mWeights;
    std::size_t mWidth, mLeft, mRight;
    bool mSlides;
    KrTFilterWork<T>& mWork;
};

}  // namespace KrN
