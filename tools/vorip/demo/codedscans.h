#pragma once

#include <filesystem>

namespace vorip {

// Renders two objects before a wall, coded once by three sets of fringes and once by one set and a Gray code, runs
// `vorip decode` on the files and checks the result against what was rendered. Everything is written into folders
// "periods" and "code" in `folder`. Returns whether the limits were met.
bool RunCodedScans(const std::filesystem::path& folder);

}  // namespace vorip
