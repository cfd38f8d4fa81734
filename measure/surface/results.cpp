#include "measure/results.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>

#include "measure/base/decimal.h"
#include "measure/base/json.h"

namespace measure {
namespace {

std::string NumberText(double value) { return std::isfinite(value) ? DecimalText(value, 9) : ""; }

bool IsCount(const Quantity& q) { return q.unit.empty() && q.value == std::round(q.value) && std::abs(q.value) < 1e15; }

}  // namespace

std::string JsonOf(const Quantities& quantities) {
    std::string text;
    for (const Quantity& q : quantities) {
        Json entry;
        entry["value"] = !std::isfinite(q.value) ? Json(nullptr)
                         : IsCount(q)            ? Json(std::llround(q.value))
                                                 : Json(q.value);
        if (!q.unit.empty()) entry["unit"] = q.unit;
        text += (text.empty() ? "\n    " : ",\n    ") + JsonText(q.name, -1) + ": " + JsonText(entry, -1);
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
