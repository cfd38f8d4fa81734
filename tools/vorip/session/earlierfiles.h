#pragma once

#include <filesystem>

namespace vorip {

// While a run replaces files, its hidden folder has a folder of the earlier ones. What is in there and nowhere else any
// more, because putting it back has failed or the run was killed, must outlive the hidden folder.

// The folder inside a hidden one.
std::filesystem::path EarlierFilesOf(const std::filesystem::path& hidden);
// Whether it has a file of which there is no other copy, or may have one, as far as the system tells.
bool HasOnlyCopies(const std::filesystem::path& hidden);
// Moves it into `folder`, as earlier-files, and returns its new place; the old one, with an error, when that fails.
std::filesystem::path SetAside(const std::filesystem::path& hidden, const std::filesystem::path& folder,
                               std::error_code& error);

}  // namespace vorip
