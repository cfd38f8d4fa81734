#pragma once

#include <string>
#include <vector>

#include "measure/export.h"

// Results of measurements as lists of named values, for files and screens.
namespace measure {

struct Quantity {
    std::string name;  // as in "step_height": a key of JSON
    double value = 0;  // NaN when it cannot be told
    std::string unit;  // empty for counts and shares
};
using Quantities = std::vector<Quantity>;

// {"name": {"value": 1.25, "unit": "mm"}, …}, NaN as null.
MEASURE_API std::string JsonOf(const Quantities& quantities);
// A line "quantity,value,unit" and one for each of them.
MEASURE_API std::string CsvOf(const Quantities& quantities);
// Aligned lines "  name  value unit" with six digits.
MEASURE_API std::string TextOf(const Quantities& quantities);

}  // namespace measure
