#include "measure/cloud.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/base/json.h"
#include "measure/base/quantile.h"
#include "measure/error.h"
#include "measure/fringe/rowbands.h"
#include "measure/image.h"
#include "measure/world/conventions.h"
#include "measure/world/depths.h"
#include "measure/world/triangulation.h"

namespace measure {
namespace {

constexpr double kLeastSensitivity = 0.05;  // of the projector's focal length: fringes that run along the baseline
// Shares of the points: below the first one something is wrong, below the second all is, or below the third one when
// the mistake is known.
constexpr double kMostlyPossible = 0.97, kLeastPossible = 0.5, kLeastWithMistake = 0.9;
constexpr double kMostImpossible = 0.005;  // of all points
constexpr double kDoubtfulResidual = 3;    // projector pixels, median
constexpr double kHopelessResidual = 25;
constexpr double kDoubtfulEvenResidual = 0.5;  // exact calibrations leave 0.005, ten pixels of a wrong centre 0.24
constexpr double kBorder = 1;                  // projector pixels that noise may lead out of its picture
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

void CheckSizes(const ProjectorCoordinates& seen, const Calibration& calibration) {
    if (seen.columns.empty() && seen.rows.empty())
        throw InputError("there are no projector coordinates, neither columns nor rows");
    if (!seen.columns.empty()) RequireOneSize({"the columns", seen.columns}, {{"the rows", seen.rows, kOptional}});
    const cv::Size size = seen.columns.empty() ? seen.rows.size() : seen.columns.size(), own = calibration.cameraSize;
    RequireSides("the projector coordinates", size);
    if (!own.empty() && own != size)
        throw InputError(
            cv::format("the pictures have %d x %d pixels, the calibrated camera has %d x %d: were they "
                       "cut or reduced, or is it another camera?",
                       size.width, size.height, own.width, own.height));
}

// Whether depths are found from the rows.
bool ChooseRows(const ProjectorCoordinates& seen, const Calibration& calibration) {
    const double ofColumns = DepthSensitivity(calibration, false), ofRows = DepthSensitivity(calibration, true);
    const bool fromRows = seen.columns.empty() || (!seen.rows.empty() && ofRows > ofColumns);
    const double focal = fromRows ? calibration.projector.fy : calibration.projector.fx;
    if ((fromRows ? ofRows : ofColumns) < kLeastSensitivity * focal)
        throw InputError(std::string("the ") + (fromRows ? "rows" : "columns") +
                         " do not change with the depth, as the baseline of this calibration runs across them: decode "
                         "the other direction, too");
    return fromRows;
}

// How far residuals are from 0 evenly, in parts of the picture, where noise has hardly a share in it: the median of the
// medians of these parts.
double EvenResidualOf(const cv::Mat1f& residual) {
    constexpr int kTile = 32, kStep = 3;
    constexpr std::size_t kFew = 30;
    std::vector<double> medians;
    for (int top = 0; top < residual.rows; top += kTile)
        for (int left = 0; left < residual.cols; left += kTile) {
            const cv::Mat1f tile = residual(cv::Rect(left, top, kTile, kTile) & cv::Rect({}, residual.size()));
            std::vector<float> values;
            for (int y = 0; y < tile.rows; y += kStep)
                for (int x = 0; x < tile.cols; x += kStep)
                    if (std::isfinite(tile(y, x))) values.push_back(tile(y, x));
            if (values.size() >= kFew) medians.push_back(std::abs(static_cast<double>(MedianOf(values))));
        }
    return MedianOf(medians);
}

class CloudMaker {
public:
    CloudMaker(const ProjectorCoordinates& seen, const Calibration& calibration, const CloudOptions& options)
        : mSeen(seen), mCalibration(calibration), mOptions(options) {
        RequirePlausible(calibration);
        CheckSizes(seen, calibration);
        RequireNotNegative("the largest residual", options.maxResidual);
        mResult.isFromRows = ChooseRows(seen, calibration);
        mMain = mResult.isFromRows ? seen.rows : seen.columns;
        mOther = mResult.isFromRows ? seen.columns : seen.rows;
    }

    CloudResult Run(const Progress& progress) {
        progress.Report("checking conventions");
        CheckFit();
        const cv::Size size = mMain.size();
        Cloud& cloud = mResult.cloud;
        for (cv::Mat1f* image : {&cloud.x, &cloud.y, &cloud.z}) image->create(size);
        if (!mOther.empty()) cloud.rowResidual.create(size);
        const KrN::KrLPixelToWorld world = MakePixelToWorld(mCalibration, mResult.isFromRows);
        constexpr int kRows = 256;  // between two reports
        for (int from = 0; from < size.height; from += kRows) {
            progress.Report("computing points", double(from) / size.height);
            cv::parallel_for_({from, std::min(size.height, from + kRows)},
                              [&](const cv::Range& rows) { ComputeRows(world, rows); });
        }
        mResult.outside = mOutside;
        mResult.seen = mSeenPixels;
        mResult.points = cv::countNonZero(cloud.z == cloud.z);
        mResult.dropped = mDropped;
        Finish();
        return std::move(mResult);
    }

private:
    int Length() const {
        return mResult.isFromRows ? mCalibration.projectorSize.height : mCalibration.projectorSize.width;
    }
    const char* Name() const { return mResult.isFromRows ? "rows" : "columns"; }

    // Where the calibration tells no size that could be compared with that of the pictures.
    std::string HintOfSize() const {
        constexpr double kFarOff = 0.2;  // of the size; lenses are centred far better
        const cv::Size size = mMain.size();
        const double cx = mCalibration.camera.cx, cy = mCalibration.camera.cy;
        if (!mCalibration.cameraSize.empty() || (std::abs(cx - 0.5 * (size.width - 1)) <= kFarOff * size.width &&
                                                 std::abs(cy - 0.5 * (size.height - 1)) <= kFarOff * size.height))
            return {};
        return cv::format(
            "the pictures were cut or reduced after the calibration, or are another camera's: its principal point "
            "(%.0f, %.0f) is far from the middle of these of %d x %d; if it is right, say so by camera_size in the "
            "calibration",
            cx, cy, size.width, size.height);
    }

    void CheckFit() {
        const Fit fit = JudgeFit(mSeen, mCalibration, mResult.isFromRows);
        if (cv::countNonZero(mMain == mMain) == 0)
            throw NothingUsable(std::string("no pixel has a value in the projector's ") + Name());
        mResult.medianResidual = fit.residual;
        if (fit.possible >= kMostlyPossible && fit.residual <= kDoubtfulResidual) return;
        std::string text;
        if (fit.possible < kMostlyPossible)
            text = cv::format(
                "%.0f %% of the points are behind the camera or outside the projector's picture (median "
                "depth %.4g mm)",
                100 * (1 - fit.possible), fit.depth);
        if (fit.residual > kDoubtfulResidual)
            text += (text.empty() ? "" : ", and ") +
                    cv::format(
                        "the second direction is %.1f projector pixels (median) from where the first one and "
                        "the calibration expect it",
                        fit.residual);
        std::string likely = LikelyConvention(mSeen, mCalibration, mResult.isFromRows, fit);
        const bool isProved = !likely.empty() && !mOther.empty();  // one direction alone fits to many mistakes
        if (const std::string hint = HintOfSize(); !isProved && !hint.empty()) likely = hint;
        text += likely.empty() ? ": the calibration is that of another set-up, or origin, direction or period of the "
                                 "columns in the scan description are wrong"
                               : ": probably " + likely;
        if (fit.possible < (likely.empty() ? kLeastPossible : kLeastWithMistake) || fit.residual > kHopelessResidual)
            throw InputError(text);
        mResult.warnings.push_back(text);
    }

    // A copy of the class for each band: it holds the band's rays.
    void ComputeRows(KrN::KrLPixelToWorld world, const cv::Range& rows) {
        const int width = mMain.cols, height = rows.size();
        Cloud& c = mResult.cloud;
        cv::Mat1f x = c.x.rowRange(rows), y = c.y.rowRange(rows), z = c.z.rowRange(rows), other;
        cv::Mat1f main = mMain.rowRange(rows).clone();
        const int outside = DropOutside(main);
        Call([&] {
            auto from = ViewOf(std::as_const(main));
            auto toX = ViewOf(x), toY = ViewOf(y), toZ = ViewOf(z);
            world.Prepare({static_cast<short>(width), static_cast<short>(height)}, {0, static_cast<short>(rows.start)});
            world.Execute(&from, nullptr, &toX, &toY, &toZ);
            mImpossible += cv::countNonZero((z <= 0) | (z > mFarthest));
            if (mOther.empty()) return;
            other = c.rowResidual.rowRange(rows);
            auto expected = ViewOf(other);
            world.PredictRow(&from, nullptr, &expected);
        });
        if (!mOther.empty()) mDropped += Compare(mOther.rowRange(rows), other, x, y, z);
        mOutside += outside;
    }

    int DropOutside(cv::Mat1f& main) {
        const double length = Length() > 0 ? Length() : std::numeric_limits<double>::infinity();
        const auto least = static_cast<float>(Length() > 0 ? -0.5 - kBorder : -length);
        const auto greatest = static_cast<float>(length - 0.5 + kBorder);
        int outside = 0, seen = 0;
        for (float& v : main) {
            seen += v == v ? 1 : 0;
            if (v >= least && v <= greatest) continue;
            outside += v == v ? 1 : 0;
            v = kNaN;
        }
        mSeenPixels += seen;
        return outside;
    }

    // From expected to residual; returns how many points were dropped.
    int Compare(const cv::Mat1f& seen, cv::Mat1f& residual, cv::Mat1f& x, cv::Mat1f& y, cv::Mat1f& z) const {
        const auto limit = static_cast<float>(mOptions.maxResidual);
        int dropped = 0;
        for (int row = 0; row < seen.rows; ++row)
            for (int i = 0; i < seen.cols; ++i) {
                float& r = residual(row, i);
                r = seen(row, i) - r;
                if (!(limit > 0) || std::isnan(z(row, i)) || std::abs(r) <= limit) continue;
                x(row, i) = y(row, i) = z(row, i) = r = kNaN;
                ++dropped;
            }
        return dropped;
    }

    void Finish() {
        if (mResult.points == 0) throw NothingUsable("no point remains");
        if (const std::string hint = HintOfSize(); mResult.warnings.empty() && !hint.empty())
            mResult.warnings.push_back("probably " + hint);
        const double impossible = mImpossible / static_cast<double>(mResult.seen);
        if (impossible > kMostImpossible && mResult.warnings.empty())
            mResult.warnings.push_back(cv::format(
                "%.1f %% of the points are behind the camera or farther than %d times the distance of camera and "
                "projector: the calibration is that of another set-up or of pictures of another size, or origin or "
                "period of the %s in the scan description are wrong",
                100 * impossible, kFarthestBaselines, Name()));
        if (!mOther.empty()) mResult.evenResidual = EvenResidualOf(mResult.cloud.rowResidual);
        if (mResult.evenResidual > kDoubtfulEvenResidual && mResult.warnings.empty())
            mResult.warnings.push_back(cv::format(
                "the second direction lies %.2f projector pixels beside where the first one and the calibration expect "
                "it, evenly in large parts of the picture: camera and projector do not stand as they were calibrated",
                mResult.evenResidual));
        const double share = double(mResult.outside) / mResult.seen;
        if (share > 0.01)
            mResult.warnings.push_back(cv::format(
                "%.1f %% of the %s lie outside the projector's picture of %d and were dropped: is the period "
                "or the origin in the scan description wrong?",
                100 * share, Name(), Length()));
    }

    const ProjectorCoordinates& mSeen;
    const Calibration& mCalibration;
    const CloudOptions& mOptions;
    CloudResult mResult;
    cv::Mat1f mMain, mOther;
    double mFarthest = FarthestDepth(mCalibration);
    std::atomic<int> mOutside{0}, mDropped{0}, mSeenPixels{0}, mImpossible{0};
};

}  // namespace

cv::Mat1f CoordinatesOf(const cv::Mat1f& phase, double period, double origin, int direction) {
    if (!(period > 0) || !std::isfinite(period) || !std::isfinite(origin))
        throw InputError("the period must be above 0 projector pixels, the origin a number");
    if (direction != 1 && direction != -1) throw InputError("the direction must be 1 or -1");
    RequireOneSize({"the phase", phase});
    cv::Mat1f coordinates;
    phase.convertTo(coordinates, CV_32F, direction * period / (2 * CV_PI), origin);
    return coordinates;
}

CloudResult MakeCloud(const ProjectorCoordinates& seen, const Calibration& calibration, const CloudOptions& options,
                      const Progress& progress) {
    return CloudMaker(seen, calibration, options).Run(progress);
}

cv::Mat1f PredictDepthNoise(const ProjectorCoordinates& seen, const cv::Mat1f& noise, const Calibration& calibration,
                            const Progress& progress) {
    RequirePlausible(calibration);
    CheckSizes(seen, calibration);
    const bool fromRows = ChooseRows(seen, calibration);
    const cv::Mat1f& main = fromRows ? seen.rows : seen.columns;
    RequireOneSize({"the coordinates", main}, {{"the noise", noise}});
    cv::Mat1f result(main.size());
    const KrN::KrLPixelToWorld whole = MakePixelToWorld(calibration, fromRows);
    ForRowBands(main.size(), progress, "predicting the noise of depths", [&](const cv::Range& rows) {
        KrN::KrLPixelToWorld world = whole;  // it holds the band's rays
        const cv::Mat1f seenBand = main.rowRange(rows), noiseBand = noise.rowRange(rows);
        cv::Mat1f band = result.rowRange(rows);
        Call([&] {
            const auto from = ViewOf(seenBand), deviations = ViewOf(noiseBand);
            auto to = ViewOf(band);
            world.Prepare({static_cast<short>(main.cols), static_cast<short>(rows.size())},
                          {0, static_cast<short>(rows.start)});
            world.PredictNoise(&from, &deviations, nullptr, &to);
        });
    });
    return result;
}

std::string SummaryOf(const CloudResult& result) {
    const Cloud& cloud = result.cloud;
    RequireCloud(cloud);
    const cv::Mat valid = cloud.z == cloud.z;
    Json json;
    json["width"] = cloud.z.cols;
    json["height"] = cloud.z.rows;
    json["unit"] = "mm";
    json["points"] = result.points;
    json["valid_share"] = Rounded(result.points / std::max(1.0, static_cast<double>(cloud.z.total())));
    json["depths_from"] = result.isFromRows ? "rows" : "columns";
    json["outside_projector"] = result.outside;
    for (const auto& [name, image] : {std::pair{"x", &cloud.x}, {"y", &cloud.y}, {"z", &cloud.z}}) {
        double least = 0, greatest = 0;
        if (result.points > 0) cv::minMaxLoc(*image, &least, &greatest, nullptr, nullptr, valid);
        json[name] = {{"least", Rounded(least)}, {"greatest", Rounded(greatest)}};
    }
    json["median_residual_pixels"] = cloud.rowResidual.empty() ? Json(nullptr) : Json(Rounded(result.medianResidual));
    json["even_residual_pixels"] = cloud.rowResidual.empty() ? Json(nullptr) : Json(Rounded(result.evenResidual));
    json["dropped_by_residual"] = result.dropped;
    json["warnings"] = result.warnings;
    return JsonText(json);
}

}  // namespace measure
