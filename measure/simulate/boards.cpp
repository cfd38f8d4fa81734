#include <array>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/simulate.h"

namespace measure::simulate {
namespace {

constexpr double kWhite = 0.8, kDark = 0.06;

void CheckBoard(cv::Size count, double pitch) {
    constexpr int kMost = 1000;
    for (const int side : {count.width, count.height})
        RequireNumber(side >= 2 && side <= kMost, "the number of corners or circles in a row of a board", side,
                      "2 to 1000");
    RequirePositive("the distance of a board's corners or circles", pitch);
}

bool IsSeen(const Lens& lens, cv::Size size, const cv::Vec3d& p) {
    if (p[2] <= 0) return false;
    const cv::Point2d at = lens.Project({p[0] / p[2], p[1] / p[2]});
    const double edge = 0.01 * size.width;
    return at.x >= edge && at.y >= edge && at.x < size.width - 1 - edge && at.y < size.height - 1 - edge;
}

bool IsSeenByBoth(const Rig& rig, const Board& board, const Pose& pose) {
    const cv::Point2d first = board.outline.tl(), last = board.outline.br();
    for (const cv::Point2d corner : {first, {last.x, first.y}, last, {first.x, last.y}}) {
        const cv::Vec3d p = pose.rotation * cv::Vec3d(corner.x, corner.y, 0) + pose.translation;
        const cv::Vec3d q = rig.toProjector.rotation * p + rig.toProjector.translation;
        if (!IsSeen(rig.camera, rig.cameraSize, p) || !IsSeen(rig.projector, rig.projectorSize, q)) return false;
    }
    return true;
}

// A turn about the plane's normal, then about the camera's y and x axes.
cv::Matx33d BoardTurn(double inPlane, double aboutY, double aboutX) {
    const double a = inPlane * CV_PI / 180;
    const cv::Matx33d turn(std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a), 0, 0, 0, 1);
    return Facing({}, aboutY, aboutX).pose.rotation * turn;
}

}  // namespace

Board Chessboard(cv::Size innerCorners, double side) {
    CheckBoard(innerCorners, side);
    const auto texture = [=](cv::Point2d p) {
        const int x = static_cast<int>(std::floor(p.x / side)), y = static_cast<int>(std::floor(p.y / side));
        const bool inside = x >= -1 && y >= -1 && x < innerCorners.width && y < innerCorners.height;
        return inside && ((x ^ y) & 1) == 0 ? kDark : kWhite;
    };
    return {texture, {-2 * side, -2 * side, (innerCorners.width + 3) * side, (innerCorners.height + 3) * side}};
}

Board CircleGrid(cv::Size circles, double spacing, bool staggered) {
    CheckBoard(circles, spacing);
    const double step = staggered ? 2 * spacing : spacing, radius = (staggered ? 0.4 : 0.25) * spacing;
    const auto texture = [=](cv::Point2d p) {
        const double y = std::round(p.y / spacing);
        const double shift = staggered && std::fmod(std::abs(y), 2) == 1 ? spacing : 0;
        const double x = std::round((p.x - shift) / step);
        if (x < 0 || y < 0 || x >= circles.width || y >= circles.height) return kWhite;
        return std::hypot(p.x - shift - x * step, p.y - y * spacing) < radius ? kDark : kWhite;
    };
    return {texture, {-spacing, -spacing, (circles.width + 1) * step, (circles.height + 1) * spacing}};
}

std::vector<Pose> BoardPoses(const Rig& rig, const Board& board, int count, double tilt) {
    constexpr int kMost = 10000;
    RequireNumber(count >= 0 && count <= kMost, "the number of poses", count, "0 to 10000");
    RequireNumber(std::abs(tilt) < 90, "the tilt", tilt, "less than 90 degrees");
    // Around the field in eight directions, beginning at its centre.
    static const std::array<cv::Point2d, 9> places = {
        {{0, 0}, {-1, -1}, {1, 1}, {1, -1}, {-1, 1}, {1, 0}, {-1, 0}, {0, 1}, {0, -1}}};
    const cv::Point2d middle = 0.5 * (board.outline.tl() + board.outline.br());
    std::vector<Pose> poses;
    for (int i = 0; i < count; ++i) {
        // The golden angle spreads directions evenly for any number of poses.
        const double angle = i * 2.399963, lean = i == 0 ? 0 : tilt * (0.5 + 0.5 * ((i * 5) % 7) / 6.0);
        const cv::Matx33d turn = BoardTurn((i * 7) % 5 * 4 - 8, lean * std::cos(angle), lean * std::sin(angle));
        const cv::Point2d place = places[static_cast<std::size_t>(i) % places.size()];
        // As large in the picture and as far from its centre as it fits.
        Pose pose{turn, {}};
        bool fits = false;
        for (double distance = 360 + 12 * (i % 4); !fits && distance < 700; distance += 15)
            for (double out = 60; !fits && out >= 0; out -= 10) {
                const cv::Vec3d centre(out * place.x, 0.7 * out * place.y, distance);
                pose.translation = centre - turn * cv::Vec3d(middle.x, middle.y, 0);
                fits = IsSeenByBoth(rig, board, pose);
            }
        if (!fits) throw InputError("the board does not fit into the common field of camera and projector");
        poses.push_back(pose);
    }
    return poses;
}

Scene BoardScene(const Rig& rig, const Board& board, const Pose& pose) {
    const cv::Point2d first = board.outline.tl(), last = board.outline.br();
    return {rig, {{Plane{pose, first.x, last.x, first.y, last.y}, {kWhite, board.texture}}}};
}

}  // namespace measure::simulate
