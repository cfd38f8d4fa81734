#pragma once

#include <algorithm>
#include <opencv2/core.hpp>
#include <utility>
#include <vector>

namespace measure {

// Images that one stage of a computation needs no more, for those that the next one makes. New memory is slow: the
// system maps and clears every page of it when it is first touched.
class SpareImages {
public:
    // Empties `image`. One that others hold, too, or that is a part of another one is not kept.
    template <class Pixel>
    void Keep(cv::Mat_<Pixel>& image) {
        const bool isOwn = image.u != nullptr && image.u->refcount == 1 && !image.isSubmatrix();
        if (isOwn) mImages.push_back(image);
        image.release();
    }

    // Of undefined values.
    template <class Pixel>
    cv::Mat_<Pixel> Take(cv::Size size) {
        const auto found = std::find_if(mImages.begin(), mImages.end(), [&](const cv::Mat& image) {
            return image.type() == cv::traits::Type<Pixel>::value && image.size() == size;
        });
        if (found == mImages.end()) return cv::Mat_<Pixel>(size);
        cv::Mat_<Pixel> taken = *found;
        mImages.erase(found);
        return taken;
    }

private:
    std::vector<cv::Mat> mImages;
};

}  // namespace measure
