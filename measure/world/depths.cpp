#include "measure/world/depths.h"

#include <cmath>
#include <limits>

#include "measure/base/arguments.h"

namespace measure {

void RequireCloud(const Cloud& cloud) {
    RequireOneSize({"the cloud's z", cloud.z}, {{"its x", cloud.x}, {"its y", cloud.y}});
}

cv::Mat1f DepthsOf(const Cloud& cloud) {
    RequireCloud(cloud);
    cv::Mat1f depth(cloud.z.size());
    for (int y = 0; y < depth.rows; ++y) {
        const float *const px = cloud.x[y], *const py = cloud.y[y], *const pz = cloud.z[y];
        float* const out = depth[y];
        for (int x = 0; x < depth.cols; ++x) {
            const bool finite = std::isfinite(px[x] + py[x] + pz[x]);
            out[x] = finite ? pz[x] : std::numeric_limits<float>::quiet_NaN();
        }
    }
    return depth;
}

}  // namespace measure
