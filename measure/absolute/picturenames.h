#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace measure {

// Whether the name a stands before b when numbers in them count as numbers: 2 before 10.
bool ComesBefore(const std::string& a, const std::string& b);

// The files in `folder` whose names match `pattern` (with *, ? and [abc] in the last part of it), in natural order.
// A pattern without such signs is the file itself, and nothing when there is none.
std::vector<std::filesystem::path> MatchPictureNames(const std::filesystem::path& folder, const std::string& pattern);

}  // namespace measure
