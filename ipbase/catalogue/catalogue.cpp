#include "ipbase/catalogue/catalogue.h"

#include "ipbase/colour/operations.h"
#include "ipbase/filters/operations.h"
#include "ipbase/geometry/operations.h"
#include "ipbase/point/operations.h"
#include "ipbase/statistics/operations.h"
#include "ipbase/surface/operations.h"
#include "ipbase/transfer/operations.h"
#include "ipbase/world/operations.h"

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
        {"geometry", GeometryOperations},
        {"modulogeometry", GeometryModuloOperations},
        {"rotation", RotateByShearOperations},
        {"combination", CombinationOperations},
        {"colourindex", ColourIndexOperations},
        {"octree", OctreeOperations},
        {"world", WorldOperations},
    };
    return families;
}

}  // namespace KrN
