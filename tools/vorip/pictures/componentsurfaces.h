#pragma once

#include <functional>
#include <opencv2/core.hpp>
#include <vector>

namespace vorip {

// X^x * Y^y, X and Y being column and row counted from 1.
struct SurfaceTerm {
    int x, y;
};

struct FlatComponents {
    cv::Mat1f flat;  // NaN outside the components, where there is no value, and where the fit was not possible
    int all = 0;     // the components that there are
    int fitted = 0;  // those with at least as many pixels as terms
};

// Takes from each component (numbers from 1 to the number of pixels, 0 is none) the surface of these terms that fits
// its values best by least squares. Pixels other than 0 in `excluded` take no part in the fits. All components are
// summed in one pass over the image, so that many scattered ones cost no more than one.
FlatComponents FlattenComponents(const cv::Mat1f& values, const cv::Mat1i& numbers, const cv::Mat1b& excluded,
                                 const std::vector<SurfaceTerm>& terms, const std::function<void(double share)>& watch);

}  // namespace vorip
