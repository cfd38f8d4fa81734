#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

namespace vorip {

// How much memory the run may take. Beyond it allocations fail, as std::bad_alloc, instead of the machine beginning to
// swap or another program being ended.
class MemoryLimit {
public:
    // For a run of this command. "4G", "1.5GB", "800M", "123456789"; empty: three quarters of what is free now. Throws
    // measure::InputError for any other text.
    static void Set(const std::string& text, const std::string& command);
    // "3.2 GB", for messages; empty before Set, and where nothing could be found out.
    static std::string InWords();
};

// Every command calls this once it has read the first of its pictures, before it takes more: tells that the run needs a
// lot of memory, and throws measure::InputError when that is more than it may take. So many pictures of this size and
// type are held at the same time; the result has the same size unless another one is given. How much each command takes
// stands in one table.
void AnnounceMemory(const cv::Mat& first, std::size_t pictures = 1, cv::Size result = {});

}  // namespace vorip
