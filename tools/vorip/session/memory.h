#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

namespace vorip {

// How much memory the run may take. Beyond it allocations fail, as std::bad_alloc, instead of the machine beginning to
// swap or another program being ended.
class MemoryLimit {
public:
    // For a run of this command. 0: three quarters of what is free now. From now on files and pictures that do not fit
    // alone are refused before they are read.
    static void Set(double bytes, const std::string& command);
    // For what this command does in this run, as in "filter median", where the table knows more about that.
    static void SetVariant(const std::string& command);
    // "3.2 GB (--max-memory)", or what the system says where that is less; for messages. Empty before Set, and where
    // nothing could be found out.
    static std::string InWords();
};

// While it lives, the picture that is read is the first of so many, for which the memory must be enough.
class FirstPicture {
public:
    explicit FirstPicture(std::size_t pictures);
    ~FirstPicture();
    FirstPicture(const FirstPicture&) = delete;
    FirstPicture& operator=(const FirstPicture&) = delete;
};

// Every command calls this once it has read the first of its pictures, before it takes more: tells that the run needs a
// lot of memory, and throws measure::InputError when that is more than it may take. So many pictures of this size and
// type are held at the same time; the result has the same size unless another one is given. How much each command takes
// stands in one table.
void AnnounceMemory(const cv::Mat& first, std::size_t pictures = 1, cv::Size result = {});
// For one picture of this size and type that does not exist yet.
void AnnounceMemory(cv::Size size, int type);

}  // namespace vorip
