#pragma once

#include <vector>

#include "imagemodel/kraoi.h"
#include "ipbase/base/dispatch.h"
#include "ipbase/base/window.h"

// A window on images: along rows or along columns of their common region.
namespace KrN {

template <class T>
void FilterAlongRows(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst);
template <class T>
void FilterAlongColumns(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst);

}  // namespace KrN
