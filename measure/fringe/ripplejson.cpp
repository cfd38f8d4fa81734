#include "measure/fringe/ripplejson.h"

#include <cmath>

#include "measure/fringe/ripplechecks.h"

namespace measure {

Json ToJson(const Ripple& ripple) {
    RequireRipple(ripple);
    const auto orNull = [&](double value) { return ripple.known ? Json(Rounded(value)) : Json(nullptr); };
    Json harmonics = Json::array(), foreign = Json::array();
    for (std::size_t i = 0; i < ripple.harmonics.size(); ++i)
        harmonics.push_back(
            {{"of_phase", ripple.harmonics[i]}, {"radians", orNull(std::hypot(ripple.sines[i], ripple.cosines[i]))}});
    for (const Ripple::Deviation& deviation : ripple.foreign) foreign.push_back(Rounded(deviation.amplitude));
    return {{"known", ripple.known},
            {"radians", orNull(ripple.amplitude)},
            {"harmonics", harmonics},
            {"foreign_radians", foreign},
            {"periods_in_view", Rounded(ripple.periodsInView)}};
}

std::string SummaryOf(const Ripple& ripple) { return JsonText(ToJson(ripple), -1); }

}  // namespace measure
