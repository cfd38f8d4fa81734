#pragma once

#include <algorithm>
#include <opencv2/core.hpp>
#include <vector>

#include "measure/fringe/phaserows.h"

namespace measure {

// The sums of three neighbours in the rows around the current one, of an image that is visited from top to bottom.
class NeighbourSums {
public:
    explicit NeighbourSums(cv::Size image)
        : mHeight(image.height), mWidth(static_cast<std::size_t>(image.width)), mSums(3 * mWidth) {}

    void Load(int y, const float* values) { rows::SumThree(values, Row(y), mWidth); }
    rows::ThreeRows Around(int y) { return {Row(std::max(y - 1, 0)), Row(y), Row(std::min(y + 1, mHeight - 1))}; }

private:
    float* Row(int y) { return mSums.data() + static_cast<std::size_t>(y % 3) * mWidth; }

    const int mHeight;
    const std::size_t mWidth;
    std::vector<float> mSums;
};

}  // namespace measure
