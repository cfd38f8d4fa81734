#include "tools/vorip/session/staging.h"

#include <chrono>
#include <thread>

#include "measure/error.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

constexpr char kPrefix[] = ".vorip-";
constexpr int kAttempts = 4;  // runs that begin or end at the same time get out of each other's way
constexpr auto kPause = std::chrono::milliseconds(25);

}  // namespace

Staging::Staging(const fs::path& folder, const std::string& name)
    : mParent(fs::absolute(folder).lexically_normal()),
      mStaging(mParent / (kPrefix + name)),
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
        const bool made = fs::create_directory(mStaging, error);
        if (error == std::errc::no_such_file_or_directory) continue;  // another run removed the parents
        if (error) throw fs::filesystem_error("mkdir", mStaging, error);
        auto lock = std::make_unique<FolderLock>(mStaging);
        const auto state = lock->Is();
        if (state == FolderLock::State::eHeld || (state == FolderLock::State::eUnknown && made)) mLock.swap(lock);
    }
    if (mLock) RemoveLeftovers();
}

void Staging::CreateParents() {
    std::vector<fs::path> missing;
    for (fs::path p = mParent; !p.empty() && !fs::exists(p); p = p.parent_path()) missing.push_back(p);
    for (auto p = missing.rbegin(); p != missing.rend(); ++p) {
        if (fs::create_directory(*p)) mCreated.push_back(*p);
    }
}

void Staging::RemoveLeftovers() const {
    for (const auto& entry : fs::directory_iterator(mStaging)) fs::remove_all(entry);
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(mParent)) {
        const bool isStaging = entry.path().filename().string().rfind(kPrefix, 0) == 0 && entry.is_directory(ignored);
        if (!isStaging || entry.path() == mStaging) continue;
        const FolderLock lock(entry);
        if (lock.Is() == FolderLock::State::eHeld) fs::remove_all(entry, ignored);
    }
}

// Under another name it is out of reach for threads that are still writing when the program is interrupted.
void Staging::Remove() const try {
    const Uninterrupted whole;
    std::error_code ignored;
    if (mLeft) return;
    if (mLock) {
        fs::path gone = mStaging;
        gone += "~";
        fs::rename(mStaging, gone, ignored);
        fs::remove_all(ignored ? mStaging : gone, ignored);
    }
    for (auto made = mCreated.rbegin(); made != mCreated.rend(); ++made) fs::remove(*made, ignored);
} catch (...) {  // of memory: the next run removes it
}

}  // namespace vorip
