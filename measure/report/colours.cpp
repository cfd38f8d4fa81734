#include "measure/report/colours.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/base/quantile.h"
#include "measure/image.h"

namespace measure {
namespace {

constexpr int kSmallestPicture = 480;
constexpr std::size_t kSamples = 250000;  // enough to find a range

struct NamedMap {
    const char* name;
    ColourMap map;
    int opencv;
};
constexpr NamedMap kMaps[] = {
    {"viridis", ColourMap::eViridis, cv::COLORMAP_VIRIDIS},
    {"cividis", ColourMap::eCividis, cv::COLORMAP_CIVIDIS},
    {"twilight", ColourMap::eTwilight, cv::COLORMAP_TWILIGHT},
    {"grey", ColourMap::eGrey, -1},
};

std::vector<float> SampleValues(const cv::Mat1f& values) {
    const auto step = static_cast<std::size_t>(std::sqrt(static_cast<double>(values.total()) / kSamples)) + 1;
    std::vector<float> sample;
    for (std::size_t y = step / 2; y < static_cast<std::size_t>(values.rows); y += step) {
        const float* row = values[static_cast<int>(y)];
        for (std::size_t x = step / 2; x < static_cast<std::size_t>(values.cols); x += step)
            if (std::isfinite(row[x])) sample.push_back(row[x]);
    }
    return sample;
}

ValueRange FindRange(const cv::Mat1f& values, double percent) {
    std::vector<float> sample = SampleValues(values);
    if (sample.empty()) return {};
    const double tail = percent / 100.0;
    const auto lower = static_cast<double>(QuantileOf(sample, tail));
    return {lower, static_cast<double>(QuantileOf(sample, 1.0 - tail))};
}

ValueRange RangeOf(const cv::Mat1f& values, const PictureStyle& style) {
    const bool cyclic = style.period > 0;
    ValueRange range = cyclic ? ValueRange{0, style.period} : FindRange(values, style.percent);
    if (style.range) range = *style.range;
    if (cyclic) {
        const double upper = range.lower + style.period;
        RequireNumber(
            upper > range.lower && std::isfinite(upper), "the period of a picture", style.period,
            "great enough to be seen beside the least value of the range, and small enough to be added to it");
        return {range.lower, upper};
    }
    // A range without extent, as of a constant image, becomes one around its value.
    const double least = 1e-6 * std::max(std::abs(range.lower), std::abs(range.upper));
    if (range.upper - range.lower > least) return range;
    const double half = std::max(least, 0.5);
    return {range.lower - half, range.lower + half};
}

KrN::KrColourIndex IndexOf(const ValueRange& range, double period) {
    using Index = KrN::KrColourIndex;
    return Call([&] {
        if (period > 0) return Index(Index::eCyclic, range.lower, range.upper, kColours, period, kColours);
        return Index(Index::eLinear, range.lower, range.upper, kColours, Index::kDefaultParameter, kColours);
    });
}

}  // namespace

std::optional<ColourMap> ColourMapOf(const std::string& name) {
    for (const NamedMap& entry : kMaps)
        if (name == entry.name) return entry.map;
    return std::nullopt;
}

Palette PaletteOf(ColourMap map) {
    cv::Mat1b ramp(1, kColours);
    for (int i = 0; i < kColours; ++i) ramp(i) = cv::saturate_cast<uchar>(i * 255.0 / (kColours - 1));
    cv::Mat3b colours;
    const int opencv = std::find_if(std::begin(kMaps), std::end(kMaps), [map](const NamedMap& entry) {
                           return entry.map == map;
                       })->opencv;
    if (opencv < 0)
        cv::cvtColor(ramp, colours, cv::COLOR_GRAY2BGR);
    else
        cv::applyColorMap(ramp, colours, opencv);
    Palette palette;
    std::copy(colours.begin(), colours.end(), palette.begin());
    return palette;
}

ColourScale::ColourScale(const cv::Mat1f& values, const PictureStyle& style)
    : range(RangeOf(values, style)), index(IndexOf(range, style.period)) {}

namespace {

template <std::size_t size>
void TakePixels(const cv::Mat& image, int step, cv::Mat& reduced) {
    const std::size_t distance = static_cast<std::size_t>(step) * size;
    for (int y = 0; y < reduced.rows; ++y) {
        const uchar* in = image.ptr(y * step);
        uchar* out = reduced.ptr(y);
        for (int x = 0; x < reduced.cols; ++x, in += distance, out += size) std::memcpy(out, in, size);
    }
}

}  // namespace

int StepOf(const PictureStyle& style, const cv::Mat& image) {
    RequireNumber(style.step >= 1, "the step from drawn pixel to drawn pixel", style.step, "1 or more");
    return std::min(style.step, std::max(image.cols, image.rows));
}

cv::Mat EveryPixel(const cv::Mat& image, int step) {
    if (step == 1 || image.empty()) return image;
    cv::Mat reduced((image.rows + step - 1) / step, (image.cols + step - 1) / step, image.type());
    switch (image.elemSize()) {
        case 1: TakePixels<1>(image, step, reduced); break;
        case 2: TakePixels<2>(image, step, reduced); break;
        case 4: TakePixels<4>(image, step, reduced); break;
        default: TakePixels<8>(image, step, reduced); break;
    }
    return reduced;
}

int ZoomOf(cv::Size size) { return std::max(1, kSmallestPicture / std::max(size.width, size.height)); }

}  // namespace measure
