#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace vorip {

// What makes a pixel of fringe pictures unusable, in grey levels of the pictures.
struct FringeLimits {
    double minIntensity = 0;   // least mean intensity A
    double saturation = 0;     // a level that no frame may reach
    double minModulation = 0;  // least modulation B
    double borderRatio = 0;    // change of the contrast B / A at a border between materials; 0: no such borders
};

struct FringeResult {
    cv::Mat phase16;     // CV_16U, 65,536 steps per period
    cv::Mat phase8;      // CV_8U, 256 steps per period
    cv::Mat modulation;  // CV_8U, 2 B as a share of full scale: 255 is a fringe from black to full scale
    cv::Mat mask;        // CV_8U, 255 usable, 0 excluded
};

// N equally spaced phase shifts over one period, in radians: 2 pi k / N.
std::vector<double> EqualShifts(std::size_t count);

// Fits I_k = A + B cos(phase + shift_k) to every pixel by least squares. The frames have one size and one pixel type
// (CV_8U, CV_16U or CV_32F). Refuses shifts that do not determine A, B and the phase.
FringeResult SolveFringes(const std::vector<cv::Mat>& frames, const std::vector<double>& shifts, double fullScale,
                          const FringeLimits& limits);

}  // namespace vorip
