#include "measure/world/judgecalibration.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace measure {
namespace {

double Rms(double squares, std::size_t count) { return std::sqrt(squares / std::max(1.0, static_cast<double>(count))); }

// The point nearest to the rays of a pixel and of the projector's place.
cv::Vec3d Triangulate(const Calibration& rig, const BoardPoint& point) {
    const cv::Point2d c = rig.camera.Direction(point.camera), p = rig.projector.Direction(point.projector);
    const cv::Vec3d along(c.x, c.y, 1), other = rig.rotation.t() * cv::Vec3d(p.x, p.y, 1);
    const cv::Vec3d from = -(rig.rotation.t() * rig.translation);
    const double aa = along.dot(along), ab = along.dot(other), bb = other.dot(other);
    const double det = aa * bb - ab * ab;
    const double s = (bb * along.dot(from) - ab * other.dot(from)) / det;
    const double t = (ab * along.dot(from) - aa * other.dot(from)) / det;
    return 0.5 * (s * along + from + t * other);
}

struct Measured {
    double spacing = 0, planeSquares = 0, pointSquares = 0;
};

// Lays the board into measured points, by turning and shifting it (Kabsch), and compares.
Measured Compare(const std::vector<cv::Vec3d>& points, const std::vector<cv::Vec3d>& board, double spacing) {
    cv::Vec3d middle, boardMiddle;
    for (std::size_t i = 0; i < points.size(); ++i) {
        middle += points[i];
        boardMiddle += board[i];
    }
    middle *= 1.0 / static_cast<double>(points.size());
    boardMiddle *= 1.0 / static_cast<double>(points.size());
    cv::Matx33d across = cv::Matx33d::zeros(), spread = cv::Matx33d::zeros();
    double boardSquares = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const cv::Vec3d p = points[i] - middle, b = board[i] - boardMiddle;
        across += p * b.t();
        spread += p * p.t();
        boardSquares += b.dot(b);
    }
    cv::Matx33d u, vt, uSpread, vtSpread;
    cv::Matx31d w, wSpread;
    cv::SVD::compute(across, w, u, vt);
    cv::Matx33d turn = cv::Matx33d::eye();
    turn(2, 2) = cv::determinant(u * vt) < 0 ? -1 : 1;
    const cv::Matx33d rotation = u * turn * vt;
    cv::SVD::compute(spread, wSpread, uSpread, vtSpread);
    Measured measured;
    measured.planeSquares = wSpread(2);
    double scale = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const cv::Vec3d p = points[i] - middle, b = rotation * (board[i] - boardMiddle), off = p - b;
        measured.pointSquares += off.dot(off);
        scale += p.dot(b) / boardSquares;
    }
    measured.spacing = scale * spacing;
    return measured;
}

class Coverage {
public:
    explicit Coverage(cv::Size size) : mSize(size) {}
    void Add(cv::Point2d at) {
        const int x = cvFloor((at.x + 0.5) * kColumns / mSize.width), y = cvFloor((at.y + 0.5) * kRows / mSize.height);
        if (x >= 0 && y >= 0 && x < kColumns && y < kRows) mCells[static_cast<std::size_t>(y * kColumns + x)] = true;
    }
    double Share() const {
        const auto count = std::count(mCells.begin(), mCells.end(), true);
        return static_cast<double>(count) / static_cast<double>(mCells.size());
    }

private:
    static constexpr int kColumns = 8, kRows = 6;
    cv::Size mSize;
    std::array<bool, std::size_t{kColumns} * kRows> mCells{};
};

cv::Vec3d NormalOf(const BoardPose& pose) {
    const cv::Vec3d normal(pose.rotation(0, 2), pose.rotation(1, 2), pose.rotation(2, 2));
    return normal[2] < 0 ? -normal : normal;
}

double DegreesBetween(const cv::Vec3d& a, const cv::Vec3d& b) {
    return std::acos(std::clamp(a.dot(b), -1.0, 1.0)) * 180 / CV_PI;
}

// Residuals, place and tilt.
PoseFit FitOf(const BoardView& view, const std::vector<cv::Vec4d>& residuals, const BoardPose& pose) {
    PoseFit fit;
    fit.name = view.name;
    double camera = 0, projector = 0;
    for (const cv::Vec4d& r : residuals) {
        fit.cameraResiduals.emplace_back(r[0], r[1]);
        fit.projectorResiduals.emplace_back(r[2], r[3]);
        camera += r[0] * r[0] + r[1] * r[1];
        projector += r[2] * r[2] + r[3] * r[3];
    }
    fit.cameraRms = Rms(camera, residuals.size());
    fit.projectorRms = Rms(projector, residuals.size());
    fit.tilt = DegreesBetween(NormalOf(pose), {0, 0, 1});
    return fit;
}

void FindWorst(CalibrationResult& result) {
    constexpr std::size_t kMost = 10;
    for (std::size_t i = 0; i < result.poses.size(); ++i) {
        const PoseFit& fit = result.poses[i];
        for (std::size_t j = 0; j < fit.cameraResiduals.size(); ++j)
            result.worst.push_back({static_cast<int>(i), static_cast<int>(j),
                                    std::hypot(cv::norm(fit.cameraResiduals[j]), cv::norm(fit.projectorResiduals[j]))});
    }
    const auto end = result.worst.begin() + static_cast<std::ptrdiff_t>(std::min(kMost, result.worst.size()));
    std::partial_sort(result.worst.begin(), end, result.worst.end(),
                      [](const WorstPoint& a, const WorstPoint& b) { return a.error > b.error; });
    result.worst.erase(end, result.worst.end());
}

void FillDeviations(const RigVector& d, Calibration& c) {
    c.cameraDeviation = {d(0), d(1), d(2), d(3), d(4), d(5), d(6), d(7), d(8)};
    c.projectorDeviation = {d(9), d(10), d(11), d(12), d(13), d(14), d(15), d(16), d(17)};
    c.rotationDeviation = {d(18), d(19), d(20)};
    c.translationDeviation = {d(21), d(22), d(23)};
}

}  // namespace

void JudgeCalibration(const std::vector<BoardView>& views, const BoardDescription& board,
                      const RigAdjustment& adjustment, const std::vector<BoardPose>& poses, CalibrationResult& result) {
    Calibration& rig = result.calibration;
    const RigAdjustment::Statistics statistics = adjustment.Judge(rig, poses);
    FillDeviations(statistics.deviation, rig);
    const std::vector<cv::Point2d> boardPoints = BoardPoints(board);
    Coverage camera(rig.cameraSize), projector(rig.projectorSize);
    double cameraSquares = 0, projectorSquares = 0, plane = 0, point = 0, spacing = 0;
    std::size_t count = 0;
    for (std::size_t i = 0; i < views.size(); ++i) {
        PoseFit fit = FitOf(views[i], adjustment.Residuals(rig, poses[i], i), poses[i]);
        std::vector<cv::Vec3d> measured, wanted;
        for (const BoardPoint& p : views[i].points) {
            camera.Add(p.camera);
            projector.Add(p.projector);
            measured.push_back(Triangulate(statistics.withoutPose[i], p));
            const cv::Point2d at = boardPoints[static_cast<std::size_t>(p.index)];
            wanted.emplace_back(at.x, at.y, 0);
        }
        const Measured m = Compare(measured, wanted, board.spacing);
        const std::size_t n = measured.size();
        const cv::Vec3d boardMiddle(0.5 * (boardPoints.front().x + boardPoints.back().x),
                                    0.5 * (boardPoints.front().y + boardPoints.back().y), 0);
        fit.distance = cv::norm(poses[i].rotation * boardMiddle + poses[i].translation);
        fit.spacing = m.spacing;
        fit.planeRms = Rms(m.planeSquares, n);
        fit.pointRms = Rms(m.pointSquares, n);
        cameraSquares += fit.cameraRms * fit.cameraRms * static_cast<double>(n);
        projectorSquares += fit.projectorRms * fit.projectorRms * static_cast<double>(n);
        plane += m.planeSquares;
        point += m.pointSquares;
        spacing += m.spacing / static_cast<double>(views.size());
        count += n;
        for (std::size_t j = 0; j < i; ++j)
            result.tiltSpread = std::max(result.tiltSpread, DegreesBetween(NormalOf(poses[i]), NormalOf(poses[j])));
        result.poses.push_back(std::move(fit));
    }
    rig.cameraRms = Rms(cameraSquares, count);
    rig.projectorRms = Rms(projectorSquares, count);
    result.spacing = spacing;
    result.planeRms = Rms(plane, count);
    result.pointRms = Rms(point, count);
    result.cameraCoverage = camera.Share();
    result.projectorCoverage = projector.Share();
    FindWorst(result);
    Advise(result, statistics.missing);
}

}  // namespace measure
