#include "bench/accuracy/capture.h"

#include <chrono>
#include <cmath>

#include "bench/accuracy/coding.h"
#include "measure/absolute.h"
#include "measure/fringe.h"
#include "measure/io.h"

namespace measure::accuracy {
namespace {

simulate::Reference ReadReference(const std::string& folder) {
    const cv::Mat wrapped = ReadPicture(folder + "/wrapped16.png"), order = ReadPicture(folder + "/ref_order.png");
    simulate::Reference reference{
        cv::Mat1d(wrapped.size(), std::nan("")), cv::Mat1b(wrapped.size(), 0), cv::Mat1b(wrapped.size(), 255), {}};
    for (int y = 0; y < wrapped.rows; ++y)
        for (int x = 0; x < wrapped.cols; ++x) {
            const int v = wrapped.at<std::uint16_t>(y, x);
            const int k = order.depth() == CV_8U ? order.at<unsigned char>(y, x) : order.at<std::uint16_t>(y, x);
            if (v == 0 || k == 0) continue;
            reference.periods(y, x) = (v - 1) / 65534.0 - 0.5 + (k - 10);
            reference.counted(y, x) = 255;
        }
    return reference;
}

std::vector<cv::Mat> ReadAll(const std::vector<std::filesystem::path>& files) {
    std::vector<cv::Mat> pictures;
    for (const std::filesystem::path& file : files) pictures.push_back(ReadPicture(file.string()));
    return pictures;
}

AxisPictures ReadAxis(const CodedAxis& axis) {
    AxisPictures pictures;
    for (const SineSet& set : axis.sines) pictures.sines.push_back(ReadAll(set.frames));
    if (axis.gray) {
        pictures.gray = ReadAll(axis.gray->frames);
        pictures.inverse = ReadAll(axis.gray->inverse);
    }
    if (!axis.white.empty()) pictures.white = ReadPicture(axis.white.string());
    if (!axis.black.empty()) pictures.black = ReadPicture(axis.black.string());
    return pictures;
}

// Whether the reference runs on without a step, as it does not at the edge of an object.
bool IsContinuous(const cv::Mat1d& window) {
    constexpr double kStep = 0.3;  // periods
    for (int y = 0; y < window.rows; ++y)
        for (int x = 0; x < window.cols; ++x)
            if ((x > 0 && std::abs(window(y, x) - window(y, x - 1)) > kStep) ||
                (y > 0 && std::abs(window(y, x) - window(y - 1, x)) > kStep))
                return false;
    return true;
}

// The root mean square deviation of a phase from quadrics that are fitted over 31 x 31 pixels around every fifteenth
// pixel, radians. Windows count that lie within the reference and on one surface.
double DeviationFromQuadrics(const cv::Mat1d& periods, const simulate::Reference& reference) {
    constexpr int kReach = 15, kTerms = 6;
    double squares = 0;
    long pixels = 0;
    for (int cy = kReach; cy + kReach < periods.rows; cy += kReach)
        for (int cx = kReach; cx + kReach < periods.cols; cx += kReach) {
            const cv::Rect window(cx - kReach, cy - kReach, 2 * kReach + 1, 2 * kReach + 1);
            const cv::Mat1d values = periods(window);
            if (cv::countNonZero(reference.counted(window)) < window.area() || !cv::checkRange(values) ||
                !IsContinuous(reference.periods(window)))
                continue;
            cv::Mat1d terms(window.area(), kTerms), wanted(window.area(), 1), solution;
            for (int i = 0; i < window.area(); ++i) {
                const double x = (i % window.width) / double(kReach) - 1, y = (i / window.width) / double(kReach) - 1;
                const double row[kTerms] = {1, x, y, x * x, x * y, y * y};
                std::copy_n(row, kTerms, terms[i]);
                wanted(i, 0) = 2 * CV_PI * values(i / window.width, i % window.width);
            }
            cv::solve(terms, wanted, solution, cv::DECOMP_NORMAL | cv::DECOMP_CHOLESKY);
            const cv::Mat1d left(wanted - terms * solution);
            squares += left.dot(left);
            pixels += window.area();
        }
    return pixels > 0 ? std::sqrt(squares / static_cast<double>(pixels)) : std::nan("");
}

CaptureOutcome Tell(const std::string& folder, const std::string& name, const cv::Mat1d& periods,
                    const simulate::Judgement& judgement, double seconds, const simulate::Reference& reference) {
    char text[240];
    std::snprintf(text, sizeof text, "| %s | %s | %.3f | %.3f | %.3f | %.0f ms |", folder.c_str(), name.c_str(),
                  100 * judgement.right, 100 * judgement.valid, DeviationFromQuadrics(periods, reference),
                  1000 * seconds);
    return {name, text, judgement.picture};
}

}  // namespace

CaptureRipple JudgeRipple(const std::string& folder) {
    const simulate::Reference reference = ReadReference(folder);
    const Scan scan = ReadScan(folder + "/scan.json");
    if (!scan.columns) throw InputError(folder + "/scan.json: no columns");
    const SineSet& set = scan.columns->sines[0];
    FringeLimits limits;
    limits.fullScale = scan.fullScale;
    FringePhase phase = SolveFringes({ReadAll(set.frames), set.shifts}, limits);
    // With the orders of the reference, so that the phase alone is judged.
    const auto deviation = [&] {
        cv::Mat1d periods = InPeriods(phase.phase);
        for (int y = 0; y < periods.rows; ++y)
            for (int x = 0; x < periods.cols; ++x)
                periods(y, x) += std::nearbyint(reference.periods(y, x) - periods(y, x));
        return DeviationFromQuadrics(periods, reference);
    };
    CaptureRipple ripple{deviation(), 0};
    CorrectRipple(phase, EstimateRipple(phase));
    ripple.after = deviation();
    return ripple;
}

std::vector<CaptureOutcome> JudgeCapture(const std::string& folder) {
    const simulate::Reference reference = ReadReference(folder);
    const Scan scan = ReadScan(folder + "/scan.json");
    if (!scan.columns) throw InputError(folder + "/scan.json: no columns");
    const CodedAxis& axis = *scan.columns;
    const AxisPictures pictures = ReadAxis(axis);

    using Clock = std::chrono::steady_clock;
    Clock::time_point start = Clock::now();
    const auto lap = [&] {
        const Clock::time_point now = Clock::now();
        const double seconds = std::chrono::duration<double>(now - start).count();
        start = now;
        return seconds;
    };
    const cv::Mat1d alone = UnwrapOneSet(pictures.sines[0], axis.sines[0].shifts, scan.fullScale);
    const double aloneSeconds = lap();
    const AbsolutePhase whole = DecodeAxis(axis, pictures);
    const double wholeSeconds = lap();
    const cv::Mat1d periods = InPeriods(whole.phase);

    std::vector<CaptureOutcome> outcomes;
    outcomes.push_back(
        Tell(folder, "one set", alone, Judge(alone, reference, simulate::Freedom::ePerArea), aloneSeconds, reference));
    outcomes.push_back(Tell(folder, "everything", periods,
                            Judge(periods, reference, simulate::Freedom::eNone, whole.repeat), wholeSeconds,
                            reference));
    for (const std::string& warning : whole.warnings) outcomes.back().text += "\n    warning: " + warning;
    return outcomes;
}

}  // namespace measure::accuracy
