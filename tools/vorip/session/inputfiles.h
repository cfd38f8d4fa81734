#pragma once

#include <filesystem>
#include <string>

namespace vorip {

// The files that this run has read; on any thread.
void NoteInput(const std::string& file);
// Whether this is one of them, by whatever name.
bool IsInput(const std::filesystem::path& file);

}  // namespace vorip
