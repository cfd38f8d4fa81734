#include "tools/vorip/session/staging.h"

#include <chrono>
#include <thread>

#include "measure/error.h"
#include "tools/vorip/session/earlierfiles.h"
#include "tools/vorip/session/warning.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

constexpr char kPrefix[] = ".vorip-";
constexpr char kGone = '~';   // at the end: nothing in there is wanted any more
constexpr int kAttempts = 4;  // runs that begin or end at the same time get out of each other's way
constexpr auto kPause = std::chrono::milliseconds(25);

// Short enough for a file system that has the name itself.
std::string HiddenName(const std::string& name) {
    constexpr std::size_t kLongest = 200;
    if (name.size() <= kLongest) return kPrefix + name;
    return kPrefix + name.substr(0, kLongest) + std::to_string(std::hash<std::string>()(name));
}

bool IsLink(const fs::path& path) {
    std::error_code ignored;
    return fs::is_symlink(fs::symlink_status(path, ignored));
}

}  // namespace

Staging::Staging(const fs::path& folder, const std::string& name)
    : mParent(fs::absolute(folder).lexically_normal()),
      mStaging(mParent / HiddenName(name)),
      mCleanUp([this] { Remove(); }) {
    try {
        Acquire();
    } catch (const fs::filesystem_error& error) {
        Remove();
        throw measure::OutputError(folder.string() + ": cannot write there: " + error.code().message());
    }
    if (mLock) return;
    Remove();
    const std::string where = name == "set" ? folder.string() : (folder / name).string();
    throw measure::OutputError(where + ": another run of vorip is writing there; wait for it, or give another --out");
}

Staging::~Staging() { Remove(); }

void Staging::Acquire() {
    for (int attempt = 0; attempt < kAttempts && !mLock; ++attempt) {
        if (attempt > 0) std::this_thread::sleep_for(kPause);
        const Uninterrupted whole;
        CreateParents();
        std::error_code error;
        if (IsLink(mStaging)) fs::remove(mStaging);  // somebody else's, who wants to have another folder emptied
        const bool made = fs::create_directory(mStaging, error);
        if (error == std::errc::no_such_file_or_directory) continue;  // another run removed the parents
        if (error) throw fs::filesystem_error("mkdir", mStaging, error);
        auto lock = std::make_unique<FolderLock>(mStaging);
        const auto state = lock->Is();
        if (state == FolderLock::State::eOfAnother && !made)
            throw measure::OutputError(mStaging.string() +
                                       ": belongs to another user; remove it, or give another --out");
        const bool isOurs = state == FolderLock::State::eUnknown || state == FolderLock::State::eOfAnother;
        if (state == FolderLock::State::eHeld || (isOurs && made)) mLock.swap(lock);
    }
    if (mLock) RemoveLeftovers();
}

void Staging::CreateParents() {
    std::vector<fs::path> missing;
    for (fs::path p = mParent; !p.empty() && !fs::exists(p); p = p.parent_path()) missing.push_back(p);
    for (auto p = missing.rbegin(); p != missing.rend(); ++p)
        if (fs::create_directory(*p)) mCreated.push_back(*p);
}

void Staging::RemoveLeftovers() const {
    std::error_code error;
    if (HasOnlyCopies(mStaging)) {
        const fs::path kept = SetAside(mStaging, mParent, error);
        const std::string what = "the files that a run has not put back are in " + kept.string();
        if (error) throw measure::OutputError(what + ", and cannot be moved: " + error.message());
        Warn(what);
    }
    for (const auto& entry : fs::directory_iterator(mStaging)) fs::remove_all(entry);
    for (const auto& entry : fs::directory_iterator(mParent)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(kPrefix, 0) != 0 || entry.path() == mStaging || IsLink(entry)) continue;
        const FolderLock lock(entry);
        const bool isWanted = name.back() != kGone && HasOnlyCopies(entry);
        if (lock.Is() == FolderLock::State::eHeld && !isWanted) fs::remove_all(entry, error);
    }
}

// Under another name it is out of reach for threads that are still writing when the program is interrupted.
void Staging::Remove() try {
    const Uninterrupted whole;
    std::error_code ignored;
    if (mLeft) return;
    if (mLock) {
        fs::path gone = mStaging;
        gone += kGone;
        fs::rename(mStaging, gone, ignored);
        const fs::path& unwanted = ignored ? mStaging : gone;
        // A thread may just have found the folder under its earlier name, and make a file in it yet.
        for (int attempt = 0; attempt < kAttempts && fs::exists(unwanted); ++attempt) {
            if (attempt > 0) std::this_thread::sleep_for(kPause);
            fs::remove_all(unwanted, ignored);
        }
    }
    for (; !mCreated.empty(); mCreated.pop_back()) fs::remove(mCreated.back(), ignored);
    mLock.reset();  // whatever calls this again must not touch what another run has made since
} catch (...) {     // of memory: the next run removes it
}

}  // namespace vorip
