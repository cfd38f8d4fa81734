#pragma once

#include <algorithm>
#include <optional>

#include "measure/absolute.h"
#include "measure/fringe/framepixels.h"

namespace measure {

// Two pictures between which every pixel gets all of the light and none of it.
struct PicturePair {
    const cv::Mat &bright, &dark;
    const char* name = "the pair of white and black";

    float MeanAt(int y, int x) const { return (LevelAt(bright, y, x) + LevelAt(dark, y, x)) / 2; }
    // Whether the camera shows both as they are.
    bool IsInRange(int y, int x, float saturated) const {
        const auto [least, most] = std::minmax({LevelAt(bright, y, x), LevelAt(dark, y, x)});
        return least > 0 && most < saturated;
    }
};

// The white and the black picture, where there are both.
inline std::optional<PicturePair> WhiteAndBlack(const AxisPictures& pictures) {
    if (pictures.white.empty() || pictures.black.empty()) return {};
    return PicturePair{pictures.white, pictures.black};
}

// The finest picture of the code and its inverse, else the white and the black one: their mean is that of fringes. The
// finest one mostly is the last one, before which something may have moved.
inline std::optional<PicturePair> FindPair(const AxisPictures& pictures) {
    if (pictures.gray.empty() || pictures.inverse.empty()) return WhiteAndBlack(pictures);
    return PicturePair{pictures.gray.back(), pictures.inverse.back(), "the Gray code"};
}

}  // namespace measure
