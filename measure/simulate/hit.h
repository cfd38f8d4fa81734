#pragma once

#include <optional>

#include "measure/simulate.h"

namespace measure::simulate {

// The line from + t · along.
struct Line {
    cv::Vec3d from, along;
};

struct Hit {
    double t;
    cv::Vec3d normal;     // of length 1, on either side
    cv::Point2d surface;  // millimetres on the surface
};

// The first point with t > least at which the line meets the object where it has no hole.
std::optional<Hit> Meet(const Object& object, const Line& line, double least = 0);

// Throws InputError for shapes without extent.
void Check(const Object& object);

}  // namespace measure::simulate
