#pragma once

#include "ipbase/filters/blockwindow.h"

// Medians of windows of kx * ky pixels, by what is fastest for their size and pixel type.
namespace KrN {

template <class T>
void FilterMedian(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask);

}  // namespace KrN
