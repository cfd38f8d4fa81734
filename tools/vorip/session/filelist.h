#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace vorip {

// What summaries say about the files of their set, so that whoever reads them can tell whether they are still those:
//
//     "files": {"mask.png": {"bytes": 1234, "crc32": "0d4a1185"}, ...}

struct FileMark {
    std::uintmax_t bytes = 0;
    std::uint32_t crc32 = 0;
};
using FileList = std::map<std::string, FileMark>;

// Whether a file of this name tells about the others of its set.
bool IsSummary(const std::string& name);

FileMark MarkOf(const void* data, std::size_t size);
// Of a file; throws measure::InputError when it cannot be read.
FileMark MarkOf(const std::filesystem::path& file);
inline bool operator==(const FileMark& a, const FileMark& b) { return a.bytes == b.bytes && a.crc32 == b.crc32; }

// A summary, which is a JSON object, with the list as its last entry.
std::string WithFileList(const std::string& summary, const FileList& files);
// What a summary says; no object where it is damaged. Throws measure::InputError when it cannot be read.
nlohmann::json ReadSummary(const std::filesystem::path& summary);
// The list in it; empty when it has none that can be understood.
FileList ReadFileList(const std::filesystem::path& summary);

}  // namespace vorip
