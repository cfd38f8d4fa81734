#pragma once

#include "imagemodel/krvalues.h"
#include "ipbase/base/rowaccess.h"
#include "ipbase/base/window.h"
#include "ipbase/filters/line.h"

// Windows of kx * ky pixels, and the rows of a source for them.
namespace KrN {

// A window of kx * ky pixels around each pixel, from (x - kx/2, y - ky/2) on. Pixels beyond the image are copies of the
// nearest one. Without pixels in the window, nothing changes.
struct BlockWindow {
    WindowKind kind;
    std::uint32_t kx, ky;
    KrTBuf1D<std::int32_t> weights;  // of a weighted sum, row by row
    double scale = 1.0;
};

BlockWindow KernelBlock(const KrTBuf2D<std::int32_t>& kernel, double scale);
BlockWindow RankBlock(WindowKind kind, const KrTSize<std::uint32_t>& size);

using Mask = const KrTBuf2D<std::uint8_t>*;

// The samples 0, 1, ... are those of the first output row's window, and then the next one of each further row.
inline std::size_t BlockRow(const BlockWindow& window, std::size_t sample, std::size_t height) {
    return std::min(sample - std::min<std::size_t>(sample, window.ky / 2), height - 1);
}

// The rows, padded as the window needs it; the last `kept` ones are at hand.
template <class T, class Source = RowReader<T>>
class PaddedRows {
public:
    PaddedRows(Source& reader, Extent size, const BlockWindow& window, std::size_t kept)
        : mReader(reader),
          mWidth(size.width),
          mLeft(window.kx / 2),
          mRight(window.kx - 1 - window.kx / 2),
          mRing(std::min(kept, size.height)),
          mRows(mLeft + size.width + mRight, mRing.Size()) {}
    const T* Row(std::size_t y) {
        return mRows.Row(mRing.Reach(y, [this](std::size_t row, std::size_t place) {
            PadLine(mReader.Row(row), mWidth, mLeft, mRight, mRows.Row(place));
        }));
    }

private:
    Source& mReader;
    std::size_t mWidth, mLeft, mRight;
    Ring mRing;
    KrTBuf2D<T> mRows;
};

// Pointers to the window samples of a whole row.
template <class Rows, class T>
void PointBlock(const BlockWindow& window, std::size_t y, std::size_t height, Rows& rows, std::vector<const T*>& taps) {
    for (std::size_t j = 0; j < window.ky; ++j) {
        const T* row = rows.Row(BlockRow(window, y + j, height));
        for (std::size_t i = 0; i < window.kx; ++i) taps[j * window.kx + i] = row + i;
    }
}

template <class T>
KrTBuf2D<T> ReadAll(Extent size, RowReader<T>& reader) {
    KrTBuf2D<T> image(size.width, size.height);
    RowWriter<T> writer(image);
    Copy(size, reader, writer);
    return image;
}

}  // namespace KrN
