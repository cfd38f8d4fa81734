#include "tools/vorip/pictures/phasepicture.h"

#include <algorithm>

#include "measure/picture.h"
#include "measure/surface.h"

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
    const cv::Mat3b raw = measure::DrawPicture(periods, style);
    style.title = picture.levelTitle;
    style.components.release();
    style.mask = picture.level;
    return measure::SideBySide(raw, measure::DrawPicture(measure::RemovePlane(periods, style.mask), style));
}

}  // namespace vorip
