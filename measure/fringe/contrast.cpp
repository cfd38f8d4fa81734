#include <opencv2/imgproc.hpp>

#include "measure/fringe.h"

namespace measure {

cv::Mat1f FringeContrast(const FringePhase& phase) {
    cv::Mat1f mean, contrast;
    cv::blur(phase.mean, mean, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    cv::blur(phase.modulation, contrast, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    mean += 1.0;
    contrast /= mean;
    cv::min(contrast, 1.0, contrast);
    return contrast;
}

}  // namespace measure
