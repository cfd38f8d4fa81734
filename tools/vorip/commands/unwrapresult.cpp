#include "tools/vorip/commands/unwrapresult.h"

#include <imagemodel/krvalues.h>
#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>

#include "tools/vorip/pictures/phasepicture.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

std::string Join(const std::vector<std::string>& parts, const char* separator) {
    std::string text;
    for (const std::string& part : parts) text += (text.empty() ? "" : separator) + part;
    return text;
}

std::string ComponentList(const std::vector<long>& pixels) {
    std::vector<std::string> list;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        list.push_back(cv::format("    {\"component\": %zu, \"pixels\": %ld}", i + 1, pixels[i]));
    }
    return list.empty() ? "[]" : "[\n" + Join(list, ",\n") + "\n  ]";
}

std::string Summary(const UnwrapResult& result, const ComponentTable& components, std::vector<SummaryEntry> entries,
                    double seconds) {
    const int valid = cv::countNonZero(result.valid);
    const double share = static_cast<double>(valid) / static_cast<double>(result.valid.total());
    entries.emplace_back("width", std::to_string(result.valid.cols));
    entries.emplace_back("height", std::to_string(result.valid.rows));
    entries.emplace_back("valid_pixels", std::to_string(valid));
    entries.emplace_back("valid_share", cv::format("%.6f", share));
    entries.emplace_back("range_periods",
                         cv::format("{\"min\": %.6f, \"max\": %.6f}", result.lowerPeriods, result.upperPeriods));
    entries.emplace_back("seconds", cv::format("%.3f", seconds));
    entries.emplace_back("component_count", std::to_string(components.pixels.size()));
    entries.emplace_back("components", ComponentList(components.pixels));
    std::vector<std::string> lines;
    lines.reserve(entries.size());
    for (const auto& [key, value] : entries) lines.push_back("  " + JsonText(key) + ": " + value);
    return "{\n" + Join(lines, ",\n") + "\n}\n";
}

}  // namespace

std::string JsonText(const std::string& text) {
    std::string json = "\"";
    for (const char c : KrN::KrString(text.c_str()).ToUtf8()) {  // which makes UTF-8 of names that are not
        if (c == '"' || c == '\\') json += '\\';
        if (static_cast<unsigned char>(c) < 0x20) {
            json += cv::format("\\u%04x", static_cast<unsigned>(c));
        } else {
            json += c;
        }
    }
    return json + '"';
}

ComponentTable SortComponents(const cv::Mat& components) {
    double last = 0;
    cv::minMaxLoc(components, nullptr, &last);
    std::vector<long> pixels(static_cast<std::size_t>(std::max(last, 0.0)) + 1);
    for (int y = 0; y < components.rows; ++y) {
        const auto* row = components.ptr<std::int32_t>(y);
        for (int x = 0; x < components.cols; ++x) ++pixels[static_cast<std::size_t>(std::max(row[x], 0))];
    }
    pixels[0] = 0;
    std::vector<std::size_t> order(pixels.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](auto a, auto b) { return pixels[a] > pixels[b]; });

    ComponentTable table{cv::Mat(components.size(), CV_16U), {}};
    std::vector<std::uint16_t> number(pixels.size());
    for (const std::size_t i : order) {
        if (pixels[i] == 0) break;
        table.pixels.push_back(pixels[i]);
        number[i] = static_cast<std::uint16_t>(std::min<std::size_t>(table.pixels.size(), 65535));
    }
    for (int y = 0; y < components.rows; ++y) {
        const auto* row = components.ptr<std::int32_t>(y);
        auto* out = table.picture.ptr<std::uint16_t>(y);
        for (int x = 0; x < components.cols; ++x) out[x] = number[static_cast<std::size_t>(std::max(row[x], 0))];
    }
    return table;
}

std::string WriteUnwrapResult(OutputSet& outputs, const UnwrapResult& result, const std::vector<SummaryEntry>& entries,
                              double seconds) {
    const ComponentTable components = SortComponents(result.components);
    outputs.AddImage("unwrapped16.png", result.steps16);
    outputs.AddImage("unwrapped.tiff", result.radians);
    outputs.AddImage("unwrapped.npy", result.radians);
    outputs.AddImage("unwrapped_mask.png", result.valid);
    outputs.AddImage("components.png", components.picture);
    outputs.AddImage("unwrapped_picture.png", DrawPhasePicture(result.radians));
    outputs.AddText("summary.json", Summary(result, components, entries, seconds));

    const double share =
        static_cast<double>(cv::countNonZero(result.valid)) / static_cast<double>(result.valid.total());
    const std::size_t count = components.pixels.size();
    std::string report =
        cv::format("unwrap: %d x %d pixels, %.1f %% valid, %zu component%s, %.2f to %.2f periods, %.2f s",
                   result.valid.cols, result.valid.rows, 100.0 * share, count, count == 1 ? "" : "s",
                   result.lowerPeriods, result.upperPeriods, seconds);
    if (count == 0) report += "\nnothing was unwrapped: the mask excludes everything, or all components are too small";
    if (result.upperPeriods - result.lowerPeriods >= 256) {
        report += "\nunwrapped16.png ends 255.99 periods above the least phase; the other files hold all of them";
    }
    return report;
}

UnwrapResult::UnwrapResult(const UnwrappedSteps& unwrapped, const cv::Mat& residual,
                           const std::optional<Pair<int>>& zero)
    : steps16(unwrapped.steps.size(), CV_16U, cv::Scalar(0)),
      radians(unwrapped.steps.size(), CV_32F, cv::Scalar(std::numeric_limits<double>::quiet_NaN())),
      valid(unwrapped.valid),
      components(unwrapped.components) {
    std::int32_t origin = 0;
    double residualOrigin = 0;
    if (zero) {
        if (!valid.at<std::uint8_t>(zero->second, zero->first)) {
            Refuse(cv::format("--zero=%d,%d: that pixel is excluded, it has no unwrapped phase", zero->first,
                              zero->second));
        }
        origin = unwrapped.steps.at<std::int32_t>(zero->second, zero->first);
        if (!residual.empty()) residualOrigin = static_cast<double>(residual.at<float>(zero->second, zero->first));
    }
    double lowest = 0, highest = 0;
    if (cv::countNonZero(valid) > 0) cv::minMaxLoc(unwrapped.steps, &lowest, &highest, nullptr, nullptr, valid);
    lowerPeriods = (lowest - origin) / 256.0;
    upperPeriods = (highest - origin) / 256.0;

    const auto least = static_cast<std::int32_t>(lowest);
    constexpr double perStep = KrN::KrMath::TwoPi / 256.0;
    for (int y = 0; y < valid.rows; ++y) {
        const auto* steps = unwrapped.steps.ptr<std::int32_t>(y);
        const auto* rest = residual.empty() ? nullptr : residual.ptr<float>(y);
        for (int x = 0; x < valid.cols; ++x) {
            if (!valid.at<std::uint8_t>(y, x)) continue;
            steps16.at<std::uint16_t>(y, x) = static_cast<std::uint16_t>(std::min(steps[x] - least, 65535));
            const double fine = rest ? static_cast<double>(rest[x]) - residualOrigin : 0.0;
            radians.at<float>(y, x) = static_cast<float>((steps[x] - origin) * perStep + fine);
        }
    }
}

}  // namespace vorip
