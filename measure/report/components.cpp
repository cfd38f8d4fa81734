#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "measure/picture.h"
#include "measure/report/colours.h"

namespace measure {
namespace {

constexpr double kGoldenRatio = 0.6180339887498949;  // its multiples, modulo 1, keep away from one another

struct Area {
    double pixels = 0, x = 0, y = 0;
};

// Numbers beyond those that so many pixels can need are left out.
std::vector<Area> MeasureAreas(const cv::Mat1i& numbers) {
    double most = 0;
    cv::minMaxLoc(numbers, nullptr, &most);
    std::vector<Area> areas(static_cast<std::size_t>(std::clamp(most, 0.0, static_cast<double>(numbers.total()))) + 1);
    for (int y = 0; y < numbers.rows; ++y) {
        for (int x = 0; x < numbers.cols; ++x) {
            const int number = numbers(y, x);
            if (number <= 0 || static_cast<std::size_t>(number) >= areas.size()) continue;
            Area& area = areas[static_cast<std::size_t>(number)];
            area.pixels += 1;
            area.x += x;
            area.y += y;
        }
    }
    return areas;
}

void WriteNumber(cv::Mat3b& picture, int number, cv::Point at) {
    const double scale = std::clamp(std::max(picture.cols, picture.rows) / 1400.0, 0.45, 2.5);
    const std::string text = std::to_string(number);
    for (const auto& [ink, width] : {std::pair(cv::Scalar::all(0), 4), std::pair(cv::Scalar::all(255), 1)}) {
        cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, scale, ink, width, cv::LINE_AA);
    }
}

}  // namespace

cv::Vec3b ComponentColour(int number) {
    const auto channel = [hue = number * kGoldenRatio](double shift) {
        const double position = (hue + shift - std::floor(hue + shift)) * 6.0;
        const double level = std::clamp(std::abs(position - 3.0) - 1.0, 0.0, 1.0);
        return static_cast<uchar>(60.0 + 195.0 * level);
    };
    return {channel(1.0 / 3.0), channel(2.0 / 3.0), channel(0.0)};
}

cv::Mat3b DrawComponents(const cv::Mat1i& all, int step) {
    if (all.empty()) return {};
    const cv::Mat1i numbers = EveryPixel(all, step);
    cv::Mat3b colours(numbers.size());
    for (int y = 0; y < numbers.rows; ++y) {
        int last = 0;
        cv::Vec3b colour(0, 0, 0);
        for (int x = 0; x < numbers.cols; ++x) {
            const int number = numbers(y, x);
            if (number != last) colour = number > 0 ? ComponentColour(number) : cv::Vec3b(0, 0, 0);
            colours(y, x) = colour;
            last = number;
        }
    }
    const int zoom = ZoomOf(numbers.size());
    cv::Mat3b picture = colours;
    if (zoom > 1) cv::resize(colours, picture, {}, zoom, zoom, cv::INTER_NEAREST);
    const std::vector<Area> areas = MeasureAreas(numbers);
    const double least = static_cast<double>(numbers.total()) / 400.0;  // smaller ones have no room for a number
    for (std::size_t number = 1; number < areas.size(); ++number) {
        const Area& area = areas[number];
        if (area.pixels < least) continue;
        WriteNumber(picture, static_cast<int>(number),
                    {static_cast<int>(area.x / area.pixels * zoom), static_cast<int>(area.y / area.pixels * zoom)});
    }
    return picture;
}

}  // namespace measure
