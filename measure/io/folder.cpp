#include "measure/io/folder.h"

#include <cerrno>
#include <memory>
#include <string>

#ifndef _WIN32
#  include <dirent.h>
#endif

namespace measure {

#ifdef _WIN32

std::vector<std::filesystem::path> EntriesOf(const std::filesystem::path& folder, std::error_code& error) {
    std::vector<std::filesystem::path> entries;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) entries.push_back(entry.path());
    return entries;
}

#else

std::vector<std::filesystem::path> EntriesOf(const std::filesystem::path& folder, std::error_code& error) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(folder.c_str()), closedir);
    error.assign(stream ? 0 : errno, std::generic_category());
    std::vector<std::filesystem::path> entries;
    while (const dirent* const entry = stream ? readdir(stream.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") entries.push_back(folder / name);
    }
    return entries;
}

#endif

}  // namespace measure
