#pragma once

#include <opencv2/core.hpp>

#include "measure/heightmap.h"
#include "measure/progress.h"

namespace measure {

// A motion of the measured surface: rotation · (P - centre) + centre + translation.
struct Motion {
    cv::Matx33d rotation = cv::Matx33d::eye();
    cv::Vec3d centre, translation;

    cv::Vec3d Of(const cv::Vec3d& p) const { return rotation * (p - centre) + centre + translation; }
};

// The point of a pixel in the frame of its map, and the pixel (column, row) at x and y.
inline cv::Vec3d PointAt(const HeightMap& map, int column, int row) {
    return {map.origin.x + map.pitch * column, map.origin.y - map.pitch * row, static_cast<double>(map.z(row, column))};
}
inline cv::Point2d PixelAt(const HeightMap& map, const cv::Vec3d& point) {
    return {(point[0] - map.origin.x) / map.pitch, (map.origin.y - point[1]) / map.pitch};
}

struct RigidFit {
    Motion motion;
    int rounds = 0;
    bool converged = false;
};

// Moves the usable pixels of `measured` to the tangent planes of `reference`, round by round. Both have a pitch.
RigidFit FitRigidly(const HeightMap& measured, const HeightMap& reference, const cv::Mat1b& usable, bool robust,
                    const Progress& progress);

}  // namespace measure
