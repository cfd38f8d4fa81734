#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace measure {

// Text on pictures, whose size grows with the picture.
struct Lettering {
    explicit Lettering(cv::Size size);

    int Em(double ems) const { return static_cast<int>(ems * 22.0 * scale + 0.5); }
    int Width(const std::string& text) const;
    void Write(cv::Mat3b& picture, const std::string& text, cv::Point at) const;

    double scale;
    int thickness;
};

struct Tick {
    double value;
    std::string text;
};

// Multiples of 1, 2 or 5 times a power of ten between two values, at most `most` of them.
std::vector<Tick> Ticks(double lower, double upper, int most);

}  // namespace measure
