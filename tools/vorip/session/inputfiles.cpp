#include "tools/vorip/session/inputfiles.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace vorip {
namespace {

std::mutex mutex;
std::vector<std::string> inputs;

}  // namespace

void NoteInput(const std::string& file) {
    const std::lock_guard lock(mutex);
    inputs.push_back(file);
}

bool IsInput(const std::filesystem::path& file) {
    const std::lock_guard lock(mutex);
    return std::any_of(inputs.begin(), inputs.end(), [&](const std::string& input) {
        std::error_code missing;
        return std::filesystem::equivalent(input, file, missing);
    });
}

}  // namespace vorip
