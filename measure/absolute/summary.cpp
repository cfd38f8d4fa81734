#include <cmath>

#include "measure/absolute.h"
#include "measure/base/json.h"
#include "measure/fringe/ripplejson.h"

namespace measure {

std::string SummaryOf(const AbsolutePhase& result) {
    const double pixels = std::max(static_cast<double>(result.mask.total()), 1.0);
    Json json;
    json["width"] = result.mask.cols;
    json["height"] = result.mask.rows;
    json["finest_set"] = result.finest;
    json["period"] = Rounded(result.period);
    json["projector_pixels"] = Rounded(result.length);
    json["direction"] = result.direction;
    json["offset_radians"] = Rounded(result.offset);
    json["origin_standard_error"] =
        result.offsetError > 0 ? Json(Rounded(result.offsetError * result.period / (2 * CV_PI))) : Json(nullptr);
    json["orders_known_modulo"] = result.repeat > 0 ? Json(result.repeat) : Json(nullptr);
    if (result.repeat > 0) json["components"] = result.components;
    json["usable_pixels"] = result.usable;
    json["usable_share"] = Rounded(result.usable / pixels);
    json["valid_pixels"] = result.valid;
    json["valid_share"] = Rounded(result.valid / pixels);
    json["corrected_pixels"] = result.corrected;
    json["contradicted_pixels"] = result.contradicted;
    json["contradicted_share"] = Rounded(result.contradicted / std::max(1.0, static_cast<double>(result.usable)));
    json["jumps"] = result.jumps.count;
    json["noise_grey_levels"] = Rounded(result.noise);
    json["ripple"] = Json::array();
    for (const Ripple& ripple : result.ripples) json["ripple"].push_back(ToJson(ripple));
    json["saturated_shares"] = Json::array();
    for (const double share : result.saturated) json["saturated_shares"].push_back(Rounded(share));
    json["residuals_per_modulation"] = Json::array();
    for (const double residual : result.residuals)
        json["residuals_per_modulation"].push_back(residual > 0 ? Json(Rounded(residual)) : Json(nullptr));
    json["checks"] = Json::array();
    for (const DecodeCheck& check : result.checks)
        json["checks"].push_back({{"name", check.name},
                                  {"value", Rounded(check.value)},
                                  {"limit", Rounded(check.limit)},
                                  {"passed", check.passed}});
    json["warnings"] = result.warnings;
    json["notes"] = result.notes;
    return JsonText(json);
}

}  // namespace measure
