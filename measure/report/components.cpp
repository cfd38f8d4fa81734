#include <algorithm>
#include <map>
#include <opencv2/imgproc.hpp>

#include "measure/picture.h"
#include "measure/report/colours.h"

namespace measure {
namespace {

// Hues a golden section apart: the colours of consecutive numbers differ much.
cv::Vec3b ColourOf(int number) {
    if (number <= 0) return {0, 0, 0};
    const auto hue = static_cast<uchar>(static_cast<unsigned>(number) * 111u % 180u);
    const auto value = static_cast<uchar>(number % 2 == 0 ? 255 : 200);
    cv::Mat3b pixel(1, 1, cv::Vec3b(hue, 150, value));
    cv::cvtColor(pixel, pixel, cv::COLOR_HSV2BGR);
    return pixel(0);
}

struct Area {
    cv::Vec3b colour;
    double pixels = 0, x = 0, y = 0;
};

}  // namespace

cv::Mat3b DrawComponents(const cv::Mat1i& numbers) {
    std::map<int, Area> areas;
    cv::Mat3b colours(numbers.size());
    int last = 0;
    Area* area = nullptr;
    for (int y = 0; y < numbers.rows; ++y) {
        for (int x = 0; x < numbers.cols; ++x) {
            const int number = numbers(y, x);
            if (!area || number != last) {
                const auto found = areas.try_emplace(number);
                area = &found.first->second;
                if (found.second) area->colour = ColourOf(number);
                last = number;
            }
            colours(y, x) = area->colour;
            area->pixels += 1;
            area->x += x;
            area->y += y;
        }
    }
    const int zoom = numbers.empty() ? 1 : ZoomOf(numbers.size());
    cv::Mat3b picture = colours;
    if (zoom > 1) cv::resize(colours, picture, {}, zoom, zoom, cv::INTER_NEAREST);
    const double scale = std::clamp(std::max(picture.cols, picture.rows) / 1400.0, 0.45, 2.5);
    const double least = static_cast<double>(numbers.total()) / 400.0;  // smaller ones have no room for a number
    for (const auto& [number, found] : areas) {
        if (number <= 0 || found.pixels < least) continue;
        const cv::Point centre(static_cast<int>(found.x / found.pixels * zoom),
                               static_cast<int>(found.y / found.pixels * zoom));
        const std::string text = std::to_string(number);
        for (const auto& [ink, width] : {std::pair(cv::Scalar::all(0), 4), std::pair(cv::Scalar::all(255), 1)}) {
            cv::putText(picture, text, centre, cv::FONT_HERSHEY_SIMPLEX, scale, ink, width, cv::LINE_AA);
        }
    }
    return picture;
}

}  // namespace measure
