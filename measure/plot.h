#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/export.h"

namespace measure {

// A curve with axes: values over rising positions. NaN interrupts the curve.
struct Plot {
    std::string title;
    std::string positionLabel, valueLabel;  // with units, as in "distance (mm)"
    std::vector<double> positions;
    std::vector<float> values;
};

// Throws InputError unless there are as many values as positions, two or more, the positions rise and one of the values
// is finite.
MEASURE_API cv::Mat3b DrawPlot(const Plot& plot);

}  // namespace measure
