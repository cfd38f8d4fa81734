#include "tools/vorip/commands/qualityreport.h"

#include <cstdio>

#include "tools/vorip/commands/frameinputs.h"
#include "tools/vorip/session/failure.h"

namespace vorip {

VerdictReport InWords(measure::FringeVerdict verdict) {
    switch (verdict) {
        case measure::FringeVerdict::eGood: return {"good", kExitDone};
        case measure::FringeVerdict::eDoubtful: return {"usable, with doubts", kExitDone};
        case measure::FringeVerdict::eNotTogether: return {"the pictures do not belong together", kExitBadInput};
        case measure::FringeVerdict::eLowContrast: return {"low contrast, although there is light", kExitLowContrast};
        default: return {"low contrast because of low intensity", kExitLowIntensity};
    }
}

std::vector<SummaryEntry> SetEntries(const measure::FringeQuality& q, const measure::Ripple& ripple,
                                     std::size_t frames) {
    return {{"verdict", JsonText(InWords(q.verdict).words)},
            {"findings", JsonList(q.findings)},
            {"usable_share", JsonNumber(q.usable)},
            {"saturated_share", JsonNumber(q.saturated)},
            {"mean_share", JsonNumber(q.mean)},
            {"modulation_share", JsonNumber(q.modulation)},
            {"noise", JsonNumber(q.noise)},
            {"phase_noise_radians", JsonNumber(q.phaseNoise)},
            {"ripple", measure::SummaryOf(ripple)},
            {"residual_per_modulation", frames > 3 ? JsonNumber(q.residual) : "null"},
            {"misfit_per_modulation", frames > 3 ? JsonNumber(q.misfit) : "null"}};
}

void PrintSet(const measure::FringeQuality& q, const measure::Ripple& ripple, std::size_t frames) {
    std::printf("  usable      %6.2f %% of the pixels\n", 100 * q.usable);
    std::printf("  saturated   %6.2f %% of the pixels\n", 100 * q.saturated);
    std::printf("  brightness  %6.2f %% of full scale, modulation %.2f %% (medians over the usable pixels)\n",
                100 * q.mean, 100 * q.modulation);
    std::printf("  noise       %6.2f grey levels, %.3f rad in the phase\n", q.noise, q.phaseNoise);
    if (ripple.known)
        std::printf("  ripple      %6.3f rad\n", ripple.amplitude);
    else
        std::printf("  ripple      unknown: %s\n", measure::WhyUnknown(ripple).c_str());
    if (frames > 3)
        std::printf("  residual    %6.2f %% of the modulation, %.2f %% beyond noise and the shape of the fringes\n",
                    100 * q.residual, 100 * q.misfit);
    else
        std::printf("  residual    unknown: four frames are needed\n");
    for (const std::string& finding : q.findings) std::printf("- %s\n", finding.c_str());
}

}  // namespace vorip
