#include "bench/accuracy/coding.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "measure/absolute.h"
#include "measure/fringe.h"
#include "measure/simulatescan.h"
#include "measure/unwrap.h"

namespace measure::accuracy {
namespace {

constexpr double kLength = 1920;

CodedAxis AxisOf(const Coding& coding, int steps) {
    CodedAxis axis = simulate::SineAxis(kLength, coding.periods, steps);
    if (coding.cell > 0) simulate::AddGrayCode(axis, coding.cell, coding.offset, coding.inverse);
    axis.origin = coding.origin;
    Scan scan;
    scan.columns = axis;
    simulate::NamePictures(scan, coding.cell > 0 && !coding.inverse);
    return *scan.columns;
}

}  // namespace

const std::vector<Coding>& Codings() {
    static const std::vector<Coding> codings = {
        {"one set, period 66.7", {kLength / 28.8}},
        {"one set, period 18", {18}},
        {"two sets, 1 : 16", {kLength / 16, kLength}},
        {"two sets, 16 : 15", {kLength / 16, kLength / 15}},
        {"three sets, 1 : 4 : 16", {kLength / 16, kLength / 4, kLength}},
        {"three sets, 70 : 64 : 59", {kLength / 70, kLength / 64, kLength / 59}},
        {"Gray code, cell of half a period", {48}, 24, 0, true, 13.7},
        {"Gray code shifted by half its cell, a period", {48}, 48, -24, true, 0},
        {"Gray code without inverse pictures", {64}, 32, 0, false, -5.2},
        {"Gray code and beat of 66.7 and 100", {kLength / 28.8, 100}, 100, 0, true, 0},
    };
    return codings;
}

std::string Conditions::Name() const {
    char text[80];
    std::snprintf(text, sizeof text, "%d steps, gamma %.1f, noise %g, %d bit", steps, capture.gamma, capture.noise,
                  capture.bits);
    return text;
}

cv::Mat1d InPeriods(const cv::Mat1f& phase) {
    cv::Mat1d periods;
    phase.convertTo(periods, CV_64F, 0.5 / CV_PI);
    return periods;
}

cv::Mat1d UnwrapOneSet(const std::vector<cv::Mat>& frames, const std::vector<double>& shifts, double fullScale) {
    FringeLimits limits;
    limits.fullScale = fullScale;
    FringePhase phase = SolveFringes({frames, shifts}, limits);
    const Ripple ripple = EstimateRipple(phase);
    CorrectRipple(phase, ripple);
    const cv::Mat1f cost = UnwrapCost(phase.phase, phase.usable, FringeContrast(phase, ripple), phase.modulation);
    return InPeriods(UnwrapByCost(phase.phase, phase.usable, cost).phase);
}

Outcome Run(const simulate::Simulation& simulation, const Coding& coding, const Conditions& conditions) {
    CodedAxis axis = AxisOf(coding, conditions.steps);
    const simulate::Capture& capture = conditions.capture;
    const AxisPictures pictures = RenderAxis(simulation, simulate::Axis::eColumns, axis, capture);
    const simulate::Reference reference = ReferenceOf(simulation, simulate::Axis::eColumns, axis, capture, pictures);
    // Pictures of fewer than 16 bits in 16-bit files need to be told.
    const double fullScale = (1 << capture.bits) - 1;

    Outcome outcome;
    const auto start = std::chrono::steady_clock::now();
    cv::Mat1d periods(simulation.GetTruth().lit.size(), std::nan(""));
    try {
        if (coding.IsAbsolute()) {
            if (axis.gray) axis.origin.reset();
            DecodeOptions options;
            options.limits.fullScale = fullScale;
            const AbsolutePhase result = DecodeAxis(axis, pictures, options);
            result.coordinate.convertTo(periods, CV_64F, 1 / coding.periods[0]);
            outcome.warnings = result.warnings;
        } else {
            periods = UnwrapOneSet(pictures.sines[0], axis.sines[0].shifts, fullScale);
        }
    } catch (const Error& error) {
        outcome.refused = error.what();
    }
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    outcome.judgement =
        Judge(periods, reference, coding.IsAbsolute() ? simulate::Freedom::eNone : simulate::Freedom::ePerArea);
    if (!coding.IsAbsolute()) outcome.rightPerSurface = Judge(periods, reference, simulate::Freedom::ePerSurface).right;
    return outcome;
}

}  // namespace measure::accuracy
