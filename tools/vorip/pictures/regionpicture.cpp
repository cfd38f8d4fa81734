#include "tools/vorip/pictures/regionpicture.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>

#include "measure/picture.h"

namespace vorip {
namespace {

constexpr int kSmallestPicture = 480;
constexpr double kDarkened = 0.5;

}  // namespace

RegionPicture RegionPicture::Outlines(const cv::Mat& grey) {
    RegionPicture result;
    cv::cvtColor(grey * kDarkened, result.mPicture, cv::COLOR_GRAY2BGR);
    return result;
}

void RegionPicture::Paint(int x, int y, int number) { mPicture.at<cv::Vec3b>(y, x) = measure::ComponentColour(number); }

cv::Mat RegionPicture::Draw() const {
    const int zoom = kSmallestPicture / std::max(mPicture.cols, mPicture.rows);
    if (zoom <= 1) return mPicture;
    cv::Mat enlarged;
    cv::resize(mPicture, enlarged, {}, zoom, zoom, cv::INTER_NEAREST);
    return enlarged;
}

}  // namespace vorip
