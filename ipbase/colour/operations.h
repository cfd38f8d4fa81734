#pragma once

#include <vector>

#include "ipbase/base/dispatch.h"

namespace KrN {

// The operations of each family of this room with their supported combinations.
std::vector<OperationInfo> ColourIndexOperations();
std::vector<OperationInfo> OctreeOperations();

}  // namespace KrN
