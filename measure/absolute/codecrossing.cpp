#include "measure/absolute/codecrossing.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "measure/absolute/picturepair.h"
#include "measure/fringe/framepixels.h"

namespace measure {
namespace {

// Two pixels before the first one to two behind the second one.
constexpr int kPixels = 6, kFirst = 2, kSecond = 3;
using Heights = std::array<float, kPixels>;

// Of a picture of the code above its threshold.
float HeightAt(const DecodeState& state, std::size_t picture, cv::Point at) {
    const AxisPictures& pictures = state.pictures;
    const float level = LevelAt(pictures.gray[picture], at.y, at.x);
    if (pictures.inverse.empty()) return level - CodeThresholdAt(state, at.y, at.x);
    return level - LevelAt(pictures.inverse[picture], at.y, at.x);
}

// Where the straight line between two heights on either side of the threshold meets it.
float LinearCrossing(float a, float b) {
    const float rise = b - a;
    return std::abs(rise) > 0 ? std::clamp(-a / rise, 0.0f, 1.0f) : 0.5f;
}

}  // namespace

float CodeThresholdAt(const DecodeState& state, int y, int x) {
    const auto pair = WhiteAndBlack(state.pictures);
    if (!state.pictures.inverse.empty() || !pair) return state.FinestMeans().At(y, x);
    return (LevelAt(pair->bright, y, x) + LevelAt(pair->dark, y, x)) / 2;
}

// A pixel sees the mean of its area. However little the optics blur, the heights of four pixels, as shares of the way
// from dark to bright, therefore add up to where the edge lies; the straight line through two of them is off by up to
// 0.09 pixels. Optics that blur over several pixels leave no pixels of full light to compare with, but edges that are
// straight.
CodeCrossing FindCodeCrossing(const DecodeState& state, const GrayDecoding& code, cv::Point a, cv::Point b,
                              Bits differing) {
    constexpr float kSoft = 0.35f, kSharp = 0.7f, kOfSharp = 0.29f, kOfModel = 0.02f;
    std::size_t picture = state.pictures.gray.size() - 1;
    for (Bits bit = differing; bit > 1; bit >>= 1) --picture;
    const cv::Point step = b - a;
    const cv::Rect inside(cv::Point(), code.code.size());
    const auto isOn = [&](cv::Point at) { return (ToGray(code.code(at)) & differing) != 0; };
    const auto isAsFull = [&](cv::Point at, cv::Point as) {
        return inside.contains(at) && state.usable(at) && isOn(at) == isOn(as);
    };
    const CodeCrossing linear{LinearCrossing(HeightAt(state, picture, a), HeightAt(state, picture, b)), kOfModel};
    if (!isAsFull(a - 2 * step, a) || !isAsFull(b + 2 * step, b)) return {linear.place, kOfSharp};

    Heights heights{};
    for (int i = 0; i < kPixels; ++i)
        heights[static_cast<std::size_t>(i)] = HeightAt(state, picture, a + (i - kFirst) * step);
    // The mean of the fringes is no middle between bright and dark where these are no sines; other thresholds are.
    const bool isMiddle = !state.pictures.inverse.empty() || WhiteAndBlack(state.pictures);
    const float before = heights.front(), after = heights.back(), middle = isMiddle ? 0 : (before + after) / 2;
    if (before * after >= 0) return {linear.place, kOfSharp};
    const auto share = [&](int i) {
        const float way = static_cast<float>(i) / (kPixels - 1);
        const float half = isMiddle ? after * way - before * (1 - way) : (after - before) / 2;
        return (heights[static_cast<std::size_t>(i)] - middle) / half;
    };
    const float first = share(kFirst), second = share(kSecond), rise = (second - first) / 2;
    if (rise < kSoft) return linear;
    const float place = (1 - (share(kFirst - 1) + first + second + share(kSecond + 1))) / 2;
    // Pixels that are points, or see edges between them, do not tell where these lie.
    const float sharp = std::clamp((rise - kSharp) / (1 - kSharp), 0.0f, 1.0f);
    return {std::clamp(place, -0.5f, 1.5f), kOfModel + kOfSharp * sharp * sharp};
}

}  // namespace measure
