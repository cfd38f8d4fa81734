#include "tools/vorip/pictures/phasepicture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace vorip {
namespace {

constexpr int kSmallestPicture = 480;
constexpr double kTail = 0.001;  // share of the pixels at either end that may lie beyond the colours

struct Scale {
    double lower = 0;  // periods
    double upper = 1;
};

cv::Mat Palette() {
    cv::Mat ramp(1, 256, CV_8U), colours;
    for (int i = 0; i < 256; ++i) ramp.at<std::uint8_t>(i) = static_cast<std::uint8_t>(i);
    cv::applyColorMap(ramp, colours, cv::COLORMAP_TURBO);
    return colours;
}

cv::Vec3b Colour(const cv::Mat& palette, const Scale& scale, double periods) {
    const double t = (periods - scale.lower) / (scale.upper - scale.lower);
    return palette.at<cv::Vec3b>(static_cast<int>(std::clamp(t, 0.0, 1.0) * 255.0 + 0.5));
}

double Periods(float radians) { return static_cast<double>(radians) / (2.0 * CV_PI); }

Scale FindScale(const cv::Mat& radians) {
    std::vector<float> values;
    for (int y = 0; y < radians.rows; ++y) {
        const auto* row = radians.ptr<float>(y);
        std::copy_if(row, row + radians.cols, std::back_inserter(values), [](float v) { return std::isfinite(v); });
    }
    if (values.empty()) return {};
    const auto at = [&](double share) {
        const auto n = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
        std::nth_element(values.begin(), n, values.end());
        return Periods(*n);
    };
    const Scale scale{at(kTail), at(1.0 - kTail)};
    return scale.upper - scale.lower < 0.01 ? Scale{scale.lower - 0.5, scale.lower + 0.5} : scale;
}

cv::Mat DrawImage(const cv::Mat& radians, const cv::Mat& palette, const Scale& scale, int zoom) {
    const int hatch = std::max(4, std::max(radians.cols, radians.rows) * zoom / 150);
    cv::Mat picture(radians.rows * zoom, radians.cols * zoom, CV_8UC3);
    for (int y = 0; y < picture.rows; ++y) {
        const auto* in = radians.ptr<float>(y / zoom);
        auto* out = picture.ptr<cv::Vec3b>(y);
        for (int x = 0; x < picture.cols; ++x) {
            const float v = in[x / zoom];
            const std::uint8_t grey = (x + y) / hatch % 4 == 0 ? 90 : 50;
            out[x] = std::isfinite(v) ? Colour(palette, scale, Periods(v)) : cv::Vec3b(grey, grey, grey);
        }
    }
    return picture;
}

void Mark(const cv::Mat& marked, int zoom, cv::Mat& image) {
    cv::Mat wide;
    cv::dilate(marked, wide, cv::Mat());
    cv::resize(zoom < 3 ? wide : marked, wide, image.size(), 0, 0, cv::INTER_NEAREST);
    image.setTo(cv::Scalar(255, 0, 255), wide);
}

// A step of 1, 2 or 5 times a power of ten that gives at most `most` ticks.
double TickStep(const Scale& scale, int most) {
    const double least = (scale.upper - scale.lower) / most;
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least) return factor * power;
    }
    return 10.0 * power;
}

cv::Mat DrawScaleBar(int height, const cv::Mat& palette, const Scale& scale) {
    const double font = std::clamp(height / 900.0, 0.4, 2.5);
    const auto em = [&](double ems) { return static_cast<int>(ems * 22.0 * font + 0.5); };
    const int thickness = std::max(1, static_cast<int>(font + 0.5));
    cv::Mat bar(height, em(6.5), CV_8UC3, cv::Scalar::all(24));
    const auto write = [&](const std::string& text, int x, int y) {
        cv::putText(bar, text, {x, y}, cv::FONT_HERSHEY_SIMPLEX, font, cv::Scalar::all(230), thickness, cv::LINE_AA);
    };
    const int top = em(2.6), bottom = height - em(1.2), left = em(0.8), right = em(2.0);
    const double perPixel = (scale.upper - scale.lower) / (bottom - top);
    write("periods", left, em(1.4));
    for (int y = top; y <= bottom; ++y) {
        const cv::Vec3b colour = Colour(palette, scale, scale.upper - (y - top) * perPixel);
        for (int x = left; x < right; ++x) bar.at<cv::Vec3b>(y, x) = colour;
    }
    const double step = TickStep(scale, std::max(2, (bottom - top) / em(2.0)));
    const int digits = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    for (double n = std::ceil(scale.lower / step - 1e-9); n * step <= scale.upper + 1e-9 * step; n += 1.0) {
        const int y = top + static_cast<int>((scale.upper - n * step) / perPixel + 0.5);
        cv::line(bar, {right, y}, {right + em(0.4), y}, cv::Scalar::all(230), thickness);
        write(cv::format("%.*f", digits, n * step + 0.0), right + em(0.7), y + em(0.35));
    }
    return bar;
}

}  // namespace

cv::Mat DrawPhasePicture(const cv::Mat& radians, const cv::Mat& marked) {
    const cv::Mat palette = Palette();
    const Scale scale = FindScale(radians);
    const int side = std::max(radians.cols, radians.rows);
    const int zoom = std::max(1, kSmallestPicture / side);
    cv::Mat image = DrawImage(radians, palette, scale, zoom);
    if (!marked.empty()) Mark(marked, zoom, image);
    const int height = std::max(image.rows, 200);
    const cv::Mat bar = DrawScaleBar(height, palette, scale);
    cv::Mat picture(height, image.cols + bar.cols, CV_8UC3, cv::Scalar::all(24));
    image.copyTo(picture(cv::Rect(0, 0, image.cols, image.rows)));
    bar.copyTo(picture(cv::Rect(image.cols, 0, bar.cols, bar.rows)));
    return picture;
}

}  // namespace vorip
