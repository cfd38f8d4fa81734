#pragma once

#include "imagemodel/krstring.h"
#include "imagemodel/krvalues.h"

namespace KrN {

// What the grey values of an image mean: value = valueOffset + valueScale * grey, in `unit`.
struct KrAOIInfo {
    KrString name;
    double valueOffset = 0.0;
    double valueScale = 1.0;
    KrString unit;
    KrTFloatRange<double> range;      // grey values that occur, when rangeValid
    KrTFloatRange<double> fullRange;  // grey values that can occur
    bool rangeValid = false;
    double factor2 = 1.0;
    double factor3 = 1.0;
    double factor4 = 1.0;
    KrString text;
};

}  // namespace KrN
