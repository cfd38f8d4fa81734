#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/picture.h"
#include "measure/report/colours.h"
#include "measure/report/frame.h"

namespace measure {
namespace {

constexpr double kGoldenRatio = 0.6180339887498949;  // its multiples, modulo 1, keep away from one another

struct Area {
    int pixels = 0;
    cv::Rect box;
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
            ++area.pixels;
            area.box |= cv::Rect(x, y, 1, 1);
        }
    }
    return areas;
}

// The pixel of the area that is farthest from its border: a centroid may lie outside.
cv::Point InsideOf(const cv::Mat1i& numbers, int number, const cv::Rect& box) {
    cv::Mat1b inside;
    cv::compare(numbers(box), number, inside, cv::CMP_EQ);
    cv::copyMakeBorder(inside, inside, 1, 1, 1, 1, cv::BORDER_CONSTANT, 0);
    cv::Mat1f distances;
    cv::distanceTransform(inside, distances, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    cv::Point farthest;
    cv::minMaxLoc(distances, nullptr, nullptr, nullptr, &farthest);
    return farthest + box.tl() - cv::Point(1, 1);
}

// In the middle of the text is the point.
void WriteNumber(cv::Mat3b& picture, int number, cv::Point at) {
    const double scale = std::clamp(std::max(picture.cols, picture.rows) / 1400.0, 0.45, 2.5);
    const std::string text = std::to_string(number);
    int below = 0;
    const cv::Size size = cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, scale, 1, &below);
    at += cv::Point(-size.width / 2, size.height / 2);
    for (const auto& [ink, width] : {std::pair(cv::Scalar::all(0), 4), std::pair(cv::Scalar::all(255), 1)})
        cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, scale, ink, width, cv::LINE_AA);
}

cv::Mat3b Colours(const cv::Mat1i& numbers) {
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
    return colours;
}

void WriteNumbers(const cv::Mat1i& numbers, int zoom, cv::Mat3b& picture) {
    const std::vector<Area> areas = MeasureAreas(numbers);
    const double least = static_cast<double>(numbers.total()) / 400.0;  // smaller ones have no room for a number
    for (std::size_t i = 1; i < areas.size(); ++i) {
        if (areas[i].pixels < least) continue;
        const int number = static_cast<int>(i);
        WriteNumber(picture, number, InsideOf(numbers, number, areas[i].box) * zoom + cv::Point(zoom, zoom) / 2);
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

cv::Mat3b DrawComponents(const cv::Mat1i& numbers) {
    RequireOneSize({"the image of the components", numbers});
    const int zoom = ZoomOf(numbers.size());
    cv::Mat3b picture = Enlarge(Colours(numbers), zoom);
    WriteNumbers(numbers, zoom, picture);
    return picture;
}

cv::Mat3b DrawComponents(const cv::Mat1i& all, const PictureStyle& style) {
    RequireOneSize({"the image of the components", all});
    const cv::Mat1i numbers = EveryPixel(all, StepOf(style, all));
    const int zoom = ZoomOf(numbers.size());
    cv::Mat3b picture = Enlarge(Colours(numbers), zoom);
    cv::Mat1f values(numbers.size(), 0.0f);
    values.setTo(NAN, numbers <= 0);
    Hatch(values, zoom, picture);
    WriteNumbers(numbers, zoom, picture);
    return FramePicture(picture, zoom, style);
}

}  // namespace measure
