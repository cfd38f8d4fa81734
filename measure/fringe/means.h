#pragma once

#include <opencv2/core.hpp>
#include <utility>
#include <vector>

#include "measure/fringe.h"

namespace measure {

// The mean A of the fit in single pixels and parts of rows: from an image of it or, where none was kept, from the
// frames, with the same result.
class Means {
public:
    explicit Means(cv::Mat1f image) : mImage(std::move(image)) {}
    explicit Means(const FringeSet& set);

    float At(int y, int x) const;
    float At(cv::Point at) const { return At(at.y, at.x); }
    // Of `count` pixels from x on; `buffer` has room for them.
    const float* Row(int y, int x, int count, float* buffer) const;
    cv::Mat1f Image() const;

private:
    struct Frame {
        cv::Mat picture;
        std::size_t step;  // bytes from row to row
        float weight;
    };
    cv::Mat1f mImage;
    std::vector<Frame> mFrames;  // none with an image
};

}  // namespace measure
