#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace vorip {

// A rendered measuring scene and what is true about it.
struct Scene {
    std::vector<cv::Mat> frames;  // CV_8U fringe pictures with equal shifts over one period
    cv::Mat phase;                // CV_64F, radians, not wrapped
    cv::Mat lit;                  // CV_8U, 255 where the projector lights the object
};

// A machined part on black cloth, seen from straight above under fringes from the left: a raised step whose shadow
// cuts the part in two, a dome, an inclined plane, a drilled hole and a polished spot that saturates the camera; with
// blurred edges, uneven light and camera noise. Always the same pictures.
Scene RenderScene(int frameCount);

}  // namespace vorip
