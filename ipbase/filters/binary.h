#pragma once

#include <limits>
#include <type_traits>

#include "ipbase/base/rowaccess.h"

// Erosion and dilatation of binary images.
namespace KrN {

// Where a line rises to the foreground value or above, or falls below it, `reach` samples from the edge on become
// `value`: those on the foreground's side of it, or, when `outwards`, those on the other side. The ends of a line are
// no edges. On all rows, then on all columns.
template <class T>
struct EdgeFill {
    T foreground;
    T value;
    bool outwards;
};
template <class T>
T BinaryForeground() {
    if constexpr (std::is_signed_v<T> && std::is_integral_v<T>)
        return T{-1};
    else
        return std::numeric_limits<T>::max();
}
template <class T>
EdgeFill<T> ErosionFill(T foreground) {
    return {foreground, T{0}, false};
}
template <class T>
EdgeFill<T> DilatationFill(T foreground) {
    return {foreground, foreground, true};
}
template <class T>
void FillEdges(const EdgeFill<T>& fill, std::uint32_t reachX, std::uint32_t reachY, Extent size, RowReader<T>& reader,
               RowWriter<T>& writer);

}  // namespace KrN
