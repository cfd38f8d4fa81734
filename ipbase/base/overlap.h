#pragma once

#include <functional>

#include "ipbase/base/rowwalk.h"

namespace KrN {

// Whether any row of one view overlaps any row of the other.
template <class T>
bool SharePixels(const KrTAOI<T>* a, const KrTAOI<T>* b) {
    if (static_cast<const KrAOI*>(a) == b) return true;
    if (!HaveRowPointers(a, b)) return false;
    const auto end = [](const KrTAOI<T>* aoi) { return aoi->GetRowPointer(aoi->AOIHeight() - 1) + aoi->AOIWidth(); };
    const bool apart =
        std::less_equal<>()(end(a), b->GetRowPointer(0)) || std::less_equal<>()(end(b), a->GetRowPointer(0));
    if (apart) return false;
    if (a->GetRowIncInBytes() != b->GetRowIncInBytes() || a->GetRowIncInBytes() == 0) return true;
    // The same stride: the views overlap when their rows do and their columns do, on the common pitch.
    const auto pitch = static_cast<std::ptrdiff_t>(a->GetRowIncInBytes());
    const auto offset =
        reinterpret_cast<std::intptr_t>(b->GetRowPointer(0)) - reinterpret_cast<std::intptr_t>(a->GetRowPointer(0));
    const std::ptrdiff_t column = ((offset % pitch) + pitch) % pitch;
    return column < a->AOIWidth() * std::ptrdiff_t{sizeof(T)} ||
           column + b->AOIWidth() * std::ptrdiff_t{sizeof(T)} > pitch;
}

}  // namespace KrN
