#pragma once

#include <vector>

#include "ipbase/base/dispatch.h"

namespace KrN {

// The operations of each family of this room with their supported combinations.
std::vector<OperationInfo> TransferOperations();
std::vector<OperationInfo> ShiftOperations();
std::vector<OperationInfo> ConvertOperations();
std::vector<OperationInfo> MapLutOperations();

}  // namespace KrN
