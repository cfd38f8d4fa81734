#include "measure/results.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

namespace measure {
namespace {

std::string NumberText(double value) { return std::isfinite(value) ? cv::format("%.9g", value) : ""; }

}  // namespace

std::string JsonOf(const Quantities& quantities) {
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    for (const Quantity& q : quantities) {
        auto& entry = json[q.name];
        if (std::isfinite(q.value))
            entry["value"] = q.value;
        else
            entry["value"] = nullptr;
        if (!q.unit.empty()) entry["unit"] = q.unit;
    }
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
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
        const std::string value = std::isfinite(q.value) ? cv::format("%.6g", q.value) : "unknown";
        text += "  " + name + std::string(width - name.size(), ' ') + "  " + value +
                (q.unit.empty() ? "" : " " + q.unit) + "\n";
    }
    return text;
}

}  // namespace measure
