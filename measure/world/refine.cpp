#include "measure/world/refine.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "measure/base/quantile.h"

namespace measure {
namespace {

// Places next to one another in the board's rows and columns, which may run aslant for staggered circles.
struct Lattice {
    const BoardDescription& board;
    const std::vector<cv::Point2d>& points;

    cv::Point2d At(int x, int y) const { return points[static_cast<std::size_t>(y * board.count.width + x)]; }
    cv::Point2d AlongRow(int x, int y) const {
        const bool isFirst = x == 0;
        return At(isFirst ? 1 : x, y) - At(isFirst ? 0 : x - 1, y);
    }
    cv::Point2d AlongColumn(int x, int y) const {
        const bool isFirst = y == 0;
        return At(x, isFirst ? 1 : y) - At(x, isFirst ? 0 : y - 1);
    }
    // Pixels to the nearest other point.
    double Reach(int x, int y) const {
        const cv::Point2d a = AlongRow(x, y), b = AlongColumn(x, y);
        return std::min(cv::norm(a), cv::norm(b));
    }
};

// The spot's centre and area in pixels. Pixels darker than half way count, those near it in part, and none that is
// bright but for its noise.
struct Spot {
    cv::Point2d centre;
    double area = 0;
};

Spot WeighSpot(const cv::Mat1f& picture, cv::Point2d around, double radius) {
    const cv::Rect window = cv::Rect(cvFloor(around.x - radius), cvFloor(around.y - radius), cvCeil(2 * radius) + 1,
                                     cvCeil(2 * radius) + 1) &
                            cv::Rect({0, 0}, picture.size());
    std::vector<float> levels;
    for (int y = window.y; y < window.br().y; ++y)
        for (int x = window.x; x < window.br().x; ++x)
            if (std::hypot(x - around.x, y - around.y) <= radius) levels.push_back(picture(y, x));
    if (levels.size() < 9) return {around, 0};
    const float bright = QuantileOf(levels, 0.85), dark = QuantileOf(levels, 0.05);
    constexpr double kRamp = 0.6;  // share of the step over which pixels count in part
    const double middle = 0.5 * (bright + dark), ramp = kRamp * (bright - dark);
    if (!(ramp > 0)) return {around, 0};
    Spot spot;
    for (int y = window.y; y < window.br().y; ++y)
        for (int x = window.x; x < window.br().x; ++x) {
            if (std::hypot(x - around.x, y - around.y) > radius) continue;
            const double weight = std::clamp(0.5 + (middle - picture(y, x)) / ramp, 0.0, 1.0);
            spot.area += weight;
            spot.centre += weight * cv::Point2d(x, y);
        }
    spot.centre *= 1 / spot.area;
    return spot;
}

}  // namespace

cv::Mat1b Stretch(const cv::Mat1f& picture) {
    std::vector<float> sample;
    const int step = std::max(1, static_cast<int>(std::sqrt(static_cast<double>(picture.total()) / 20000)));
    for (int y = 0; y < picture.rows; y += step)
        for (int x = 0; x < picture.cols; x += step) sample.push_back(picture(y, x));
    const float high = QuantileOf(sample, 0.995);  // the brightest pixels may be glints
    cv::Mat1b stretched;
    picture.convertTo(stretched, CV_8U, high > 0 ? 250 / high : 1);
    return stretched;
}

void RefineCorners(const cv::Mat1f& picture, const BoardDescription& board, std::vector<cv::Point2d>& points) {
    constexpr double kShare = 0.3;  // of the way to the next corner; further out the edges of that one are seen
    constexpr int kLeast = 2, kMost = 12;
    const std::vector<cv::Point2d> rough = points;
    const Lattice lattice{board, rough};
    cv::Mat1f smooth;  // gradients of sharp edges depend on where between the pixels they lie
    cv::GaussianBlur(picture, smooth, {}, 0.8);
    for (int y = 0; y < board.count.height; ++y)
        for (int x = 0; x < board.count.width; ++x) {
            cv::Point2d& point = points[static_cast<std::size_t>(y * board.count.width + x)];
            const int half = std::clamp(cvRound(kShare * lattice.Reach(x, y)), kLeast, kMost);
            std::vector<cv::Point2f> corner = {point};
            cv::cornerSubPix(smooth, corner, {half, half}, {-1, -1},
                             {cv::TermCriteria::EPS | cv::TermCriteria::COUNT, 60, 1e-4});
            point = corner[0];
        }
}

double RefineCircles(const cv::Mat1f& picture, const BoardDescription& board, std::vector<cv::Point2d>& points) {
    constexpr double kShare = 0.52;  // of the way to the next circle, which begins beyond it
    const std::vector<cv::Point2d> rough = points;
    const Lattice lattice{board, rough};
    const bool isStaggered = board.pattern == BoardPattern::eStaggeredCircles;
    const double cell = (isStaggered ? 2 : 1) * board.spacing * board.spacing;  // square millimetres between four
    std::vector<double> diameters;
    for (int y = 0; y < board.count.height; ++y)
        for (int x = 0; x < board.count.width; ++x) {
            Spot spot{lattice.At(x, y), 0};
            for (int i = 0; i < 3; ++i) spot = WeighSpot(picture, spot.centre, kShare * lattice.Reach(x, y));
            points[static_cast<std::size_t>(y * board.count.width + x)] = spot.centre;
            const double pixels = std::abs(lattice.AlongRow(x, y).cross(lattice.AlongColumn(x, y)));
            diameters.push_back(std::sqrt(4 / CV_PI * spot.area * cell / pixels));
        }
    return MedianOf(diameters);
}

}  // namespace measure
