#include "measure/results.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

namespace measure {
namespace {

std::string NumberText(double value) { return std::isfinite(value) ? cv::format("%.9g", value) : ""; }

bool IsCount(const Quantity& q) { return q.unit.empty() && q.value == std::round(q.value) && std::abs(q.value) < 1e15; }

}  // namespace

std::string JsonOf(const Quantities& quantities) {
    using Json = nlohmann::ordered_json;
    std::string text;
    for (const Quantity& q : quantities) {
        Json entry;
        entry["value"] = !std::isfinite(q.value) ? Json(nullptr)
                         : IsCount(q)            ? Json(std::llround(q.value))
                                                 : Json(q.value);
        if (!q.unit.empty()) entry["unit"] = q.unit;
        const auto dump = [](const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); };
        text += (text.empty() ? "\n    " : ",\n    ") + dump(Json(q.name)) + ": " + dump(entry);
    }
    return "{" + text + "\n  }";
}

std::string CsvOf(const Quantities& quantities) {
    std::string csv = "quantity,value,unit\n";
    for (const Quantity& q : quantities) csv += q.name + "," + NumberText(q.value) + "," + q.unit + "\n";
    return csv;
}

std::string TextOf(const Quantities& quantities) {
    std::size_t width = 0;
    for (const Quantity& q : quantities) width = std::max(width, q.name.size());
    std::string text;
    for (const Quantity& q : quantities) {
        std::string name = q.name;
        std::replace(name.begin(), name.end(), '_', ' ');
        const std::string value =
            std::isfinite(q.value) ? cv::format(IsCount(q) ? "%.0f" : "%.6g", q.value) : "unknown";
        text += "  " + name + std::string(width - name.size(), ' ') + "  " + value +
                (q.unit.empty() ? "" : " " + q.unit) + "\n";
    }
    return text;
}

}  // namespace measure
