#pragma once

#include <vector>

#include "ipbase/base/dispatch.h"

namespace KrN {

// The operations of each family of this room with their supported combinations.
std::vector<OperationInfo> GeometryOperations();
std::vector<OperationInfo> GeometryModuloOperations();
std::vector<OperationInfo> RotateByShearOperations();
std::vector<OperationInfo> CombinationOperations();

}  // namespace KrN
