#include "measure/fringe/means.h"

#include "measure/fringe/framepixels.h"
#include "measure/fringe/weights.h"

namespace measure {

Means::Means(const FringeSet& set) : mFrames(set.frames) {
    for (const rows::Weights& weights : SolveWeights(set.shifts)) mWeights.push_back(weights.a);
}

float Means::At(int y, int x) const {
    if (!mImage.empty()) return mImage(y, x);
    float mean = mWeights[0] * LevelAt(mFrames[0], y, x);
    for (std::size_t k = 1; k < mFrames.size(); ++k) mean += mWeights[k] * LevelAt(mFrames[k], y, x);
    return mean;
}

const float* Means::Row(int y, int x, int count, float* __restrict buffer) const {
    if (!mImage.empty()) return mImage[y] + x;
    std::fill_n(buffer, count, 0.0f);
    for (std::size_t k = 0; k < mFrames.size(); ++k) {
        WithPixelOf(mFrames[k], [&](auto pixel) {
            const auto* __restrict levels = mFrames[k].ptr<decltype(pixel)>(y) + x;
            const float weight = mWeights[k];
            for (int i = 0; i < count; ++i) buffer[i] += weight * static_cast<float>(levels[i]);
        });
    }
    return buffer;
}

cv::Mat1f Means::Image() const {
    if (!mImage.empty()) return mImage;
    cv::Mat1f image(mFrames[0].size());
    for (int y = 0; y < image.rows; ++y) Row(y, 0, image.cols, image[y]);
    return image;
}

}  // namespace measure
