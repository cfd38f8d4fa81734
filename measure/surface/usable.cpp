#include "measure/surface/usable.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/io.h"
#include "measure/surface.h"

namespace measure {

namespace {

void RequireMap(const HeightMap& map) {
    RequireOneSize({"the height map", map.z});
    RequireSides("the height map", map.z.size());
    if (!std::isfinite(map.pitch) || map.pitch < 0)
        throw InputError(cv::format("the height map has a pitch of %g mm: it must be above 0", map.pitch));
    if (map.unit.empty()) throw InputError("the height map does not say the unit of its heights");
    if (!std::isfinite(map.origin.x) || !std::isfinite(map.origin.y))
        throw InputError("the origin of the height map is not finite");
}

// An area of a map of so many pixels, with nothing in it.
cv::Mat1b NoArea(cv::Size size) {
    for (const int side : {size.width, size.height})
        RequireNumber(side >= 1 && side <= kMaxImageSide, "a side of the map", side, "1 to 32767");
    return cv::Mat1b(size, uchar{0});
}

}  // namespace

void RequireHeights(const HeightMap& map) { UsablePixels(map, {}); }

cv::Mat1b UsablePixels(const HeightMap& map, const cv::Mat1b& mask) {
    RequireMap(map);
    RequireOneSize({"the height map", map.z}, {{"the mask", mask, kOptional}});
    cv::Mat1b usable(map.z.size());
    int count = 0;
    for (int y = 0; y < usable.rows; ++y) {
        const float* const z = map.z[y];
        const uchar* const m = mask.empty() ? nullptr : mask[y];
        uchar* const out = usable[y];
        for (int x = 0; x < usable.cols; ++x) {
            // Of infinities and NaN, the difference from themselves is NaN.
            const int use = (z[x] - z[x] == 0.0f) & (m == nullptr || m[x] >= 128);
            out[x] = static_cast<uchar>(-use);
            count += use;
        }
    }
    if (count == 0)
        throw NothingUsable(mask.empty() ? "no pixel has a height" : "the mask leaves no pixel with a height");
    return usable;
}

cv::Mat1b MaskOf(cv::Size size, const cv::Rect2d& rectangle) {
    cv::Mat1b mask = NoArea(size);
    for (const double v : {rectangle.x, rectangle.y, rectangle.width, rectangle.height})
        RequireFinite("a number of the rectangle", v);
    const cv::Rect2d inside = rectangle & cv::Rect2d(0, 0, size.width, size.height);
    const cv::Rect whole(static_cast<int>(inside.x), static_cast<int>(inside.y), static_cast<int>(inside.width),
                         static_cast<int>(inside.height));
    if (whole.empty())
        throw InputError(cv::format("the rectangle %g,%g,%g,%g holds no pixel of the map (%d x %d)", rectangle.x,
                                    rectangle.y, rectangle.width, rectangle.height, size.width, size.height));
    mask(whole) = 255;
    return mask;
}

cv::Mat1b MaskOf(cv::Size size, cv::Point2d centre, double radius) {
    cv::Mat1b mask = NoArea(size);
    for (const double v : {centre.x, centre.y, radius}) RequireFinite("a number of the circle", v);
    bool any = false;
    for (int y = 0; y < size.height; ++y) {
        const double dy = y - centre.y;
        if (!(std::abs(dy) <= radius)) continue;
        for (int x = 0; x < size.width; ++x) {
            if (std::hypot(x - centre.x, dy) > radius) continue;
            mask(y, x) = 255;
            any = true;
        }
    }
    if (!any)
        throw InputError(cv::format("the circle %g,%g,%g holds no pixel of the map (%d x %d)", centre.x, centre.y,
                                    radius, size.width, size.height));
    return mask;
}

cv::Mat1b WithoutEdges(const cv::Mat1b& area, int margin, const Progress& progress) {
    RequireOneSize({"the area", area});
    RequireNotNegative("the margin", margin);
    progress.Report("finding the areas");
    const cv::Mat1b all(area >= 128);
    if (margin == 0) return all;
    if (margin >= std::min(area.cols, area.rows)) return cv::Mat1b(area.size(), uchar{0});
    // Erosion costs more the larger the margin is; these counts do not.
    const int side = 2 * margin + 1;
    cv::Mat1i counts;
    cv::boxFilter(all & 1, counts, CV_32S, {side, side}, {-1, -1}, false, cv::BORDER_CONSTANT);
    const double whole = static_cast<double>(side) * side;
    return cv::Mat1b(counts == whole);
}

}  // namespace measure
