#include "tools/vorip/session/replacement.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "measure/error.h"
#include "measure/io/folder.h"
#include "tools/vorip/session/disk.h"
#include "tools/vorip/session/earlierfiles.h"
#include "tools/vorip/session/filelist.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

// A copy of a file beside the place that it goes to, in the hidden folder there.
fs::path CopyBeside(const fs::path& file, const fs::path& place, const Staging& beside) {
    const fs::path copy = beside.Folder() / place.filename();
    fs::copy_file(file, copy);
    Sync(copy);
    return copy;
}

void Rename(const fs::path& from, const fs::path& to) {
    std::error_code error;
    fs::rename(from, to, error);
    if (error == std::errc::cross_device_link) {
        const Staging beside(to.parent_path(), to.filename().string());
        fs::rename(CopyBeside(from, to, beside), to);
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

void Replacement::Prepare() {
    std::sort(mSteps.begin(), mSteps.end(), [](const Step& a, const Step& b) {
        return std::tie(a.order, a.prepared) < std::tie(b.order, b.prepared);
    });
    std::for_each(mSteps.begin(), mSteps.end(), KeepEarlier);
    std::for_each(mSteps.begin(), mSteps.end(), CopyAcross);
}

void Replacement::Run() {
    try {
        MoveAll();
    } catch (const fs::filesystem_error& error) {
        PutBack(error);
    } catch (const measure::Error& error) {  // of a place behind a symbolic link
        PutBack(fs::filesystem_error(error.what(), std::make_error_code(std::errc::device_or_resource_busy)));
    } catch (const std::bad_alloc&) {
        PutBack(fs::filesystem_error("", std::make_error_code(std::errc::not_enough_memory)));
    }
}

void Replacement::Add(Staging& from, const FileList& written, const fs::path& to) {
    std::error_code error;
    std::set<std::string> found;
    for (const fs::path& prepared : measure::EntriesOf(from.Folder(), error)) {
        if (fs::is_directory(prepared)) continue;
        const fs::path name = prepared.filename();
        const fs::path place = FollowLinks(to / name);
        const fs::file_status status = fs::status(place);
        if (fs::exists(status) && !fs::is_regular_file(status)) {
            throw measure::OutputError((to / name).string() + ": cannot be replaced, it is a " +
                                       (fs::is_directory(status) ? "folder" : "device or a pipe"));
        }
        mSteps.push_back({&from, OrderOf(name), to, prepared, place, {}, nullptr});
        found.insert(name.string());
    }
    for (const auto& [name, mark] : written)
        if (!error && found.count(name) == 0) error = std::make_error_code(std::errc::io_error);
    if (error) throw fs::filesystem_error("read", from.Folder(), error);
}

void Replacement::KeepEarlier(Step& step) {
    const fs::path kept = EarlierFilesOf(step.from->Folder());
    fs::create_directory(kept);
    if (!fs::exists(step.place)) return;
    const fs::path name = kept / step.prepared.filename();
    std::error_code error;
    fs::create_hard_link(step.place, name, error);
    if (error) fs::copy_file(step.place, name);  // file systems without links
    step.earlier = name;
    fs::permissions(step.prepared, fs::status(step.place).permissions(), error);  // where there are such
}

void Replacement::CopyAcross(Step& step) {
    if (IsOneFileSystem(step.prepared.parent_path(), step.place.parent_path())) return;
    step.beside = std::make_unique<Staging>(step.place.parent_path(), step.place.filename().string());
    step.prepared = CopyBeside(step.prepared, step.place, *step.beside);
}

void Replacement::MoveAll() {
    std::set<fs::path> folders;
    const auto sync = [&] { std::for_each(folders.begin(), folders.end(), Sync); };
    for (const Step& step : mSteps) {
        if (step.order > 0) sync();  // it must not be on the disk before the others
        Rename(step.prepared, step.place);
        ++mMoved;
        folders.insert(step.place.parent_path());
    }
    sync();
}

void Replacement::PutBack(const fs::filesystem_error& reason) {
    std::map<Staging*, fs::path> lost;  // and the folder that it is of
    for (; mMoved > 0; --mMoved) {
        Step& step = mSteps[mMoved - 1];
        step.beside.reset();  // putting back needs the place
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
