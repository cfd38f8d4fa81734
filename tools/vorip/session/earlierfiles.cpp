#include "tools/vorip/session/earlierfiles.h"

#include <algorithm>

#include "measure/io/folder.h"

namespace fs = std::filesystem;

namespace vorip {

fs::path EarlierFilesOf(const fs::path& hidden) { return hidden / "earlier"; }

bool HasOnlyCopies(const fs::path& hidden) {
    const fs::path earlier = EarlierFilesOf(hidden);
    std::error_code error;
    const fs::file_status status = fs::symlink_status(earlier, error);
    if (fs::status_known(status) && !fs::is_directory(status)) return false;
    const std::vector<fs::path> files = measure::EntriesOf(earlier, error);
    return error || std::any_of(files.begin(), files.end(),
                                [&](const fs::path& file) { return fs::hard_link_count(file, error) == 1 || error; });
}

fs::path SetAside(const fs::path& hidden, const fs::path& folder, std::error_code& error) {
    fs::path kept = folder / "earlier-files";
    for (int i = 2; fs::exists(fs::symlink_status(kept, error)); ++i)
        kept = folder / ("earlier-files-" + std::to_string(i));
    fs::rename(EarlierFilesOf(hidden), kept, error);
    return error ? EarlierFilesOf(hidden) : kept;
}

}  // namespace vorip
