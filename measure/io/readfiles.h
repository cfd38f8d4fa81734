#pragma once

#include <cstddef>
#include <functional>

#include "measure/export.h"
#include "measure/progress.h"

namespace measure {

// Calls read(i) for each of so many files, on all cores, because decoding takes longer than most of what follows, and
// reports between some of them. Where several cannot be read, it throws what the first one of the list did.
MEASURE_API void ReadFiles(std::size_t count, const std::function<void(std::size_t)>& read,
                           const Progress& progress = {});

}  // namespace measure
