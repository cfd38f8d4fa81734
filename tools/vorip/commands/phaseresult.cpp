#include "tools/vorip/commands/phaseresult.h"

#include "tools/vorip/pictures/steprows.h"

namespace vorip {
namespace {

cv::Mat ToBytes(const cv::Mat1f& values, double scale) {
    cv::Mat bytes;
    values.convertTo(bytes, CV_8U, scale);
    return bytes;
}

std::vector<SummaryEntry> Summary(const FrameInput& input, const measure::FringePhase& phase,
                                  const measure::Ripple& ripple, bool corrected,
                                  const measure::FringeQuality& quality) {
    std::string shifts;
    for (const double shift : phase.shifts) shifts += (shifts.empty() ? "" : ", ") + JsonNumber(shift * 180.0 / CV_PI);
    return {{"frames", JsonList(input.names)},
            {"shifts_degrees", "[" + shifts + "]"},
            {"width", std::to_string(phase.phase.cols)},
            {"height", std::to_string(phase.phase.rows)},
            {"full_scale", JsonNumber(phase.limits.fullScale)},
            {"usable_share", JsonNumber(quality.usable)},
            {"saturated_share", JsonNumber(quality.saturated)},
            {"modulation_share", JsonNumber(quality.modulation)},
            {"noise", JsonNumber(quality.noise)},
            {"residual_per_modulation", phase.residual.empty() ? "null" : JsonNumber(quality.residual)},
            {"misfit_per_modulation", phase.residual.empty() ? "null" : JsonNumber(quality.misfit)},
            {"ripple", measure::SummaryOf(ripple)},
            {"ripple_corrected", JsonTruth(corrected)}};
}

std::string ReportOf(const PhaseResult& result, std::size_t frames, const measure::Ripple& ripple, bool corrected) {
    const cv::Mat1b& usable = result.phase.usable;
    const std::string about = ripple.known
                                  ? cv::format("ripple %.3f rad%s", ripple.amplitude, corrected ? ", corrected" : "")
                                  : "ripple unknown (" + measure::WhyUnknown(ripple) + ")";
    return cv::format("phase: %zu frames of %d x %d pixels, %.1f %% usable, %s\n", frames, usable.cols, usable.rows,
                      100.0 * result.quality.usable, about.c_str());
}

}  // namespace

PhaseResult SolvePhase(const PhaseOptions& options, OutputSet& outputs, Progress& line) {
    line.Stage("reading");
    const FrameInput input = ReadFrames(options.frames);
    const measure::Progress progress = line.Watch();
    PhaseResult result;
    result.phase = measure::SolveFringes(input.set, input.limits, progress);
    const measure::Ripple ripple = measure::EstimateRipple(result.phase, progress);
    const bool corrected = options.ripple == "auto" && ripple.IsWorthCorrecting();
    if (corrected) measure::CorrectRipple(result.phase, ripple, progress);
    result.contrast = measure::FringeContrast(result.phase, corrected ? ripple : measure::Ripple());
    // These are written while the others are computed.
    outputs.AddImage("modulation.png", ToBytes(result.phase.modulation, 2.0 * 255.0 / result.phase.limits.fullScale));
    outputs.AddImage("contrast.png", ToBytes(result.contrast, 255.0));
    outputs.AddImage("mask.png", result.phase.usable);
    measure::Ripple said = ripple;
    said.known = false;  // the report speaks of it
    result.quality = measure::AssessFringes(input.set, result.phase, said, input.names);
    line.Stage("writing");
    const PhaseSteps images = ToSteps(result.phase.phase);
    outputs.AddImage("phase16.png", images.fine);
    outputs.AddImage("phase.png", images.steps);
    result.entries = Summary(input, result.phase, ripple, corrected, result.quality);
    result.report = ReportOf(result, input.set.frames.size(), ripple, corrected);
    return result;
}

}  // namespace vorip
