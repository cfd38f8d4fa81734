#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vorip {

// An entry of a summary in JSON; the value is JSON text.
using SummaryEntry = std::pair<std::string, std::string>;

std::string JsonText(const std::string& text);
std::string JsonList(const std::vector<std::string>& texts);
std::string JsonNumber(double value);
inline std::string JsonTruth(bool value) { return value ? "true" : "false"; }

// A file with one entry per line.
std::string JsonObject(const std::vector<SummaryEntry>& entries);

}  // namespace vorip
