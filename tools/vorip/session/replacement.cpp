#include "tools/vorip/session/replacement.h"

#include <algorithm>
#include <map>
#include <set>

#include "measure/error.h"
#include "measure/io/folder.h"
#include "tools/vorip/session/disk.h"
#include "tools/vorip/session/earlierfiles.h"
#include "tools/vorip/session/filelist.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

// A file system of its own, behind a symbolic link, gets a copy from which it can be moved.
void Rename(const fs::path& from, const fs::path& to) {
    std::error_code error;
    fs::rename(from, to, error);
    if (error == std::errc::cross_device_link) {
        const Staging beside(to.parent_path(), to.filename().string());
        const fs::path copy = beside.Folder() / to.filename();
        fs::copy_file(from, copy);
        Sync(copy);
        fs::rename(copy, to);
    } else if (error) {
        throw fs::filesystem_error("rename", to, error);
    }
}

// Files that tell about others come after these, and the summary, which tells about all, is the last one.
int OrderOf(const fs::path& file) { return IsSummary(file.filename().string()) ? 2 : file.extension() == ".json"; }

// Where symbolic links lead to, also when there is nothing yet.
fs::path FollowLinks(fs::path path) {
    constexpr int kMost = 40;
    for (int i = 0; i < kMost; ++i) {
        if (!fs::is_symlink(fs::symlink_status(path))) return fs::weakly_canonical(path);
        path = path.parent_path() / fs::read_symlink(path);
    }
    throw fs::filesystem_error("follow", path, std::make_error_code(std::errc::too_many_symbolic_link_levels));
}

}  // namespace

void Replacement::Run() {
    std::sort(mSteps.begin(), mSteps.end(), [](const Step& a, const Step& b) {
        const auto order = [](const Step& s) { return std::pair(OrderOf(s.prepared), s.prepared); };
        return order(a) < order(b);
    });
    try {
        KeepEarlier();
        MoveAll();
    } catch (const fs::filesystem_error& error) {
        PutBack(error);
    } catch (const measure::Error& error) {  // of a place behind a symbolic link
        PutBack(fs::filesystem_error(error.what(), std::make_error_code(std::errc::device_or_resource_busy)));
    } catch (const std::bad_alloc&) {
        PutBack(fs::filesystem_error("", std::make_error_code(std::errc::not_enough_memory)));
    }
}

void Replacement::Add(Staging& from, const fs::path& to) {
    std::error_code error;
    for (const fs::path& prepared : measure::EntriesOf(from.Folder(), error)) {
        if (fs::is_directory(prepared)) continue;
        const fs::path name = prepared.filename();
        const fs::path place = FollowLinks(to / name);
        const fs::file_status status = fs::status(place);
        if (fs::exists(status) && !fs::is_regular_file(status)) {
            throw measure::OutputError((to / name).string() + ": cannot be replaced, it is a " +
                                       (fs::is_directory(status) ? "folder" : "device or a pipe"));
        }
        mSteps.push_back({&from, to, prepared, place, {}});
    }
    if (error) throw fs::filesystem_error("read", from.Folder(), error);
}

void Replacement::KeepEarlier() {
    for (Step& step : mSteps) {
        const fs::path kept = EarlierFilesOf(step.from->Folder());
        fs::create_directory(kept);
        if (!fs::exists(step.place)) continue;
        const fs::path name = kept / step.prepared.filename();
        std::error_code error;
        fs::create_hard_link(step.place, name, error);
        if (error) fs::copy_file(step.place, name);  // file systems without links
        step.earlier = name;
        fs::permissions(step.prepared, fs::status(step.place).permissions());
    }
}

void Replacement::MoveAll() {
    std::set<fs::path> folders;
    const auto sync = [&] { std::for_each(folders.begin(), folders.end(), Sync); };
    for (const Step& step : mSteps) {
        if (OrderOf(step.prepared) > 0) sync();  // it must not be on the disk before the others
        Rename(step.prepared, step.place);
        ++mMoved;
        folders.insert(step.place.parent_path());
    }
    sync();
}

void Replacement::PutBack(const fs::filesystem_error& reason) {
    std::map<Staging*, fs::path> lost;  // and the folder that it is of
    for (; mMoved > 0; --mMoved) {
        const Step& step = mSteps[mMoved - 1];
        try {
            step.earlier.empty() ? void(fs::remove(step.place)) : Rename(step.earlier, step.place);
        } catch (const std::exception&) {
            lost.emplace(step.from, step.to);
        }
    }
    if (lost.empty()) throw reason;
    std::string folders, kept;
    for (const auto& [staging, folder] : lost) {
        staging->Leave();
        std::error_code error;
        folders += (folders.empty() ? "" : ", ") + folder.string();
        kept += (kept.empty() ? "" : ", ") + SetAside(staging->Folder(), folder, error).string();
    }
    throw measure::OutputError(folders + ": cannot write there (" + reason.code().message() +
                               "), and the earlier files could not all be put back: they are in " + kept);
}

}  // namespace vorip
