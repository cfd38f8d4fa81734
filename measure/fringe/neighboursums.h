#pragma once

#include <algorithm>
#include <opencv2/core.hpp>
#include <vector>

#include "measure/fringe/phaserows.h"

namespace measure {

// The sums of three neighbours in the rows around the current one, of an image of a band of rows.
class NeighbourSums {
public:
    explicit NeighbourSums(const cv::Mat1f& image)
        : mImage(image), mWidth(static_cast<std::size_t>(image.cols)), mSums(3 * mWidth) {}

    void Load(int y) { rows::SumThree(mImage[y], Row(y), mWidth); }
    rows::ThreeRows Around(int y) { return {Row(std::max(y - 1, 0)), Row(y), Row(std::min(y + 1, mImage.rows - 1))}; }

private:
    float* Row(int y) { return mSums.data() + static_cast<std::size_t>(y % 3) * mWidth; }

    const cv::Mat1f& mImage;
    const std::size_t mWidth;
    std::vector<float> mSums;
};

}  // namespace measure
