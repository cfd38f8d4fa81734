#include <algorithm>
#include <cmath>
#include <utility>

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/surface.h"
#include "measure/surface/usable.h"

namespace measure {
namespace {

// The two areas, and the heights from their middle, which keeps the sums small.
class StepFit {
public:
    StepFit(const HeightMap& map, const cv::Mat1b& base, const cv::Mat1b& top)
        : mMap(map), mBase(base), mTop(top), mCentre(0.5 * (map.z.cols - 1), 0.5 * (map.z.rows - 1)) {}

    Step Run(const Progress& progress) {
        progress.Report("fitting the step", 0.0);
        AddUp();
        const cv::Matx44d inverse = Solve();
        progress.Report("judging what remains", 0.5);
        Step step;
        const double length = mMap.PixelLength();
        step.height = mSolution[3];
        step.slopeX = mSolution[0] / (mScale * length);
        step.slopeY = -mSolution[1] / (mScale * length);
        Judge(step);
        const double freedom = std::max(1.0, static_cast<double>(step.basePixels) + step.topPixels - 4);
        const double variance = mSquares / freedom;
        step.correlation = Correlation(mSquares / (freedom + 4), progress);
        step.standardError = std::sqrt(variance * inverse(3, 3) * step.correlation);
        return step;
    }

private:
    // Sums over the pixels of a row, or of an area.
    struct Sums {
        double n = 0, x = 0, xx = 0, z = 0, xz = 0;
    };

    Sums SumRow(int y, const uchar* area) const {
        Sums s;
        const float* const z = mMap.z[y];
        const double perPixel = 1 / mScale;
        for (int x = 0; x < mMap.z.cols; ++x) {
            if (area[x] == 0) continue;
            const double u = (x - mCentre.x) * perPixel, h = static_cast<double>(z[x]);
            s.n += 1;
            s.x += u;
            s.xx += u * u;
            s.z += h;
            s.xz += u * h;
        }
        return s;
    }

    void AddUp() {
        mScale = std::max(1.0, 0.5 * std::max(mMap.z.cols, mMap.z.rows));
        for (int y = 0; y < mMap.z.rows; ++y) {
            const double v = (y - mCentre.y) / mScale;
            for (const double top : {0.0, 1.0}) {
                const Sums s = SumRow(y, top > 0 ? mTop[y] : mBase[y]);
                mNormal += cv::Matx44d(s.xx, v * s.x, s.x, top * s.x,                 //
                                       v * s.x, v * v * s.n, v * s.n, top * v * s.n,  //
                                       s.x, v * s.n, s.n, top * s.n,                  //
                                       top * s.x, top * v * s.n, top * s.n, top * s.n);
                mRight += cv::Vec4d(s.xz, v * s.z, s.z, top * s.z);
            }
        }
    }

    cv::Matx44d Solve() {
        cv::Matx41d eigenvalues;
        const double count = mNormal(2, 2);
        cv::eigen(mNormal * (1.0 / count), eigenvalues);
        // Scaled to the size of the map, directions that pixels determine are far above this.
        if (!(eigenvalues(3) > 1e-12))
            throw NothingUsable(
                "the two areas do not tell a step from a tilt: each needs more than one line of pixels");
        const cv::Matx44d inverse = mNormal.inv(cv::DECOMP_CHOLESKY);
        mSolution = inverse * mRight;
        return inverse;
    }

    // What remains at each pixel of the areas, 0 elsewhere.
    void Judge(Step& step) {
        mRest = cv::Mat1f(mMap.z.size(), 0.0f);
        mInside = cv::Mat1f(mMap.z.size(), 0.0f);
        double base = 0, top = 0;
        const double perColumn = mSolution[0] / mScale;
        for (int y = 0; y < mRest.rows; ++y) {
            const double row = mSolution[1] * (y - mCentre.y) / mScale + mSolution[2] - perColumn * mCentre.x;
            const uchar *const isTop = mTop[y], *const isBase = mBase[y];
            const float* const z = mMap.z[y];
            for (int x = 0; x < mRest.cols; ++x) {
                const bool onTop = isTop[x] != 0;
                if (!onTop && isBase[x] == 0) continue;
                const double rest = static_cast<double>(z[x]) - (row + perColumn * x + (onTop ? mSolution[3] : 0.0));
                mRest(y, x) = static_cast<float>(rest);
                mInside(y, x) = 1.0f;
                (onTop ? top : base) += rest * rest;
                ++(onTop ? step.topPixels : step.basePixels);
            }
        }
        step.rmsBase = std::sqrt(base / std::max(1, step.basePixels));
        step.rmsTop = std::sqrt(top / std::max(1, step.topPixels));
        mSquares = base + top;
    }

    // The variance of a mean of pixels that are alike within some distance is that of independent ones times the sum of
    // their autocorrelation over all distances; it is taken as the product of those along rows and columns.
    double Correlation(double variance, const Progress& progress) const {
        double product = 1;
        for (const cv::Point axis : {cv::Point(1, 0), cv::Point(0, 1)}) {
            const int longest = std::min(kLongestLag, (axis.x > 0 ? mRest.cols : mRest.rows) - 1);
            double sum = 1;
            for (int lag = 1; lag <= longest; ++lag) {
                progress.Report("judging what remains", 0.5);
                const auto [products, pairs] = PairsAt(lag * axis);
                const double rho = pairs > 0 && variance > 0 ? products / pairs / variance : 0;
                // Below twice its own deviation it is no more than chance.
                if (rho < std::max(kLeastCorrelation, 2 / std::sqrt(std::max(1.0, pairs)))) break;
                sum += 2 * rho;
            }
            product *= sum;
        }
        return product;
    }

    // The sum of products of what remains, over pairs of pixels so far apart, and their number; of every n-th row of
    // large maps.
    std::pair<double, double> PairsAt(cv::Point shift) const {
        const int step = 1 + static_cast<int>(mRest.total() / kEnoughPixels);
        std::pair<double, double> sums;
        for (int y = 0; y + shift.y < mRest.rows; y += step) {
            const auto dot = [&](const cv::Mat1f& image) {
                const cv::Range here(0, image.cols - shift.x), there(shift.x, image.cols);
                return image.row(y).colRange(here).dot(image.row(y + shift.y).colRange(there));
            };
            sums.first += dot(mRest);
            sums.second += dot(mInside);
        }
        return sums;
    }

    static constexpr std::size_t kEnoughPixels = 400000;
    static constexpr int kLongestLag = 64;
    static constexpr double kLeastCorrelation = 0.02;

    const HeightMap& mMap;
    const cv::Mat1b &mBase, &mTop;
    const cv::Point2d mCentre;
    double mScale = 1;
    cv::Matx44d mNormal = cv::Matx44d::zeros();
    cv::Vec4d mRight, mSolution;
    cv::Mat1f mRest, mInside;  // and 1 at the pixels of the areas
    double mSquares = 0;
};

cv::Mat1b PixelsOf(const HeightMap& map, const cv::Mat1b& area, int margin, const char* name,
                   const Progress& progress) {
    try {
        return UsablePixels(map, WithoutEdges(area, margin, progress));
    } catch (const NothingUsable&) {
        throw NothingUsable(cv::format(
            "nothing is left of the %s: no pixel with a height is %d or more pixels inside it", name, margin));
    }
}

}  // namespace

Step MeasureStep(const HeightMap& map, const cv::Mat1b& base, const cv::Mat1b& top, int margin,
                 const Progress& progress) {
    progress.Report("finding the areas");
    RequireOneSize({"the height map", map.z}, {{"the area of the base", base}, {"the area of the top", top}});
    if (cv::countNonZero((base >= 128) & (top >= 128)) > 0)
        throw InputError("the base and the top overlap: a pixel belongs to one of them only");
    const cv::Mat1b low = PixelsOf(map, base, margin, "base", progress);
    const cv::Mat1b high = PixelsOf(map, top, margin, "top", progress);
    return StepFit(map, low, high).Run(progress);
}

Quantities QuantitiesOf(const Step& step, const HeightMap& map) {
    const std::string perLength = map.unit + "/" + map.LengthUnit();
    return {{"step_height", step.height, map.unit},
            {"standard_error", step.standardError, map.unit},
            {"slope_x", step.slopeX, perLength},
            {"slope_y", step.slopeY, perLength},
            {"rms_base", step.rmsBase, map.unit},
            {"rms_top", step.rmsTop, map.unit},
            {"pixels_base", static_cast<double>(step.basePixels), ""},
            {"pixels_top", static_cast<double>(step.topPixels), ""},
            {"pixels_varying_together", step.correlation, ""}};
}

}  // namespace measure
