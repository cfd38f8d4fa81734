#include "tools/vorip/pictures/regionpicture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>

namespace vorip {
namespace {

constexpr int kSmallestPicture = 480;
constexpr double kDarkened = 0.5;
constexpr double kGoldenRatio = 0.6180339887498949;  // its multiples, modulo 1, keep away from one another

// Bright and saturated.
cv::Vec3b Colour(int number) {
    const auto channel = [hue = number * kGoldenRatio](double shift) {
        const double position = (hue + shift - std::floor(hue + shift)) * 6.0;
        const double level = std::clamp(std::abs(position - 3.0) - 1.0, 0.0, 1.0);
        return static_cast<std::uint8_t>(60.0 + 195.0 * level);
    };
    return {channel(1.0 / 3.0), channel(2.0 / 3.0), channel(0.0)};
}

}  // namespace

RegionPicture RegionPicture::Labels(const cv::Mat& numbers) {
    RegionPicture result;
    result.mPicture = cv::Mat(numbers.size(), CV_8UC3, cv::Scalar::all(0));
    for (int y = 0; y < numbers.rows; ++y) {
        const auto* row = numbers.ptr<std::int32_t>(y);
        for (int x = 0; x < numbers.cols; ++x) {
            if (row[x] != 0) result.Paint(x, y, row[x]);
        }
    }
    return result;
}

RegionPicture RegionPicture::Outlines(const cv::Mat& grey) {
    RegionPicture result;
    cv::cvtColor(grey * kDarkened, result.mPicture, cv::COLOR_GRAY2BGR);
    return result;
}

void RegionPicture::Paint(int x, int y, int number) { mPicture.at<cv::Vec3b>(y, x) = Colour(number); }

cv::Mat RegionPicture::Draw() const {
    const int zoom = kSmallestPicture / std::max(mPicture.cols, mPicture.rows);
    if (zoom <= 1) return mPicture;
    cv::Mat enlarged;
    cv::resize(mPicture, enlarged, {}, zoom, zoom, cv::INTER_NEAREST);
    return enlarged;
}

}  // namespace vorip
