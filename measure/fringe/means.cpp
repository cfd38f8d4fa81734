#include "measure/fringe/means.h"

#include <algorithm>

#include "measure/fringe/framepixels.h"
#include "measure/fringe/weights.h"

namespace measure {

Means::Means(const FringeSet& set) {
    const std::vector<rows::Weights> weights = SolveWeights(set.shifts);
    for (std::size_t k = 0; k < weights.size(); ++k)
        mFrames.push_back({set.frames[k], set.frames[k].step[0], weights[k].a});
}

float Means::At(int y, int x) const {
    if (mFrames.empty()) return mImage(y, x);
    return WithPixelOf(mFrames.front().picture, [&](auto pixel) {
        float mean = 0;
        for (const Frame& frame : mFrames) {
            const auto* const row = frame.picture.data + frame.step * static_cast<std::size_t>(y);
            mean += frame.weight * static_cast<float>(reinterpret_cast<const decltype(pixel)*>(row)[x]);
        }
        return mean;
    });
}

const float* Means::Row(int y, int x, int count, float* buffer) const {
    if (mFrames.empty()) return mImage[y] + x;
    std::fill_n(buffer, count, 0.0f);
    for (const Frame& frame : mFrames) {
        WithPixelOf(frame.picture, [&](auto pixel) {
            rows::AddMean(frame.picture.ptr<decltype(pixel)>(y) + x, frame.weight, buffer,
                          static_cast<std::size_t>(count));
        });
    }
    return buffer;
}

cv::Mat1f Means::Image() const {
    if (mFrames.empty()) return mImage;
    cv::Mat1f image(mFrames.front().picture.size());
    for (int y = 0; y < image.rows; ++y) Row(y, 0, image.cols, image[y]);
    return image;
}

}  // namespace measure
