#pragma once

#include <opencv2/core.hpp>

namespace vorip {

// A colour picture in which every region has a colour of its own, much unlike those of the numbers next to it.
class RegionPicture {
public:
    // The pixels of all regions (CV_32S numbers, 0 is none) in colours on black.
    static RegionPicture Labels(const cv::Mat& numbers);
    // A grey picture (CV_8U), darkened, on which outlines are to be painted.
    static RegionPicture Outlines(const cv::Mat& grey);

    void Paint(int x, int y, int number);
    // The picture (CV_8UC3), enlarged when it is small.
    cv::Mat Draw() const;

private:
    cv::Mat mPicture;
};

}  // namespace vorip
