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
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
        entries.push_back(entry->path());
    return entries;
}

#else

std::vector<std::filesystem::path> EntriesOf(const std::filesystem::path& folder, std::error_code& error) {
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(folder.c_str()), closedir);
    error.assign(stream ? 0 : errno, std::generic_category());
    std::vector<std::filesystem::path> entries;
    if (!stream) return entries;
    errno = 0;  // readdir tells an error from the end by this alone
    for (const dirent* entry = nullptr; (entry = readdir(stream.get())) != nullptr; errno = 0) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") entries.push_back(folder / name);
    }
    error.assign(errno, std::generic_category());
    return entries;
}

#endif

}  // namespace measure
