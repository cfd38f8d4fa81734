#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Two-pass recursive smoothing of every row or column.
template <class T>
void SmoothAlongRows(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);
template <class T>
void SmoothAlongColumns(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);
// The rows, then the columns of the result.
template <class T>
void SmoothBothWays(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);

}  // namespace KrN
