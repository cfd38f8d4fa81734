#pragma once

#include <opencv2/core.hpp>

namespace measure::accuracy {

// What is known about a scene, in whole and broken periods of the finest fringes.
struct Reference {
    cv::Mat1d periods;  // the true phase / 2π, anywhere but at pixels without light
    cv::Mat1b counted;  // 255 where a result is expected
    cv::Mat1b light;    // 255 where light arrives, also where it is too weak to be counted, and beside it
};

struct Score {
    long counted = 0;  // pixels
    long valid = 0;    // of these, with a result
    long right = 0;    // of the valid ones, with the right order
    long ghosts = 0;   // results where no light arrives

    double RightShare() const {
        return valid > 0 ? 100.0 * static_cast<double>(right) / static_cast<double>(valid) : 0;
    }
    double ValidShare() const {
        return counted > 0 ? 100.0 * static_cast<double>(valid) / static_cast<double>(counted) : 0;
    }
};

struct Judgement {
    Score score;
    cv::Mat1b picture;  // 0 nothing expected, 80 right, 160 missing, 200 a ghost, 255 wrong
};

// How orders may be off and yet be right.
enum class Freedom {
    eNone,     // orders are absolute
    ePerArea,  // by one constant for each 4-connected area of the truth whose neighbours differ by less than half a
               // period
};

// Results in periods, NaN where invalid. With `repeat` above 0 orders are compared modulo that number. A pixel at an
// edge sees two surfaces: it is right when it has the order of any of its neighbours.
Judgement Judge(const cv::Mat1d& result, const Reference& reference, Freedom freedom, int repeat = 0);

// Root mean square of the wrapped difference, radians, over pixels that are counted and valid.
double WrappedError(const cv::Mat1d& result, const Reference& reference);

}  // namespace measure::accuracy
