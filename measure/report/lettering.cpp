#include "measure/report/lettering.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "measure/report/colours.h"

namespace measure {
namespace {

constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

}  // namespace

Lettering::Lettering(cv::Size size)
    : scale(std::clamp(std::max(size.width, size.height) / 1400.0, 0.45, 2.5)),
      thickness(std::max(1, static_cast<int>(scale + 0.3))) {}

int Lettering::Width(const std::string& text) const {
    int baseline = 0;
    return cv::getTextSize(text, kFont, scale, thickness, &baseline).width;
}

void Lettering::Write(cv::Mat3b& picture, const std::string& text, cv::Point at) const {
    cv::putText(picture, text, at, kFont, scale, kInk, thickness, cv::LINE_AA);
}

std::vector<Tick> Ticks(double lower, double upper, int most) {
    const double least = (upper - lower) / std::max(1, most);
    const double power = least > 0 ? std::pow(10.0, std::floor(std::log10(least))) : 0.0;
    if (!(power > 0 && std::isfinite(10.0 * power))) return {};  // a scale without extent, or beyond all numbers
    double step = 10.0 * power;
    for (const double factor : {5.0, 2.0, 1.0})
        if (factor * power >= least * (1.0 - 1e-9)) step = factor * power;
    const int digits = std::clamp(static_cast<int>(std::ceil(-std::log10(step) - 1e-9)), 0, 9);
    std::vector<Tick> ticks;
    double n = std::ceil(lower / step - 1e-9);
    // Of numbers whose neighbours lie further apart than the step, the next one would be the same again.
    for (int i = 0; i <= 2 * std::max(1, most) && n * step <= upper + 1e-9 * step; ++i, n += 1.0)
        ticks.push_back({n * step, cv::format("%.*f", digits, n * step + 0.0)});
    return ticks;
}

}  // namespace measure
