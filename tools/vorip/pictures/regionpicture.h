#pragma once

#include <opencv2/core.hpp>

namespace vorip {

// A picture with the outlines of regions, each in the colour of its number.
class RegionPicture {
public:
    // A grey picture (CV_8U), darkened, on which outlines are to be painted.
    static RegionPicture Outlines(const cv::Mat& grey);

    void Paint(int x, int y, int number);
    // The picture (CV_8UC3), enlarged when it is small.
    cv::Mat Draw() const;

private:
    cv::Mat mPicture;
};

}  // namespace vorip
