#include <algorithm>

#include "measure/absolute/finishrows.h"
#include "measure/absolute/preparation.h"
#include "measure/fringequality.h"

namespace measure {
namespace {

constexpr double kManyDoubtfulBits = 0.05;

void AssessSets(DecodeState& state, AxisQuality& quality) {
    for (std::size_t set = 0; set < state.Count(); ++set) {
        const Ripple ripple = set < quality.ripples.size() ? quality.ripples[set] : Ripple{};
        const SineSet& sines = state.axis.sines[set];
        std::vector<std::string> names;
        for (const auto& file : sines.frames) names.push_back(file.filename().string());
        FringePhase& fringes = state.fringes[set];
        fringes.mean = state.means[set].Image();
        quality.sets.push_back(AssessFringes({state.pictures.sines[set], sines.shifts}, fringes, ripple, names));
        fringes.mean.release();
        quality.verdict = std::max(quality.verdict, quality.sets.back().verdict);
    }
    quality.ripples.resize(state.Count());
}

void AssessCode(const DecodeState& state, AxisQuality& quality) {
    if (state.code.margin.empty()) return;
    cv::Mat1b doubtful;
    cv::compare(state.code.margin, kLeastMargin, doubtful, cv::CMP_LT);
    doubtful &= state.usable;
    quality.doubtfulBits = cv::countNonZero(doubtful) / std::max(1.0, static_cast<double>(state.result.usable));
    if (quality.doubtfulBits <= kManyDoubtfulBits) return;
    quality.findings.push_back(
        cv::format("the Gray code is hard to read in %.1f %% of the usable pixels: more light, "
                   "wider cells or inverse pictures help",
                   100 * quality.doubtfulBits));
}

}  // namespace

AxisQuality AssessAxis(const CodedAxis& axis, const AxisPictures& pictures, const DecodeOptions& options,
                       const Progress& progress) {
    AxisQuality quality;
    DecodeState state(axis, pictures, options);
    SolveSets(state, progress);
    quality.usable = state.result.usable / std::max(1.0, static_cast<double>(state.usable.total()));
    try {
        RequireLight(state);
        CheckSets(state, progress);
    } catch (const InputError& error) {
        quality.misfit = error.what();
    } catch (const NothingUsable& error) {
        quality.verdict = FringeVerdict::eLowContrast;
        quality.findings.emplace_back(error.what());
    }
    quality.ripples = state.result.ripples;
    quality.checks = state.result.checks;
    quality.findings.insert(quality.findings.end(), state.result.warnings.begin(), state.result.warnings.end());
    AssessSets(state, quality);
    AssessCode(state, quality);
    if (quality.verdict == FringeVerdict::eGood && !quality.findings.empty())
        quality.verdict = FringeVerdict::eDoubtful;
    return quality;
}

}  // namespace measure
