#include "tools/vorip/session/summary.h"

#include <imagemodel/krstring.h>
#include <cmath>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

namespace vorip {

std::string JsonText(const std::string& text) {
    std::string json = "\"";
    for (const char c : KrN::KrString(text.c_str()).ToUtf8()) {  // which makes UTF-8 of names that are not
        if (c == '"' || c == '\\') json += '\\';
        if (static_cast<unsigned char>(c) < 0x20)
            json += cv::format("\\u%04x", static_cast<unsigned>(c));
        else
            json += c;
    }
    return json + '"';
}

std::string JsonList(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + JsonText(text);
    return "[" + list + "]";
}

std::string JsonNumber(double value) { return std::isfinite(value) ? cv::format("%.6g", value) : "null"; }

std::vector<SummaryEntry> EntriesOf(const std::string& json) {
    std::vector<SummaryEntry> entries;
    const auto object = nlohmann::ordered_json::parse(json);
    for (const auto& [key, value] : object.items()) entries.emplace_back(key, value.dump());
    return entries;
}

std::string JsonObject(const std::vector<SummaryEntry>& entries) {
    std::string text;
    for (const auto& [key, value] : entries) text += (text.empty() ? "  " : ",\n  ") + JsonText(key) + ": " + value;
    return "{\n" + text + "\n}\n";
}

std::string JsonValue(const std::vector<SummaryEntry>& entries) {
    std::string text;
    for (const auto& [key, value] : entries) text += (text.empty() ? "" : ", ") + JsonText(key) + ": " + value;
    return "{" + text + "}";
}

std::string SummaryOf(const std::string& command, const std::vector<SummaryEntry>& entries) {
    constexpr char kSchema[] = "1";
    std::vector<SummaryEntry> all{{"schema", kSchema}, {"command", JsonText(command)}};
    all.insert(all.end(), entries.begin(), entries.end());
    return JsonObject(all);
}

}  // namespace vorip
