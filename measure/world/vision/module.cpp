#include "measure/world/vision/module.h"

#include <new>
#include <opencv2/calib3d.hpp>
#include <opencv2/features2d.hpp>

#include "measure/export.h"

namespace measure {
namespace {

bool FindCorners(const cv::Mat1b& picture, cv::Size count, int flags, std::vector<cv::Point2f>& found) {
    return cv::findChessboardCornersSB(picture, count, found, flags);
}

void FindSpots(const cv::Mat1b& picture, float maxArea, std::vector<cv::KeyPoint>& found) {
    cv::SimpleBlobDetector::Params params;
    params.minThreshold = 20;
    params.maxThreshold = 220;
    params.minDistBetweenBlobs = 4;
    params.minArea = 12;
    params.maxArea = maxArea;
    params.minCircularity = 0.6f;
    params.filterByCircularity = true;
    params.minInertiaRatio = 0.2f;
    params.minConvexity = 0.85f;
    cv::SimpleBlobDetector::create(params)->detect(picture, found);
}

bool FindCircles(const std::vector<cv::Point2f>& spots, cv::Size count, int flags, std::vector<cv::Point2f>& found) {
    return cv::findCirclesGrid(spots, count, found, flags, nullptr);
}

bool Calibrate(const SideViews& views, int flags, SideSolution& solution) try {
    std::vector<cv::Mat> turns, shifts;
    cv::calibrateCamera(views.onBoard, views.seen, views.size, solution.matrix, solution.distortion, turns, shifts,
                        flags, {cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 100, 1e-10});
    for (const cv::Mat& turn : turns) solution.turns.emplace_back(turn.ptr<double>());
    for (const cv::Mat& shift : shifts) solution.shifts.emplace_back(shift.ptr<double>());
    return true;
} catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) throw std::bad_alloc();
    return false;
}

}  // namespace
}  // namespace measure

extern "C" MEASURE_API const measure::Vision voripVision;
const measure::Vision voripVision{measure::FindCorners, measure::FindSpots, measure::FindCircles, measure::Calibrate};
