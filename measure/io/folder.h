#pragma once

#include <filesystem>
#include <system_error>
#include <vector>

#include "measure/export.h"

namespace measure {

// The paths of what is in a folder, in no order; with an error, those that were found before it. The iterators of the
// standard library do the same, but end the program when memory is short.
MEASURE_API std::vector<std::filesystem::path> EntriesOf(const std::filesystem::path& folder, std::error_code& error);

}  // namespace measure
