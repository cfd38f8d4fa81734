#pragma once

#include "ipbase/filters/blockwindow.h"

// Filters of whole images. Masks are 255 in valid pixels and 0 in others; a null mask means that all are valid. Invalid
// pixels keep their value and do not count for others. A mask of another size than the image's goes on with its nearest
// pixel; where windows of weighted sums and medians reach beyond the image, a larger mask still has values of its own.
// Windows along lines see the mask of a line's last pixel beyond both of its ends.
namespace KrN {

template <class T>
void FilterBlock(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask);

// A separable filter: a line window on all rows, then another one on all columns. Masks are for weighted sums alone;
// beyond both ends of a line they are those of its last pixel.
template <class T>
void FilterSeparable(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                     RowWriter<T>& writer, Mask mask);
// Of an image in memory.
template <class T>
void FilterSeparable(const LineWindow& rows, const LineWindow& columns, KrTBuf2D<T>& image) {
    RowReader<T> reader(image);
    RowWriter<T> writer(image);
    FilterSeparable(rows, columns, {image.Width(), image.Height()}, reader, writer, nullptr);
}

}  // namespace KrN
