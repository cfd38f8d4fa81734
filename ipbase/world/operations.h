#pragma once

#include <vector>

#include "ipbase/base/dispatch.h"

namespace KrN {

// The operations of this room with their supported combinations.
std::vector<OperationInfo> WorldOperations();

}  // namespace KrN
