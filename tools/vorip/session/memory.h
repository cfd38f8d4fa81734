#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

namespace vorip {

// How much memory the run may take. Beyond it allocations fail, as std::bad_alloc, instead of the machine beginning to
// swap or another program being ended.
class MemoryLimit {
public:
    // "4G", "1.5GB", "800M", "123456789"; empty: three quarters of what is free now. Throws measure::InputError for any
    // other text.
    static void Set(const std::string& text);
    // "3.2 GB", for messages; empty before Set, and where nothing could be found out.
    static std::string InWords();
};

// Tells, before it is taken, that a run needs a lot of memory. Throws measure::InputError when that is more than it may
// take. `bytesPerPixel` are those of the busiest moment of the command, inputs and results included.
void AnnounceMemory(cv::Size size, double bytesPerPixel);

}  // namespace vorip
