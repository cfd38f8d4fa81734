#pragma once

#include <vector>

#include "ipbase/base/dispatch.h"

namespace KrN {

// The operations of each family of this room with their supported combinations.
std::vector<OperationInfo> ArithmeticOperations();
std::vector<OperationInfo> LogicOperations();
std::vector<OperationInfo> MinMaxOperations();
std::vector<OperationInfo> ThresholdOperations();

}  // namespace KrN
