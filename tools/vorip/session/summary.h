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

// The entries of a JSON object.
std::vector<SummaryEntry> EntriesOf(const std::string& json);

// An object with one entry per line, as a file, and one on a single line, as a value.
std::string JsonObject(const std::vector<SummaryEntry>& entries);
std::string JsonValue(const std::vector<SummaryEntry>& entries);

// The summary of a command: "schema" (the version of all summaries), "command", and the entries.
std::string SummaryOf(const std::string& command, const std::vector<SummaryEntry>& entries);

}  // namespace vorip
