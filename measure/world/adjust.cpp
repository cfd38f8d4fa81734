#include "measure/world/adjust.h"

#include <algorithm>
#include <cmath>

#include "measure/base/distortion.h"
#include "measure/error.h"
#include "measure/world/rotation.h"

namespace measure {
namespace {

using Matx36d = cv::Matx<double, 3, 6>;

std::array<double*, kLensTerms> TermsOf(Lens& l) {
    return {&l.fx, &l.fy, &l.cx, &l.cy, &l.k1, &l.k2, &l.p1, &l.p2, &l.k3};
}

// d(small turn · p) / d(turn), and the identity for the shift.
Matx36d MotionOf(const cv::Vec3d& p) {
    return {0, p[2], -p[1], 1, 0, 0, -p[2], 0, p[0], 0, 1, 0, p[1], -p[0], 0, 0, 0, 1};
}

BoardPose Moved(const BoardPose& pose, const cv::Vec6d& step) {
    return {RotationOf({step[0], step[1], step[2]}) * pose.rotation,
            pose.translation + cv::Vec3d(step[3], step[4], step[5])};
}

// A point as a lens sees it, with derivatives by the point and by the lens.
struct Seen {
    cv::Point2d pixel;
    cv::Matx23d byPoint;
    cv::Matx<double, 2, kLensTerms> byLens;
};

Seen See(const Lens& l, const cv::Vec3d& p) {
    const double x = p[0] / p[2], y = p[1] / p[2], r2 = x * x + y * y;
    const Distorted d = Distort(l, {x, y});
    Seen seen;
    seen.pixel = {l.fx * d.at.x + l.cx, l.fy * d.at.y + l.cy};
    const cv::Matx23d direction(1 / p[2], 0, -x / p[2], 0, 1 / p[2], -y / p[2]);
    seen.byPoint = cv::Matx22d(l.fx, 0, 0, l.fy) * d.slope * direction;
    seen.byLens = {d.at.x,
                   0,
                   1,
                   0,
                   l.fx * x * r2,
                   l.fx * x * r2 * r2,
                   l.fx * 2 * x * y,
                   l.fx * (r2 + 2 * x * x),
                   l.fx * x * r2 * r2 * r2,
                   0,
                   d.at.y,
                   0,
                   1,
                   l.fy * y * r2,
                   l.fy * y * r2 * r2,
                   l.fy * (r2 + 2 * y * y),
                   l.fy * 2 * x * y,
                   l.fy * y * r2 * r2 * r2};
    return seen;
}

template <int m, int n, int rows, int cols>
void Put(cv::Matx<double, rows, cols>& target, int y, int x, const cv::Matx<double, m, n>& part) {
    for (int i = 0; i < m; ++i)
        for (int j = 0; j < n; ++j) target(y + i, x + j) = part(i, j);
}

}  // namespace

// Residuals of one point and their derivatives by rig and pose, of opposite sign (computed less seen).
struct RigAdjustment::PointRows {
    cv::Vec4d residual;
    cv::Matx<double, 4, kRigTerms> byRig = cv::Matx<double, 4, kRigTerms>::zeros();
    cv::Matx<double, 4, 6> byPose;
};

// The normal equations of one pose.
struct RigAdjustment::PoseSystem {
    cv::Matx66d pose = cv::Matx66d::zeros(), inverse;
    cv::Matx<double, 6, kRigTerms> mixed = cv::Matx<double, 6, kRigTerms>::zeros();
    cv::Vec6d poseGradient;
    std::vector<PointRows> rows;
    PoseEquations reduced;

    // What the pose does once the rig has done its step.
    cv::Vec6d PoseStep(const RigVector& step) const {
        const cv::Matx61d right = cv::Matx61d(poseGradient.val) - mixed * step;
        return cv::Vec6d((inverse * right).val);
    }
};

RigAdjustment::RigAdjustment(const std::vector<BoardView>& views, const std::vector<cv::Point2d>& boardPoints,
                             const DistortionModel& model)
    : mViews(views), mBoard(boardPoints) {
    mIsFound.fill(true);
    const bool terms[] = {model.k1, model.k2, model.tangential, model.tangential, model.k3};
    for (std::size_t i = 0; i < 5; ++i) mIsFound[4 + i] = mIsFound[kLensTerms + 4 + i] = terms[i];
}

RigAdjustment::PointRows RigAdjustment::RowsOf(const Calibration& rig, const BoardPose& pose,
                                               const BoardPoint& point) const {
    const cv::Point2d onBoard = mBoard[static_cast<std::size_t>(point.index)];
    const cv::Vec3d turned = pose.rotation * cv::Vec3d(onBoard.x, onBoard.y, 0), p = turned + pose.translation;
    const cv::Vec3d turnedAgain = rig.rotation * p, q = turnedAgain + rig.translation;
    const Seen camera = See(rig.camera, p), projector = See(rig.projector, q);
    PointRows rows;
    rows.residual = {point.camera.x - camera.pixel.x, point.camera.y - camera.pixel.y,
                     point.projector.x - projector.pixel.x, point.projector.y - projector.pixel.y};
    Put(rows.byRig, 0, 0, camera.byLens);
    Put(rows.byRig, 2, kLensTerms, projector.byLens);
    Put(rows.byRig, 2, 2 * kLensTerms, projector.byPoint * MotionOf(turnedAgain));
    const Matx36d motion = MotionOf(turned);
    Put(rows.byPose, 0, 0, camera.byPoint * motion);
    Put(rows.byPose, 2, 0, projector.byPoint * rig.rotation * motion);
    return rows;
}

RigAdjustment::PoseSystem RigAdjustment::Build(const Calibration& rig, const BoardPose& pose, const BoardView& view,
                                               double damping) const {
    PoseSystem system;
    for (const BoardPoint& point : view.points) {
        system.rows.push_back(RowsOf(rig, pose, point));
        const PointRows& r = system.rows.back();
        const cv::Matx41d residual(r.residual.val);
        system.pose += r.byPose.t() * r.byPose;
        system.mixed += r.byPose.t() * r.byRig;
        system.reduced.normal += r.byRig.t() * r.byRig;
        system.reduced.gradient += r.byRig.t() * residual;
        const cv::Matx61d gradient = r.byPose.t() * residual;
        for (int i = 0; i < 6; ++i) system.poseGradient[i] += gradient(i);
    }
    for (int i = 0; i < 6; ++i) system.pose(i, i) *= 1 + damping;
    for (int i = 0; i < kRigTerms; ++i) system.reduced.normal(i, i) *= 1 + damping;
    system.inverse = system.pose.inv(cv::DECOMP_SVD);
    const cv::Matx<double, kRigTerms, 6> across = system.mixed.t() * system.inverse;
    system.reduced.normal -= across * system.mixed;
    system.reduced.gradient -= across * cv::Matx61d(system.poseGradient.val);
    return system;
}

RigMatrix RigAdjustment::Inverse(const RigMatrix& normal, const Terms& terms) {
    // Of the least eigenvalue to the greatest. Poses that are all alike leave some 1e-13 of either sign to rounding,
    // poses that differ well give 1e-7.
    constexpr double kSingular = 1e-11;
    // Scaled to a diagonal of ones, since focal lengths and coefficients differ by many orders of magnitude.
    std::vector<int> found;
    std::vector<double> scale;
    for (int i = 0; i < kRigTerms; ++i)
        if (terms[static_cast<std::size_t>(i)]) {
            found.push_back(i);
            scale.push_back(normal(i, i) > 0 ? 1 / std::sqrt(normal(i, i)) : 0);
        }
    const auto n = static_cast<int>(found.size());
    const auto at = [&](int i) { return static_cast<std::size_t>(i); };
    cv::Mat1d scaled(n, n), inverse;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) scaled(i, j) = scale[at(i)] * normal(found[at(i)], found[at(j)]) * scale[at(j)];
    const bool isFinite = cv::checkRange(scaled);
    if (!isFinite || !(cv::invert(scaled, inverse, cv::DECOMP_EIG) > kSingular)) throw InputError(kUndetermined);
    RigMatrix result = RigMatrix::zeros();
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) result(found[at(i)], found[at(j)]) = scale[at(i)] * inverse(i, j) * scale[at(j)];
    return result;
}

std::vector<cv::Vec4d> RigAdjustment::Residuals(const Calibration& rig, const BoardPose& pose, std::size_t view) const {
    std::vector<cv::Vec4d> residuals;
    for (const BoardPoint& point : mViews[view].points) residuals.push_back(RowsOf(rig, pose, point).residual);
    return residuals;
}

double RigAdjustment::SumOfSquares(const Calibration& rig, const std::vector<BoardPose>& poses) const {
    double sum = 0;
    for (std::size_t i = 0; i < mViews.size(); ++i)
        for (const cv::Vec4d& r : Residuals(rig, poses[i], i)) sum += r.dot(r);
    return std::isfinite(sum) ? sum : std::numeric_limits<double>::infinity();
}

void RigAdjustment::Run(Calibration& rig, std::vector<BoardPose>& poses, const Progress& progress) const {
    constexpr int kMostSteps = 60;
    constexpr double kDone = 1e-11;  // relative fall of the sum of squares
    double sum = SumOfSquares(rig, poses), damping = 0;
    for (int step = 0; step < kMostSteps; ++step) {
        progress.Report("adjusting camera and projector", static_cast<double>(step) / kMostSteps);
        std::vector<PoseSystem> systems;
        PoseEquations all;
        for (std::size_t i = 0; i < mViews.size(); ++i) {
            systems.push_back(Build(rig, poses[i], mViews[i], damping));
            all.normal += systems.back().reduced.normal;
            all.gradient += systems.back().reduced.gradient;
        }
        const RigVector move = Inverse(all.normal) * all.gradient;
        const Calibration next = Moved(rig, move);
        std::vector<BoardPose> nextPoses;
        for (std::size_t i = 0; i < poses.size(); ++i) nextPoses.push_back(Moved(poses[i], systems[i].PoseStep(move)));
        const double nextSum = SumOfSquares(next, nextPoses);
        if (nextSum <= sum) {
            rig = next;
            poses = nextPoses;
            if (sum - nextSum <= kDone * sum) return;
            sum = nextSum;
            damping = damping > 1e-6 ? damping / 10 : 0;
        } else if (damping > 1e3 || nextSum - sum <= kDone * sum) {
            return;  // no step leads further down
        } else {
            damping = std::max(1e-4, damping * 10);
        }
    }
}

// The first step that all terms together would make from here, in units of its deviation. A lens with a term too few
// fits the board nearly as well, and bends space.
std::vector<std::string> RigAdjustment::FindMissing(const PoseEquations& all, const RigMatrix& scores) const {
    constexpr double kClear = 5, kLeast = 1e-7;
    constexpr const char* kNames[] = {"k1", "k2", "p1", "p2", "k3"};
    Terms everything;
    everything.fill(true);
    std::vector<std::string> missing;
    try {
        const RigMatrix inverse = Inverse(all.normal, everything), covariance = inverse * scores * inverse;
        const RigVector step = inverse * all.gradient;
        for (int side = 0; side < 2; ++side)
            for (int term = 0; term < 5; ++term) {
                const int i = side * kLensTerms + 4 + term;
                const double size = std::abs(step(i));
                if (mIsFound[static_cast<std::size_t>(i)] || size < kLeast) continue;
                if (size > kClear * std::sqrt(covariance(i, i)))
                    missing.push_back(std::string(kNames[term]) + (side == 0 ? " of the camera" : " of the projector"));
            }
    } catch (const InputError&) {
        return {};  // the poses cannot tell
    }
    return missing;
}

RigAdjustment::Statistics RigAdjustment::Judge(const Calibration& rig, const std::vector<BoardPose>& poses) const {
    std::vector<PoseEquations> equations;
    PoseEquations all;
    RigMatrix scores = RigMatrix::zeros();
    double observations = 0;
    for (std::size_t i = 0; i < mViews.size(); ++i) {
        const PoseSystem system = Build(rig, poses[i], mViews[i], 0);
        const cv::Matx<double, 6, kRigTerms> followed = system.inverse * system.mixed;
        // Camera and projector see a point at one place of the picture: a corner that is found beside its place shifts
        // both, so that the four residuals of a point stand together (White's estimator with clusters).
        for (const PointRows& r : system.rows) {
            const RigVector score = (r.byRig - r.byPose * followed).t() * cv::Matx41d(r.residual.val);
            scores += score * score.t();
        }
        observations += 4.0 * static_cast<double>(system.rows.size());
        equations.push_back(system.reduced);
        all.normal += system.reduced.normal;
        all.gradient += system.reduced.gradient;
    }
    const RigMatrix inverse = Inverse(all.normal), covariance = inverse * scores * inverse;
    const double found = static_cast<double>(std::count(mIsFound.begin(), mIsFound.end(), true));
    const double freedom = observations - found - 6.0 * static_cast<double>(mViews.size());
    if (!(freedom > 0)) throw InputError("there are fewer points than parameters");
    Statistics statistics;
    std::vector<RigVector> steps;
    RigVector mean = RigVector::zeros();
    const double poseCount = static_cast<double>(mViews.size());
    for (const PoseEquations& one : equations) {
        steps.push_back(Inverse(all.normal - one.normal) * (all.gradient - one.gradient));
        mean += steps.back() * (1 / poseCount);
        statistics.withoutPose.push_back(Moved(rig, steps.back()));
    }
    statistics.missing = FindMissing(all, scores);
    for (int i = 0; i < kRigTerms; ++i) {
        const double byPoints = covariance(i, i) * observations / freedom;
        // Errors that the points of a pose have in common show when poses are left out (the jackknife).
        double byPoses = 0;
        for (const RigVector& step : steps) byPoses += std::pow(step(i) - mean(i), 2) * (poseCount - 1) / poseCount;
        statistics.deviation(i) = std::sqrt(std::max({0.0, byPoints, byPoses}));
    }
    return statistics;
}

Calibration Moved(const Calibration& rig, const RigVector& step) {
    Calibration moved = rig;
    int i = 0;
    for (Lens* lens : {&moved.camera, &moved.projector})
        for (double* term : TermsOf(*lens)) *term += step(i++);
    moved.rotation = RotationOf({step(i), step(i + 1), step(i + 2)}) * rig.rotation;
    moved.translation += cv::Vec3d(step(i + 3), step(i + 4), step(i + 5));
    return moved;
}

}  // namespace measure
