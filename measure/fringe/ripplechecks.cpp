#include "measure/fringe/ripplechecks.h"

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/fringe/harmonics.h"

namespace measure {

void RequireRipple(const Ripple& ripple) {
    for (const auto* list : {&ripple.sines, &ripple.cosines}) {
        RequireOneLength("the amplitudes of a ripple", list->size(), "its harmonics", ripple.harmonics.size());
        for (const double amplitude : *list) RequireFinite("an amplitude of the ripple", amplitude);
    }
}

void RequireRippleOf(const Ripple& ripple, const std::vector<double>& shifts) {
    RequireRipple(ripple);
    if (ripple.IsWorthCorrecting() && ripple.harmonics != HarmonicsOf(shifts))
        throw InputError("the ripple was estimated on fringes with other phase shifts");
}

}  // namespace measure
