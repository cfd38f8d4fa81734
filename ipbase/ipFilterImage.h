#pragma once

#include <vector>

#include "imagemodel/kraoi.h"
#include "ipbase/ipDispatch.h"
#include "ipbase/ipFilterWindow.h"

// A window on images: along rows or along columns of their common region.
namespace KrN {

template <class T>
void FilterAlongRows(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst);
template <class T>
void FilterAlongColumns(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst);

// Two-pass recursive smoothing of every row or column.
template <class T>
void SmoothAlongRows(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);
template <class T>
void SmoothAlongColumns(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);
// The rows, then the columns of the result.
template <class T>
void SmoothBothWays(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst);

// The operations that every filter class declares; the compiler's own serve.
#define VORIP_FILTER_DEFAULTS(Class)               \
  Class::Class() = default;                        \
  Class::Class(const Class&) = default;            \
  Class& Class::operator=(const Class&) = default; \
  Class::~Class() = default

std::vector<OperationInfo> LineFilterOperations();
std::vector<OperationInfo> ImageFilterOperations();

}  // namespace KrN
