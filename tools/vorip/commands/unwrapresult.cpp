#include "tools/vorip/commands/unwrapresult.h"

#include <algorithm>

#include "measure/picture.h"
#include "tools/vorip/pictures/phasepicture.h"
#include "tools/vorip/pictures/steprows.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

constexpr double kTwoPi = 2 * CV_PI;

std::string ComponentList(const std::vector<int>& pixels) {
    std::string list;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        list += list.empty() ? "" : ",\n";
        list += cv::format("    {\"component\": %zu, \"pixels\": %d}", i + 1, pixels[i]);
    }
    return list.empty() ? "[]" : "[\n" + list + "\n  ]";
}

struct Range {
    double lower = 0, upper = 0;  // periods
};

Range FindRange(const measure::Unwrapped& unwrapped) {
    if (unwrapped.pixels.empty()) return {};
    double lower = 0, upper = 0;
    cv::minMaxLoc(unwrapped.phase, &lower, &upper, nullptr, nullptr, unwrapped.components > 0);
    return {lower / kTwoPi, upper / kTwoPi};
}

}  // namespace

void SetZero(measure::Unwrapped& unwrapped, const std::optional<Pair<int>>& zero) {
    if (!zero) return;
    const cv::Point point(zero->first, zero->second);
    if (unwrapped.components(point) == 0)
        Refuse(cv::format("--zero=%d,%d: that pixel is excluded, it has no unwrapped phase", point.x, point.y));
    const float origin = unwrapped.phase(point);
    unwrapped.phase -= origin;
}

UnwrapReport AddUnwrapResult(OutputSet& outputs, const measure::Unwrapped& unwrapped, const measure::Jumps& jumps,
                             double seconds) {
    const Range range = FindRange(unwrapped);
    const UnwrappedSteps images = ToSteps(unwrapped.phase, unwrapped.components, range.lower);
    const int valid = cv::countNonZero(images.valid);
    const double share = static_cast<double>(valid) / static_cast<double>(images.valid.total());
    const std::size_t count = unwrapped.pixels.size();
    UnwrapReport report;
    report.entries = {{"width", std::to_string(images.valid.cols)},
                      {"height", std::to_string(images.valid.rows)},
                      {"valid_pixels", std::to_string(valid)},
                      {"valid_share", cv::format("%.6f", share)},
                      {"jumps", std::to_string(jumps.count)},
                      {"range_periods", cv::format("{\"min\": %.6f, \"max\": %.6f}", range.lower, range.upper)},
                      {"seconds", cv::format("%.3f", seconds)},
                      {"component_count", std::to_string(count)},
                      {"components", ComponentList(unwrapped.pixels)}};
    outputs.AddImage("unwrapped16.png", images.steps);
    outputs.AddImage("unwrapped.tiff", unwrapped.phase);
    outputs.AddImage("unwrapped.npy", unwrapped.phase);
    outputs.AddImage("unwrapped_mask.png", images.valid);
    outputs.AddImage("components.png", images.components);
    measure::PictureStyle style;
    style.title = count > 1 ? "components: whole periods between them are unknown" : "components";
    style.step = DrawnStep(unwrapped.components.size());
    outputs.AddImage("components_picture.png", measure::DrawComponents(unwrapped.components, style));
    cv::Mat1b first;
    cv::compare(unwrapped.components, 1, first, cv::CMP_EQ);
    outputs.AddImage("unwrapped_picture.png",
                     DrawPhase(unwrapped.phase, {"unwrapped phase", unwrapped.components, jumps.where, first,
                                                 "component 1, its plane removed"}));
    report.text = cv::format("unwrap: %d x %d pixels, %.1f %% valid, %zu component%s, %.2f to %.2f periods, %.2f s",
                             images.valid.cols, images.valid.rows, 100.0 * share, count, count == 1 ? "" : "s",
                             range.lower, range.upper, seconds);
    if (count == 0)
        report.text += "\nnothing was unwrapped: the mask excludes everything, or all components are too small";
    if (range.upper - range.lower >= 256)
        report.text += "\nunwrapped16.png ends 255.99 periods above the least phase; the other files hold all of them";
    return report;
}

std::string JumpWarning(const measure::Jumps& jumps, const std::string& name) {
    if (jumps.count == 0) return {};
    return cv::format(
        "jumps of more than half a period between neighbouring pixels: %d, magenta in %s_picture.png; "
        "wrong orders, or steps of the surface",
        jumps.count, name.c_str());
}

std::string JumpWarning(const measure::Jumps& jumps, const measure::Unwrapped& unwrapped) {
    constexpr std::size_t kMostNamed = 3;
    if (jumps.count == 0) return {};
    const std::vector<int> areas = measure::FindCutOffAreas(unwrapped, jumps);
    std::string sizes;
    for (std::size_t i = 0; i < std::min(areas.size(), kMostNamed); ++i)
        sizes += (i > 0 ? ", " : "") + std::to_string(areas[i]);
    const std::string text = JumpWarning(jumps, "unwrapped");
    if (areas.empty()) return text;
    return text + cv::format("; they cut off %zu area%s (%s%s pixels), whose orders against the rest are unknown",
                             areas.size(), areas.size() == 1 ? "" : "s", sizes.c_str(),
                             areas.size() > kMostNamed ? ", ..." : "");
}

}  // namespace vorip
