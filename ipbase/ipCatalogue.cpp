#include "ipbase/ipCatalogue.h"

#include "ipbase/ipFilterImage.h"

namespace KrN {

const std::vector<OperationFamily>& OperationFamilies() {
    static const std::vector<OperationFamily> families = {
        {"arithmetic", ArithmeticOperations},
        {"transfer", TransferOperations},
        {"shift", ShiftOperations},
        {"conversion", ConvertOperations},
        {"range", RangeOperations},
        {"tables", MapLutOperations},
        {"logic", LogicOperations},
        {"minmax", MinMaxOperations},
        {"threshold", ThresholdOperations},
        {"histogram", HistogramOperations},
        {"linefilters", LineFilterOperations},
        {"imagefilters", ImageFilterOperations},
        {"bestfit", BestFitOperations},
        {"shading", ShadeCorrectionOperations},
    };
    return families;
}

}  // namespace KrN
