#pragma once

#include <opencv2/core.hpp>
#include <vector>

// What the module exports, under the name `voripVision`: what is taken from OpenCV's modules calib3d and features2d.
namespace measure {

// The views of one camera: where the points of each pose are on the board, and where they are seen.
struct SideViews {
    std::vector<std::vector<cv::Point3f>> onBoard;
    std::vector<std::vector<cv::Point2f>> seen;
    cv::Size size;  // of the pictures
};

// A camera matrix with the coefficients of its distortion, and the board's place in each view: turn, as a vector along
// the axis, and shift.
struct SideSolution {
    cv::Mat1d matrix, distortion;
    std::vector<cv::Vec3d> turns, shifts;
};

struct Vision {
    // The corners of a board in a picture; `flags` are those of cv::findChessboardCornersSB.
    bool (*findCorners)(const cv::Mat1b& picture, cv::Size count, int flags, std::vector<cv::Point2f>& found);
    // The dark spots of a picture that are roughly round and of no more than so many pixels.
    void (*findSpots)(const cv::Mat1b& picture, float maxArea, std::vector<cv::KeyPoint>& found);
    // The circles of a board among spots; `flags` are those of cv::findCirclesGrid. The time grows with the third power
    // of the number of spots.
    bool (*findCircles)(const std::vector<cv::Point2f>& spots, cv::Size count, int flags,
                        std::vector<cv::Point2f>& found);
    // False when the views do not determine the camera; `flags` are those of cv::calibrateCamera.
    bool (*calibrate)(const SideViews& views, int flags, SideSolution& solution);
};

}  // namespace measure
