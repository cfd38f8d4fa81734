#pragma once

#include <filesystem>

namespace vorip {

// Renders a board in several poses and calibrates camera and projector from them, renders a scan of two objects before
// a wall, runs `vorip measure` on it and checks the points against what was rendered. Everything is written into the
// folder "measured" in `folder`. Returns whether the limits were met.
bool RunMeasured(const std::filesystem::path& folder);

}  // namespace vorip
