#pragma once

#include <vector>

#include "ipbase/ipDispatch.h"

// The operations of every family with their supported combinations, as the dispatch itself uses them: the tests and the
// reference pages read them here.
namespace KrN {

std::vector<OperationInfo> ArithmeticOperations();
std::vector<OperationInfo> TransferOperations();
std::vector<OperationInfo> ShiftOperations();
std::vector<OperationInfo> ConvertOperations();
std::vector<OperationInfo> RangeOperations();
std::vector<OperationInfo> MapLutOperations();
std::vector<OperationInfo> LogicOperations();
std::vector<OperationInfo> MinMaxOperations();
std::vector<OperationInfo> ThresholdOperations();
std::vector<OperationInfo> HistogramOperations();
std::vector<OperationInfo> BestFitOperations();
std::vector<OperationInfo> ShadeCorrectionOperations();

// All of the above and the filters, each with a short name.
struct OperationFamily {
    const char* name;
    std::vector<OperationInfo> (*operations)();
};
const std::vector<OperationFamily>& OperationFamilies();

}  // namespace KrN
