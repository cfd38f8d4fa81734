#pragma once

#include "ipbase/unwrap/regions/connections.h"
#include "ipbase/unwrap/regions/forest.h"

namespace KrN {

// Joins areas into trees, always along the best connection left (the first in the order of the trees among equals),
// until no usable connection remains. The trees stand in the order of their areas, of which area n is tree
// treeOfArea[n - 1].
UnwrapForest JoinUnwrapAreas(UnwrapConnections connections, const std::vector<std::uint32_t>& treeOfArea);

}  // namespace KrN
