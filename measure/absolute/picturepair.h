#pragma once

#include <optional>

#include "measure/absolute.h"

namespace measure {

// Two pictures between which every pixel gets all of the light and none of it.
struct PicturePair {
    const cv::Mat &bright, &dark;
};

// The white and the black picture, where there are both.
inline std::optional<PicturePair> WhiteAndBlack(const AxisPictures& pictures) {
    if (pictures.white.empty() || pictures.black.empty()) return {};
    return PicturePair{pictures.white, pictures.black};
}

// The picture of the code with the widest cells and its inverse, else the white and the black one: the mean of the two
// is that of fringes, but for edges, of which wide cells have the fewest.
inline std::optional<PicturePair> FindPair(const AxisPictures& pictures) {
    if (pictures.gray.empty() || pictures.inverse.empty()) return WhiteAndBlack(pictures);
    return PicturePair{pictures.gray.front(), pictures.inverse.front()};
}

}  // namespace measure
