#pragma once

#include "ipbase/ipUnwrapConnections.h"
#include "ipbase/ipUnwrapForest.h"

namespace KrN {

// Joins areas into trees, always along the best connection left (the first in the order of the trees among equals),
// until no usable connection remains.
UnwrapForest JoinUnwrapAreas(UnwrapConnections connections, std::uint32_t areaCount);

}  // namespace KrN
