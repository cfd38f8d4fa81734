#include "measure/surface/rigidfit.h"

#include <cmath>
#include <limits>
#include <opencv2/core/utility.hpp>
#include <vector>

#include "measure/error.h"
#include "measure/surface.h"
#include "measure/surface/sampling.h"
#include "measure/surface/statistics.h"
#include "measure/world/rotation.h"

namespace measure {
namespace {

constexpr int kMostRounds = 100;
constexpr std::size_t kEnoughPoints = 60000;
constexpr std::size_t kLeastPoints = 100;
constexpr double kSmallestStep = 1e-4;  // of the pitch
constexpr double kUndetermined = 1e-6;  // of the strongest direction: shapes that can be moved without a difference

struct Pair {
    cv::Vec6d derivatives;  // of the distance to the tangent plane, by rotation (times the size) and translation
    double distance = 0;
};

class Fitting {
public:
    Fitting(const HeightMap& measured, const HeightMap& reference, const cv::Mat1b& usable, bool robust)
        : mReference(reference), mRobust(robust) {
        const auto share = static_cast<double>(cv::countNonZero(usable)) / kEnoughPoints;
        const int step = std::max(1, static_cast<int>(std::sqrt(share)));
        cv::Vec3d sum;
        for (int y = step / 2; y < usable.rows; y += step) {
            for (int x = step / 2; x < usable.cols; x += step) {
                if (usable(y, x) == 0) continue;
                mPoints.push_back(PointAt(measured, x, y));
                sum += mPoints.back();
            }
        }
        if (mPoints.empty()) return;
        mFit.motion.centre = sum / static_cast<double>(mPoints.size());
        for (const cv::Vec3d& p : mPoints) mSize = std::max(mSize, cv::norm(p - mFit.motion.centre));
    }

    RigidFit Run(const Progress& progress) {
        while (mFit.rounds < kMostRounds && !mFit.converged) {
            progress.Report("fitting the surfaces to each other", static_cast<double>(mFit.rounds) / kMostRounds);
            FindPairs();
            if (mPairs.size() < kLeastPoints)
                throw NothingUsable(cv::format("the surfaces have only %zu points in common", mPairs.size()));
            mFit.converged = Move() < kSmallestStep * mReference.pitch;
            ++mFit.rounds;
        }
        return mFit;
    }

private:
    void FindPairs() {
        mPairs.clear();
        const cv::Mat1f& z = mReference.z;
        for (const cv::Vec3d& p : mPoints) {
            const cv::Vec3d moved = mFit.motion.Of(p);
            const cv::Point2d at = PixelAt(mReference, moved);
            const auto height = static_cast<double>(Bilinear(z, at.x, at.y));
            const double perLength = 0.5 / mReference.pitch;
            const double slopeX =
                static_cast<double>(Bilinear(z, at.x + 1, at.y) - Bilinear(z, at.x - 1, at.y)) * perLength;
            const double slopeY =
                static_cast<double>(Bilinear(z, at.x, at.y - 1) - Bilinear(z, at.x, at.y + 1)) * perLength;
            if (!std::isfinite(height + slopeX + slopeY)) continue;
            const cv::Vec3d normal = cv::normalize(cv::Vec3d(-slopeX, -slopeY, 1));
            const cv::Vec3d arm = (moved - mFit.motion.centre).cross(normal) / mSize;
            mPairs.push_back(
                {{arm[0], arm[1], arm[2], normal[0], normal[1], normal[2]}, (moved[2] - height) * normal[2]});
        }
    }

    // One step of Gauss and Newton; returns how far the farthest point goes.
    double Move() {
        double limit = std::numeric_limits<double>::infinity();
        double centre = 0;
        if (mRobust) {
            std::vector<float> distances;
            for (const Pair& pair : mPairs) distances.push_back(static_cast<float>(pair.distance));
            const Spread spread = RobustSpreadOf(std::move(distances));
            centre = static_cast<double>(spread.median);
            limit = std::max(kOutlierLimit * static_cast<double>(spread.sigma), 1e-6 * mReference.pitch);
        }
        cv::Matx<double, 6, 6> normal = cv::Matx<double, 6, 6>::zeros();
        cv::Vec6d right;
        double count = 0;
        for (const Pair& pair : mPairs) {
            if (std::abs(pair.distance - centre) > limit) continue;
            normal += pair.derivatives * pair.derivatives.t();
            right -= pair.distance * pair.derivatives;
            count += 1;
        }
        const cv::Vec6d step = SolveWhatIsDetermined(normal * (1 / count), right * (1 / count));
        const cv::Vec3d turn = cv::Vec3d(step[0], step[1], step[2]) / mSize, shift(step[3], step[4], step[5]);
        // The motion turns about the centre where it is now.
        const cv::Matx33d rotation = RotationOf(turn);
        mFit.motion.rotation = rotation * mFit.motion.rotation;
        mFit.motion.translation = rotation * mFit.motion.translation + shift;
        return cv::norm(turn) * mSize + cv::norm(shift);
    }

    static cv::Vec6d SolveWhatIsDetermined(const cv::Matx<double, 6, 6>& normal, const cv::Vec6d& right) {
        cv::Vec<double, 6> values;
        cv::Matx<double, 6, 6> vectors;
        cv::eigen(normal, values, vectors);
        cv::Vec6d solution;
        for (int i = 0; i < 6; ++i) {
            if (!(values[i] > kUndetermined * values[0])) continue;
            const cv::Vec6d direction(vectors.row(i).val);
            solution += direction * (direction.dot(right) / values[i]);
        }
        return solution;
    }

    const HeightMap& mReference;
    const bool mRobust;
    std::vector<cv::Vec3d> mPoints;
    std::vector<Pair> mPairs;
    double mSize = 1e-9;
    RigidFit mFit;
};

}  // namespace

RigidFit FitRigidly(const HeightMap& measured, const HeightMap& reference, const cv::Mat1b& usable, bool robust,
                    const Progress& progress) {
    return Fitting(measured, reference, usable, robust).Run(progress);
}

}  // namespace measure
