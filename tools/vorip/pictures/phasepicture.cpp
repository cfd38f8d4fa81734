#include "tools/vorip/pictures/phasepicture.h"

#include <algorithm>
#include <future>

#include "measure/picture.h"

namespace vorip {

int DrawnStep(const cv::Size& size) {
    constexpr int kPictureSide = 960;
    return std::max(1, std::max(size.width, size.height) / kPictureSide);
}

cv::Mat3b DrawPhase(const cv::Mat1f& radians, const PhasePicture& picture) {
    cv::Mat1f periods;
    radians.convertTo(periods, CV_32F, 0.5 / CV_PI);
    measure::PictureStyle style;
    style.title = picture.title;
    style.unit = "periods";
    style.step = DrawnStep(periods.size());
    style.components = picture.components;
    style.marks = picture.marks;
    std::future<cv::Mat3b> raw =
        std::async(std::launch::async, [&periods, style] { return measure::DrawPicture(periods, style); });
    style.title = picture.levelTitle;
    style.components.release();
    style.mask = picture.level;
    style.level = true;
    const cv::Mat3b level = measure::DrawPicture(periods, style);
    return measure::SideBySide(raw.get(), level);
}

}  // namespace vorip
