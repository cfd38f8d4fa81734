#include "measure/picture.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/base/quantile.h"
#include "measure/error.h"
#include "measure/image.h"
#include "measure/report/colours.h"
#include "measure/report/frame.h"
#include "measure/surface.h"

namespace measure {
namespace {

const cv::Vec3b kMark(255, 0, 255);
const cv::Vec3b kBorder(255, 255, 255);

void RequireDrawable(const cv::Mat& image, const PictureStyle& style) {
    RequireOneSize({"the drawn image", image}, {{"the mask", style.mask, kOptional},
                                                {"the image of the components", style.components, kOptional},
                                                {"the image of the marks", style.marks, kOptional}});
    const int depth = image.depth();
    if (image.channels() != 1) throw InputError("a drawn image has one channel, this one has more");
    if (depth != CV_8U && depth != CV_16U && depth != CV_32S && depth != CV_32F && depth != CV_64F)
        throw InputError("a drawn image has unsigned 8-bit or 16-bit, 32-bit integer, float or double pixels");
    RequireNumber(style.percent >= 0 && style.percent <= 50, "the percentage beyond the colours", style.percent,
                  "0 to 50");
    RequireNotNegative("the period", style.period);
    RequireNotNegative("the number of contours", style.contours);
    if (!style.range) return;
    const auto [lower, upper] = *style.range;
    RequireFinite("the lower end of the range", lower);
    RequireFinite("the upper end of the range", upper);
    RequireFinite("the extent of the range", upper - lower);
    RequireNumber(style.period > 0 || upper >= lower, "the upper end of the range", upper, "at least the lower one");
}

// The values in single precision, NaN where there is nothing to draw.
cv::Mat1f Drawable(const cv::Mat& image, const cv::Mat1b& mask) {
    cv::Mat1f values;
    image.convertTo(values, CV_32F);
    for (int y = 0; y < values.rows; ++y) {
        float* row = values[y];
        for (int x = 0; x < values.cols; ++x)
            if (!std::isfinite(row[x]) || (!mask.empty() && mask(y, x) < 128)) row[x] = NAN;
    }
    return values;
}

// The values without their noise, of which slopes from pixel to pixel would mostly consist: Gaussian means of the valid
// pixels; what was invalid stays so.
cv::Mat1f Smooth(const cv::Mat1f& values) {
    cv::Mat1b valid;
    cv::compare(values, values, valid, cv::CMP_EQ);  // not NaN
    const double sigma = 1 + std::max(values.rows, values.cols) / 500.0;
    cv::Mat1f weights, smooth;
    valid.convertTo(weights, CV_32F, 1 / 255.0);
    smooth = values - static_cast<float>(cv::mean(values, valid)[0]);
    smooth.setTo(0, ~valid);
    cv::GaussianBlur(smooth, smooth, {}, sigma);
    cv::GaussianBlur(weights, weights, {}, sigma);
    smooth /= weights;
    smooth.setTo(NAN, ~valid);
    return smooth;
}

// Brightness of each pixel as if light fell on the smooth values from the upper left, 1 where they are level. Heights
// are scaled so that common slopes are seen, whatever their unit.
cv::Mat1f HillShade(const cv::Mat1f& values) {
    cv::Mat1f shade(values.size(), 1.0f);
    std::vector<float> slopes;
    const auto slope = [&](int y, int x, float& dx, float& dy) {
        dx = (values(y, x + 1) - values(y, x - 1)) * 0.5f;
        dy = (values(y + 1, x) - values(y - 1, x)) * 0.5f;
        return std::isfinite(dx) && std::isfinite(dy);
    };
    const int step = std::max(1, values.rows / 300);
    float dx = 0.0f, dy = 0.0f;
    for (int y = 1; y + 1 < values.rows; y += step) {
        for (int x = 1; x + 1 < values.cols; x += step)
            if (slope(y, x, dx, dy)) slopes.push_back(std::hypot(dx, dy));
    }
    if (slopes.empty()) return shade;
    const float typical = QuantileOf(slopes, 0.8);
    const float scale = typical > 0.0f ? 1.0f / typical : 0.0f;
    cv::parallel_for_(cv::Range(1, std::max(1, values.rows - 1)), [&](const cv::Range& rows) {
        float gx = 0.0f, gy = 0.0f;
        for (int y = rows.start; y < rows.end; ++y) {
            for (int x = 1; x + 1 < values.cols; ++x) {
                if (!slope(y, x, gx, gy)) continue;
                gx *= scale;
                gy *= scale;
                // Light from (-1, -1, 2): on level ground it has the brightness 1.
                const float light = (2.0f + gx + gy) / (2.0f * std::sqrt(1.0f + gx * gx + gy * gy));
                shade(y, x) = std::clamp(light, 0.35f, 1.5f);
            }
        }
    });
    return shade;
}

cv::Vec3b Shaded(const cv::Vec3b& colour, float brightness) {
    cv::Vec3b shaded;
    for (int c = 0; c < 3; ++c) shaded[c] = cv::saturate_cast<uchar>(static_cast<float>(colour[c]) * brightness);
    return shaded;
}

// One pixel of each value, before it is enlarged.
cv::Mat3b Colour(const cv::Mat1f& values, const cv::Mat1f& shade, const ColourScale& scale, const Palette& palette) {
    cv::Mat3b colours(values.size());
    const auto colour = [&](const cv::Range& rows) {
        const cv::Mat1f band = values.rowRange(rows);
        cv::Mat1b indices(band.size());
        const auto from = ViewOf(band);
        auto to = ViewOf(indices);
        Call([&] { scale.index.Execute(&from, &to); });
        for (int y = rows.start; y < rows.end; ++y) {
            const uchar* in = indices[y - rows.start];
            cv::Vec3b* out = colours[y];
            for (int x = 0; x < values.cols; ++x) {
                if (in[x] == kColours) continue;  // hatched later
                out[x] = palette[in[x]];
                if (!shade.empty()) out[x] = Shaded(out[x], shade(y, x));
            }
        }
    };
    constexpr int kBands = 8;  // few: the index finds its thresholds once for each
    cv::parallel_for_(cv::Range(0, values.rows), colour, kBands);
    return colours;
}

// Darkens the pixels beyond which the value is on another side of one of the lines.
void DrawContours(const cv::Mat1f& values, int count, const ColourScale& scale, cv::Mat3b& colours) {
    const double lower = scale.range.lower, step = (scale.range.upper - lower) / (count + 1.0);
    const auto band = [&](float v) {
        return std::clamp(std::floor((static_cast<double>(v) - lower) / step), 0.0, double(count));
    };
    for (int y = 0; y + 1 < values.rows; ++y) {
        for (int x = 0; x + 1 < values.cols; ++x) {
            const float here = values(y, x), right = values(y, x + 1), below = values(y + 1, x);
            if (std::isnan(here) || std::isnan(right) || std::isnan(below)) continue;
            if (band(here) != band(right) || band(here) != band(below)) colours(y, x) = Shaded(colours(y, x), 0.25f);
        }
    }
}

void DrawBorders(const cv::Mat1i& numbers, cv::Mat3b& colours) {
    double most = 0;
    cv::minMaxLoc(numbers, nullptr, &most);
    if (most < 2) return;  // the border of a single one is where the hatching begins
    for (int y = 0; y + 1 < numbers.rows; ++y) {
        for (int x = 0; x + 1 < numbers.cols; ++x) {
            const int here = numbers(y, x);
            if (here != numbers(y, x + 1) || here != numbers(y + 1, x)) colours(y, x) = kBorder;
        }
    }
}

void PaintMarks(const cv::Mat1b& marks, cv::Mat3b& picture) {
    // A single pixel would not be seen in a large picture.
    const int width = 1 + 2 * (std::max(marks.cols, marks.rows) / 800);
    cv::Mat1b wide;
    cv::dilate(marks, wide, cv::Mat1b::ones(width, width));
    picture.setTo(kMark, wide);
}

}  // namespace

cv::Mat3b DrawPicture(const cv::Mat& image, const PictureStyle& style, const Progress& progress) {
    RequireDrawable(image, style);
    const auto report = [&](double share) { progress.Report("drawing", share); };  // of the time, roughly
    report(0);
    const int step = StepOf(style, image);
    cv::Mat1f values = Drawable(EveryPixel(image, step), EveryPixel(style.mask, step));
    report(0.1);
    if (style.level) values = RemovePlane(values);
    report(0.2);
    const ColourScale scale(values, style);
    const Palette palette =
        PaletteOf(style.map.value_or(style.period > 0 ? ColourMap::eTwilight : ColourMap::eViridis));
    const int zoom = ZoomOf(values.size());
    report(0.3);
    cv::Mat1f shade = style.shade ? Smooth(values) : cv::Mat1f();
    report(0.4);
    if (style.shade) shade = HillShade(shade);
    report(0.5);
    cv::Mat3b colours = Colour(values, shade, scale, palette);
    report(0.7);
    if (style.contours > 0) DrawContours(values, style.contours, scale, colours);
    report(0.75);
    cv::Mat3b picture = Enlarge(colours, zoom);
    Hatch(values, zoom, picture);
    report(0.8);
    if (!style.components.empty()) {
        // Borders also run along the hatching.
        cv::Mat1i numbers;
        cv::resize(EveryPixel(style.components, step), numbers, picture.size(), 0, 0, cv::INTER_NEAREST);
        DrawBorders(numbers, picture);
    }
    if (!style.marks.empty()) {
        cv::Mat1b marks;
        cv::dilate(style.marks, marks, cv::Mat1b::ones(step, step));  // none is lost between the drawn pixels
        cv::resize(EveryPixel(marks, step), marks, picture.size(), 0, 0, cv::INTER_NEAREST);
        PaintMarks(marks, picture);
    }
    report(0.9);
    return FramePicture(picture, zoom, style, &scale, &palette);
}

cv::Mat3b SideBySide(const cv::Mat3b& left, const cv::Mat3b& right) {
    RequireOneSize({"the left picture", left});
    RequireOneSize({"the right picture", right});
    cv::Mat3b both(std::max(left.rows, right.rows), left.cols + right.cols, kBackground);
    left.copyTo(both(cv::Rect({0, 0}, left.size())));
    right.copyTo(both(cv::Rect({left.cols, 0}, right.size())));
    return both;
}

}  // namespace measure
