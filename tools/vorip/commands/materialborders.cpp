#include "tools/vorip/commands/materialborders.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace vorip {
namespace {

constexpr int kSmoothing = 13;  // side of the box that is applied twice
constexpr int kLineRadius = 4;  // smoothing moves a border by a few pixels
constexpr int kBins = 256;
constexpr double kLowest = -4.0, kHighest = 1.0;  // of the logarithm of the contrast
constexpr double kLeastClass = 0.01;              // share of the usable pixels

cv::Mat Box(const cv::Mat& image) {
    const cv::Size size(kSmoothing, kSmoothing);
    cv::Mat once, twice;
    cv::boxFilter(image, once, -1, size, cv::Point(-1, -1), true, cv::BORDER_REPLICATE);
    cv::boxFilter(once, twice, -1, size, cv::Point(-1, -1), true, cv::BORDER_REPLICATE);
    return twice;
}

cv::Mat LogContrast(const cv::Mat& mean, const cv::Mat& modulation, const cv::Mat& usable) {
    cv::Mat a = mean.clone(), b = modulation.clone(), contrast;
    a.setTo(0.0, usable == 0);
    b.setTo(0.0, usable == 0);
    a = cv::max(Box(a), 1e-6);
    b = cv::max(Box(b), 1e-6);
    cv::log(b / a, contrast);
    return contrast;
}

std::array<double, kBins> Histogram(const cv::Mat& values, const cv::Mat& usable) {
    std::array<double, kBins> counts{};
    for (int y = 0; y < values.rows; ++y) {
        const auto* v = values.ptr<float>(y);
        const auto* u = usable.ptr<std::uint8_t>(y);
        for (int x = 0; x < values.cols; ++x) {
            const double share = (static_cast<double>(v[x]) - kLowest) / (kHighest - kLowest);
            if (u[x]) counts[static_cast<std::size_t>(std::clamp(share * kBins, 0.0, kBins - 1.0))] += 1;
        }
    }
    return counts;
}

struct Split {
    double threshold = 0;
    double lowMean = 0, highMean = 0;
    double lowShare = 0;
};

// The threshold with the largest variance between the two classes.
Split FindSplit(const std::array<double, kBins>& counts) {
    const double binWidth = (kHighest - kLowest) / kBins;
    double total = 0, sum = 0;
    for (int i = 0; i < kBins; ++i) {
        total += counts[static_cast<std::size_t>(i)];
        sum += i * counts[static_cast<std::size_t>(i)];
    }
    Split best;
    double lowCount = 0, lowSum = 0, bestVariance = -1;
    for (int i = 0; i + 1 < kBins; ++i) {
        lowCount += counts[static_cast<std::size_t>(i)];
        lowSum += i * counts[static_cast<std::size_t>(i)];
        const double highCount = total - lowCount;
        if (lowCount <= 0 || highCount <= 0) continue;
        const double low = lowSum / lowCount, high = (sum - lowSum) / highCount;
        const double variance = lowCount * highCount * (high - low) * (high - low);
        if (variance <= bestVariance) continue;
        bestVariance = variance;
        best = {kLowest + (i + 1) * binWidth, kLowest + low * binWidth, kLowest + high * binWidth, lowCount / total};
    }
    return best;
}

// How much the contrast changes around a pixel.
double LocalStep(const cv::Mat& contrast, const cv::Mat& usable, int x, int y) {
    float low = contrast.at<float>(y, x), high = low;
    for (int j = std::max(0, y - kSmoothing); j <= std::min(contrast.rows - 1, y + kSmoothing); ++j) {
        const auto* c = contrast.ptr<float>(j);
        const auto* u = usable.ptr<std::uint8_t>(j);
        for (int i = std::max(0, x - kSmoothing); i <= std::min(contrast.cols - 1, x + kSmoothing); ++i) {
            if (!u[i]) continue;
            low = std::min(low, c[i]);
            high = std::max(high, c[i]);
        }
    }
    return static_cast<double>(high - low);
}

// Leaves of the border those pieces across which the contrast changes enough in the mean.
cv::Mat KeepStrong(const cv::Mat& border, const cv::Mat& contrast, const cv::Mat& usable, double least) {
    cv::Mat pieces;
    const int count = cv::connectedComponents(border, pieces, 8, CV_32S);
    std::vector<double> steps(static_cast<std::size_t>(count)), pixels(static_cast<std::size_t>(count));
    std::vector<cv::Point> points;
    cv::findNonZero(border, points);
    for (const cv::Point& p : points) {
        const auto piece = static_cast<std::size_t>(pieces.at<int>(p));
        steps[piece] += LocalStep(contrast, usable, p.x, p.y);
        pixels[piece] += 1;
    }
    cv::Mat strong(border.size(), CV_8U, cv::Scalar(0));
    for (const cv::Point& p : points) {
        const auto piece = static_cast<std::size_t>(pieces.at<int>(p));
        if (steps[piece] >= least * pixels[piece]) strong.at<std::uint8_t>(p) = 255;
    }
    return strong;
}

cv::Mat Disc(int radius) {
    return cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(2 * radius + 1, 2 * radius + 1));
}

}  // namespace

cv::Mat FindMaterialBorders(const cv::Mat& mean, const cv::Mat& modulation, const cv::Mat& usable, double ratio) {
    cv::Mat none(usable.size(), CV_8U, cv::Scalar(0));
    if (cv::countNonZero(usable) == 0) return none;
    const cv::Mat contrast = LogContrast(mean, modulation, usable);
    const Split split = FindSplit(Histogram(contrast, usable));
    const double least = std::log(ratio);
    if (split.highMean - split.lowMean < least || std::min(split.lowShare, 1 - split.lowShare) < kLeastClass)
        return none;

    const cv::Mat low = (contrast < split.threshold) & usable;
    const cv::Mat high = (contrast >= split.threshold) & usable;
    cv::Mat besideLow, lines;
    cv::dilate(low, besideLow, cv::getStructuringElement(cv::MORPH_CROSS, cv::Size(3, 3)));
    cv::dilate(KeepStrong(high & besideLow, contrast, usable, least), lines, Disc(kLineRadius));
    return lines;
}

}  // namespace vorip
