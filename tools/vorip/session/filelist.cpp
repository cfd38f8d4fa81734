#include "tools/vorip/session/filelist.h"

#include <libdeflate.h>
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <vector>

#include "measure/io/bytes.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/summary.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

constexpr const char* kSummaries[] = {"summary.json", "phase.json"};
constexpr std::size_t kPiece = 1 << 20;

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

FileList ReadFileList(const fs::path& summary) {
    constexpr std::size_t kMostBytes = 16 << 20;
    const std::string text = measure::ReadText(summary.string(), kMostBytes, "a summary");
    const auto json = nlohmann::json::parse(text, nullptr, false);
    FileList files;
    if (!json.is_object() || !json.contains("files") || !json["files"].is_object()) return files;
    for (const auto& [name, entry] : json["files"].items()) {
        if (!entry.is_object()) continue;
        const auto crc = entry.value("crc32", nlohmann::json()), bytes = entry.value("bytes", nlohmann::json());
        if (!crc.is_string() || !bytes.is_number_unsigned()) continue;
        const unsigned long value = std::strtoul(crc.get_ref<const std::string&>().c_str(), nullptr, 16);
        files[name] = {bytes.get<std::uintmax_t>(), static_cast<std::uint32_t>(value)};
    }
    return files;
}

}  // namespace vorip
