#pragma once

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "measure/error.h"

// How the library writes JSON.
namespace measure {

using Json = nlohmann::ordered_json;

// For people and programs that read results: of texts that are not UTF-8 the wrong bytes become U+FFFD.
inline std::string JsonText(const Json& json, int indent = 2) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

// As summaries hold numbers: six digits behind the point.
inline double Rounded(double value) { return std::nearbyint(value * 1e6) / 1e6; }

// The name of a file, by which it shall be found again: so it throws InputError where JSON cannot hold it as it is.
inline std::string NameInJson(const std::filesystem::path& name) try {
    const std::string text = name.generic_string();
    static_cast<void>(Json(text).dump());
    return text;
} catch (const Json::exception&) {
    throw InputError(JsonText(name.string(), -1) + ": a name in a description must be UTF-8");
}

}  // namespace measure
