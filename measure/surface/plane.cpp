#include <cmath>

#include "measure/error.h"
#include "measure/surface.h"

namespace measure {
namespace {

struct Sums {
    double n = 0, x = 0, y = 0, z = 0, xx = 0, xy = 0, yy = 0, xz = 0, yz = 0;
};

}  // namespace

cv::Mat1f RemovePlane(const cv::Mat1f& values, const cv::Mat1b& mask) {
    if (!mask.empty() && mask.size() != values.size()) throw InputError("the mask and the values differ in size");
    // Coordinates count from the middle, which keeps the sums small.
    const double cx = 0.5 * (values.cols - 1), cy = 0.5 * (values.rows - 1);
    Sums s;
    for (int y = 0; y < values.rows; ++y) {
        for (int x = 0; x < values.cols; ++x) {
            const double z = static_cast<double>(values(y, x));
            if (!std::isfinite(z) || (!mask.empty() && mask(y, x) < 128)) continue;
            const double dx = x - cx, dy = y - cy;
            s.n += 1;
            s.x += dx;
            s.y += dy;
            s.z += z;
            s.xx += dx * dx;
            s.xy += dx * dy;
            s.yy += dy * dy;
            s.xz += dx * z;
            s.yz += dy * z;
        }
    }
    const cv::Matx33d normal(s.xx, s.xy, s.x, s.xy, s.yy, s.y, s.x, s.y, s.n);
    cv::Vec3d plane;
    if (s.n < 3 || !cv::solve(normal, cv::Vec3d(s.xz, s.yz, s.z), plane, cv::DECOMP_LU)) return values.clone();
    cv::Mat1f level(values.size());
    for (int y = 0; y < values.rows; ++y) {
        for (int x = 0; x < values.cols; ++x) {
            const double fitted = plane[0] * (x - cx) + plane[1] * (y - cy) + plane[2];
            level(y, x) = static_cast<float>(static_cast<double>(values(y, x)) - fitted);
        }
    }
    return level;
}

}  // namespace measure
