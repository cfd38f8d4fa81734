#include "tools/vorip/session/filelist.h"

#include <libdeflate.h>
#include <algorithm>
#include <charconv>
#include <fstream>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <optional>
#include <vector>

#include "measure/io/bytes.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/summary.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

constexpr const char* kSummaries[] = {"summary.json", "phase.json"};
constexpr std::size_t kPiece = 1 << 20;

std::optional<FileMark> MarkIn(const nlohmann::json& entry) {
    constexpr std::size_t kDigits = 8;
    if (!entry.is_object()) return std::nullopt;
    const auto crc = entry.value("crc32", nlohmann::json()), bytes = entry.value("bytes", nlohmann::json());
    if (!crc.is_string() || !bytes.is_number_unsigned()) return std::nullopt;
    const auto& text = crc.get_ref<const std::string&>();
    FileMark mark{bytes.get<std::uintmax_t>(), 0};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, mark.crc32, 16);
    if (text.size() != kDigits || stop != end || error != std::errc()) return std::nullopt;
    return mark;
}

}  // namespace

bool IsSummary(const std::string& name) {
    return std::find(std::begin(kSummaries), std::end(kSummaries), name) != std::end(kSummaries);
}

FileMark MarkOf(const void* data, std::size_t size) { return {size, libdeflate_crc32(0, data, size)}; }

FileMark MarkOf(const fs::path& file) {
    measure::RequireFile(file.string());
    std::ifstream stream(file, std::ios::binary);
    if (!stream) Refuse(file.string() + ": cannot be opened for reading");
    FileMark mark;
    std::vector<char> piece(kPiece);
    while (stream.read(piece.data(), kPiece), stream.gcount() > 0) {
        const auto read = static_cast<std::size_t>(stream.gcount());
        mark = {mark.bytes + read, libdeflate_crc32(mark.crc32, piece.data(), read)};
    }
    if (stream.bad()) Refuse(file.string() + ": cannot be read");
    return mark;
}

std::string WithFileList(const std::string& summary, const FileList& files) {
    std::string list;
    for (const auto& [name, mark] : files) {
        list += list.empty() ? "\n    " : ",\n    ";
        list += JsonText(name) + cv::format(": {\"bytes\": %ju, \"crc32\": \"%08x\"}", mark.bytes, mark.crc32);
    }
    const std::size_t end = summary.find_last_not_of(" \n", summary.rfind('}') - 1);
    const bool first = summary[end] == '{';
    return summary.substr(0, end + 1) + (first ? "\n" : ",\n") + "  \"files\": {" + list + "\n  }\n}\n";
}

nlohmann::json ReadSummary(const fs::path& summary) {
    constexpr std::size_t kMostBytes = 16 << 20;
    return nlohmann::json::parse(measure::ReadText(summary.string(), kMostBytes, "a summary"), nullptr, false);
}

FileList ReadFileList(const fs::path& summary) {
    const nlohmann::json json = ReadSummary(summary);
    FileList files;
    if (!json.is_object() || !json.contains("files") || !json["files"].is_object()) return files;
    for (const auto& [name, entry] : json["files"].items()) {
        const std::optional<FileMark> mark = MarkIn(entry);
        if (!mark) return {};  // nobody is to take the file for one that the result does not have
        files[name] = *mark;
    }
    return files;
}

}  // namespace vorip
