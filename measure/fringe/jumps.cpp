#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/base/phase.h"
#include "measure/base/wide.h"
#include "measure/fringe/jumps.h"
#include "measure/unwrap.h"

namespace measure {
namespace {

MEASURE_WIDE int CountJumps(const float* a, const float* b, int count) {
    int jumps = 0;
    for (int x = 0; x < count; ++x) jumps += std::abs(a[x] - b[x]) > kPi;  // false for NaN
    return jumps;
}

// Jumps between a row and another one, which may be the same row shifted by a pixel. Few parts of a row have any.
int MarkPairs(const float* a, const float* b, std::uint8_t* whereA, std::uint8_t* whereB, int count) {
    constexpr int kPart = 64;
    int jumps = 0;
    for (int first = 0; first < count; first += kPart) {
        const int end = std::min(first + kPart, count), inPart = CountJumps(a + first, b + first, end - first);
        jumps += inPart;
        if (inPart == 0) continue;
        for (int x = first; x < end; ++x)
            if (std::abs(a[x] - b[x]) > kPi) whereA[x] = whereB[x] = 255;
    }
    return jumps;
}

struct Steps {
    int large = 0;  // pairs of neighbours more than half a period apart
    int wraps = 0;  // those of them which modulo a period are less than a quarter apart
};

Steps CountSteps(const float* a, const float* b, const std::uint8_t* useA, const std::uint8_t* useB, int count) {
    Steps steps;
    for (int x = 0; x < count; ++x) {
        const float size = std::abs(a[x] - b[x]);
        const int large = (size > kPi) & ((useA[x] & useB[x]) != 0);
        steps.large += large;
        steps.wraps += large & (std::abs(size - 2 * kPi) < kPi / 2);
    }
    return steps;
}

// How many of 256 steps per period, the most frequent ones, hold nine of ten usable pixels: a phase takes all values of
// those it runs through, whereas a picture of two or three grey levels, for all its steps, has hardly any.
int CountLevels(const cv::Mat1f& phase, const cv::Mat1b& usable) {
    std::vector<int> counts(256);
    int all = 0;
    for (int y = 0; y < phase.rows; ++y) {
        for (int x = 0; x < phase.cols; ++x) {
            if (!usable(y, x) || !std::isfinite(phase(y, x))) continue;
            ++counts[static_cast<std::size_t>(static_cast<int>(std::floor(phase(y, x) * (128 / kPi))) & 255)];
            ++all;
        }
    }
    std::sort(counts.rbegin(), counts.rend());
    int levels = 0;
    for (int held = 0; held < 0.9 * all; ++levels) held += counts[static_cast<std::size_t>(levels)];
    return levels;
}

double RangeOf(const cv::Mat1f& phase, const cv::Mat1b& usable) {
    float least = std::numeric_limits<float>::max(), most = -least;
    for (int y = 0; y < phase.rows; ++y)
        for (int x = 0; x < phase.cols; ++x) {
            if (!usable(y, x) || !std::isfinite(phase(y, x))) continue;
            least = std::min(least, phase(y, x));
            most = std::max(most, phase(y, x));
        }
    return static_cast<double>(most) - static_cast<double>(least);
}

}  // namespace

bool LooksWrapped(const cv::Mat1f& phase, const cv::Mat1b& usable) {
    RequireOneSize({"the phase", phase}, {{"the mask", usable}});
    constexpr double kMostRange = 1.01 * 2 * CV_PI;
    if (RangeOf(phase, usable) > kMostRange) return false;
    int large = 0, wraps = 0;
    const auto add = [&](const Steps& steps) {
        large += steps.large;
        wraps += steps.wraps;
    };
    for (int y = 0; y < phase.rows; ++y) {
        add(CountSteps(phase[y], phase[y] + 1, usable[y], usable[y] + 1, phase.cols - 1));
        if (y + 1 < phase.rows) add(CountSteps(phase[y], phase[y + 1], usable[y], usable[y + 1], phase.cols));
    }
    constexpr int kFewLevels = 8;
    return wraps > 0 && wraps >= 0.3 * large && CountLevels(phase, usable) >= kFewLevels;
}

Jumps FindJumps(const cv::Mat1f& unwrapped) {
    RequireOneSize({"the phase", unwrapped});
    Jumps jumps{0, cv::Mat1b(unwrapped.size())};
    jumps.count = MarkJumps(unwrapped, jumps.where);
    return jumps;
}

int MarkJumps(const cv::Mat1f& unwrapped, cv::Mat1b& where) {
    where = 0;
    int jumps = 0;
    for (int y = 0; y < unwrapped.rows; ++y) {
        const float* const row = unwrapped[y];
        jumps += MarkPairs(row, row + 1, where[y], where[y] + 1, unwrapped.cols - 1);
        if (y + 1 < unwrapped.rows) jumps += MarkPairs(row, unwrapped[y + 1], where[y], where[y + 1], unwrapped.cols);
    }
    return jumps;
}

std::vector<int> FindCutOffAreas(const Unwrapped& unwrapped, const Jumps& jumps, int minPixels) {
    RequireOneSize({"the components", unwrapped.components}, {{"the jumps", jumps.where}});
    RequireNotNegative("minPixels", minPixels);
    cv::Mat1b beside;
    cv::compare(unwrapped.components, 0, beside, cv::CMP_GT);
    beside.setTo(0, jumps.where);
    cv::Mat1i labels, stats;
    cv::Mat1d centers;
    const int count = cv::connectedComponentsWithStats(beside, labels, stats, centers, 4, CV_32S);
    std::vector<int> componentOf(static_cast<std::size_t>(count));
    for (int y = 0; y < labels.rows; ++y)
        for (int x = 0; x < labels.cols; ++x)
            if (beside(y, x)) componentOf[static_cast<std::size_t>(labels(y, x))] = unwrapped.components(y, x);
    std::map<int, int> largest;  // of each component
    std::vector<int> areas;
    for (int label = 1; label < count; ++label) {
        int pixels = stats(label, cv::CC_STAT_AREA);
        int& most = largest[componentOf[static_cast<std::size_t>(label)]];
        if (pixels > most) std::swap(pixels, most);
        if (pixels > 0 && pixels >= minPixels) areas.push_back(pixels);
    }
    std::sort(areas.begin(), areas.end(), std::greater<>());
    return areas;
}

}  // namespace measure
