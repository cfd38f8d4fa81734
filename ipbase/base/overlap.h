#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Whether the top-left parts of two views of addressable pixels have any pixel in common.
template <class A, class B>
bool SharePixels(const KrTAOI<A>& a, KrTSize<int> sizeA, const KrTAOI<B>& b, KrTSize<int> sizeB) {
    const auto first = [](const auto& aoi) { return reinterpret_cast<std::intptr_t>(aoi.GetRowPointer(0)); };
    const auto end = [](const auto& aoi, KrTSize<int> size) {
        return reinterpret_cast<std::intptr_t>(aoi.GetRowPointer(size.cy - 1) + size.cx);
    };
    if (end(a, sizeA) <= first(b) || end(b, sizeB) <= first(a)) return false;
    if (a.GetRowIncInBytes() != b.GetRowIncInBytes() || a.GetRowIncInBytes() == 0) return true;
    // The same stride: rows of both lie beside each other, and overlap where their columns do on the common pitch.
    const auto pitch = static_cast<std::intptr_t>(a.GetRowIncInBytes());
    const std::intptr_t column = ((first(b) - first(a)) % pitch + pitch) % pitch;
    return column < sizeA.cx * std::intptr_t{sizeof(A)} || column + sizeB.cx * std::intptr_t{sizeof(B)} > pitch;
}

// The same of whole views, which may have no addresses.
template <class T>
bool SharePixels(const KrTAOI<T>* a, const KrTAOI<T>* b) {
    const auto whole = [](const KrAOI* aoi) { return KrTSize<int>{aoi->AOIWidth(), aoi->AOIHeight()}; };
    return static_cast<const KrAOI*>(a) == b ||
           (a->GetRowPointer(0) && b->GetRowPointer(0) && SharePixels(*a, whole(a), *b, whole(b)));
}

}  // namespace KrN
