#include "ipbase/ipCatalogue.h"

namespace KrN {

std::vector<OperationInfo> AllOperations() {
    std::vector<OperationInfo> all;
    for (const auto family : {ArithmeticOperations, BestFitOperations, TransferOperations, ShiftOperations,
                              ConvertOperations, RangeOperations, MapLutOperations, LogicOperations, MinMaxOperations,
                              ThresholdOperations, HistogramOperations, ShadeCorrectionOperations}) {
        const std::vector<OperationInfo> operations = family();
        all.insert(all.end(), operations.begin(), operations.end());
    }
    return all;
}

}  // namespace KrN
