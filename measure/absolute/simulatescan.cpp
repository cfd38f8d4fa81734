#include "measure/simulatescan.h"

#include <algorithm>
#include <cmath>

namespace measure::simulate {
namespace {

double Degrees(double radians) { return radians * 180 / CV_PI; }

// Unsaturated in all frames, with the light that the noise asks for.
cv::Mat1b FindMeasurable(const Simulation& simulation, Axis axis, const CodedAxis& coding, const Capture& capture,
                         const AxisPictures& pictures) {
    constexpr double kSaturation = 0.995, kRounding = 0.3;
    const Truth& truth = simulation.GetTruth();
    cv::Mat1b good = truth.lit.clone();
    good.setTo(0, truth.mixed);
    const double full = std::ldexp(1.0, capture.bits) - 1;
    const double noise = std::max(capture.noise, capture.bits == 8 ? kRounding : 0.0);
    for (std::size_t set = 0; set < coding.sines.size(); ++set) {
        for (const cv::Mat& frame : pictures.sines[set]) good.setTo(0, frame >= kSaturation * full);
        const Pattern sine = Sine(coding.sines[set].period, 0, axis);
        good.setTo(0, simulation.Modulation(sine, capture) < 5 * noise);
    }
    return good;
}

}  // namespace

AxisPictures RenderAxis(const Simulation& simulation, Axis axis, const CodedAxis& coding, const Capture& capture) {
    AxisPictures pictures;
    int number = axis == Axis::eRows ? 1000 : 0;
    const auto render = [&](const Pattern& pattern) { return simulation.Render(pattern, capture, number++); };
    for (const SineSet& set : coding.sines) {
        pictures.sines.emplace_back();
        for (const double shift : set.shifts)
            pictures.sines.back().push_back(
                render(Sine(set.period, Degrees(shift), axis, coding.origin.value_or(0), coding.direction)));
    }
    if (coding.gray) {
        const GrayCode& gray = *coding.gray;
        const auto bits = static_cast<int>(gray.frames.size());
        for (int bit = 0; bit < bits; ++bit) {
            pictures.gray.push_back(render(GrayBit(bit, bits, gray.cell, gray.offset, false, axis)));
            if (!gray.inverse.empty())
                pictures.inverse.push_back(render(GrayBit(bit, bits, gray.cell, gray.offset, true, axis)));
        }
    }
    if (!coding.white.empty()) pictures.white = render(White());
    if (!coding.black.empty()) pictures.black = render(Black());
    return pictures;
}

Judgement Judge(const AbsolutePhase& result, const Simulation& simulation, Axis axis, const CodedAxis& coding,
                const Capture& capture, const AxisPictures& pictures) {
    const Truth& truth = simulation.GetTruth();
    const cv::Mat1d& position = axis == Axis::eColumns ? truth.column : truth.row;
    const cv::Mat1b measurable = FindMeasurable(simulation, axis, coding, capture, pictures);
    const double repeat = result.repeat * result.period;
    double all = 0, stray = 0, right = 0, squares = 0, valid = 0;
    Judgement judgement;
    for (int y = 0; y < position.rows; ++y)
        for (int x = 0; x < position.cols; ++x) {
            const bool isValid = result.mask(y, x) != 0;
            valid += isValid && measurable(y, x);
            all += isValid;
            if (!isValid) continue;
            if (!truth.lit(y, x)) stray += !truth.mixed(y, x);
            if (!truth.lit(y, x) || truth.mixed(y, x)) continue;
            ++judgement.judged;
            double error = static_cast<double>(result.coordinate(y, x)) - position(y, x);
            if (repeat > 0) error -= repeat * std::nearbyint(error / repeat);
            if (std::abs(error) >= result.period / 2) continue;
            right += 1;
            squares += error * error;
        }
    judgement.right = right / std::max(judgement.judged, 1);
    judgement.valid = valid / std::max(cv::countNonZero(measurable), 1);
    judgement.stray = stray / std::max(all, 1.0);
    judgement.rms = std::sqrt(squares / std::max(right, 1.0));
    return judgement;
}

}  // namespace measure::simulate
