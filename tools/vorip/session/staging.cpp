#include "tools/vorip/session/staging.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>
#include <utility>

#include "measure/error.h"
#include "measure/io/folder.h"
#include "tools/vorip/session/earlierfiles.h"
#include "tools/vorip/session/warning.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

constexpr char kPrefix[] = ".vorip-";
constexpr char kMark[] = ".made-by-vorip";  // a folder in each hidden one; of others nothing is removed
constexpr char kGone = '~';                 // at the end: nothing in there is wanted any more
constexpr int kAttempts = 4;                // runs that begin or end at the same time get out of each other's way
constexpr auto kPause = std::chrono::milliseconds(25);
constexpr std::uintmax_t kMuch = 100 << 20;  // bytes; it takes some 50 ms to remove them

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

bool HasMark(const fs::path& hidden) {
    std::error_code ignored;
    return fs::is_directory(fs::symlink_status(hidden / kMark, ignored));
}

// The mark stays until the end, so that the next run goes on where this one is killed.
void EmptyMarked(const fs::path& hidden, std::error_code& error) {
    for (const fs::path& entry : measure::EntriesOf(hidden, error))
        if (entry.filename() != kMark) RemoveAll(entry, error);
}

void RemoveMarked(const fs::path& hidden, std::error_code& error) {
    EmptyMarked(hidden, error);
    if (error) return;
    fs::remove(hidden / kMark, error);
    fs::remove(hidden, error);
}

std::uintmax_t BytesIn(const fs::path& folder) {
    std::uintmax_t bytes = 0;
    std::error_code error;
    for (const fs::path& entry : measure::EntriesOf(folder, error)) {
        const std::uintmax_t size = fs::file_size(entry, error);
        if (!error) bytes += size;
    }
    return bytes;
}

}  // namespace

bool Staging::IsHidden(const fs::path& path) {
    return std::any_of(path.begin(), path.end(), [](const fs::path& p) { return p.string().rfind(kPrefix, 0) == 0; });
}

Staging::Staging(const fs::path& folder, const std::string& name)
    : mParent(fs::absolute(folder).lexically_normal()),
      mStaging(mParent / HiddenName(name)),
      mCleanUp([this] { Remove(true); }) {
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
    std::error_code error;
    auto state = FolderLock::State::eForeign;
    for (int attempt = 0; attempt < kAttempts && !mLock; ++attempt) {
        if (attempt > 0) std::this_thread::sleep_for(kPause);
        const Uninterrupted whole;
        CreateParents();
        if (IsLink(mStaging)) fs::remove(mStaging);  // somebody else's, who wants to have another folder emptied
        const bool made = fs::create_directory(mStaging, error);
        if (error == std::errc::no_such_file_or_directory) continue;  // another run removed the parents
        if (error == std::errc::file_exists || error == std::errc::not_a_directory) RequireMark();
        if (error) throw fs::filesystem_error("mkdir", mStaging, error);
        auto lock = std::make_unique<FolderLock>(mStaging);
        state = lock->Is();
        if (state == FolderLock::State::eOfAnother && !made)
            throw measure::OutputError(mStaging.string() +
                                       ": belongs to another user; remove it, or give another --out");
        const bool isOurs = state == FolderLock::State::eUnknown || state == FolderLock::State::eOfAnother;
        if (state != FolderLock::State::eHeld && !(isOurs && made)) continue;
        if (!made) RequireMark();
        mLock.swap(lock);
        fs::create_directory(mStaging / kMark);
    }
    if (mLock) return RemoveLeftovers();
    if (error) throw fs::filesystem_error("mkdir", mStaging, error);
    if (state == FolderLock::State::eUnknown)
        throw measure::OutputError(mStaging.string() +
                                   ": is of a run that was killed or that is writing there, and there are no locks to "
                                   "tell which; remove it if no run is writing there, or give another --out");
}

void Staging::CreateParents() {
    std::vector<fs::path> missing;
    for (fs::path p = mParent; !p.empty() && !fs::exists(p); p = p.parent_path()) missing.push_back(p);
    for (auto p = missing.rbegin(); p != missing.rend(); ++p)
        if (fs::create_directory(*p)) mCreated.push_back(*p);
}

void Staging::RequireMark() const {
    std::error_code error;
    if (HasMark(mStaging) || (measure::EntriesOf(mStaging, error).empty() && !error)) return;
    throw measure::OutputError(mStaging.string() +
                               ": is needed for a moment and was not made by vorip; move it, or give another --out");
}

void Staging::RemoveLeftovers() const {
    std::error_code error;
    if (HasOnlyCopies(mStaging)) {
        const fs::path kept = SetAside(mStaging, mParent, error);
        const std::string what = "the files that a run has not put back are in " + kept.string();
        if (error) throw measure::OutputError(what + ", and cannot be moved: " + error.message());
        Warn(what);
    }
    EmptyMarked(mStaging, error);
    if (error) throw fs::filesystem_error("remove", mStaging, error);
    for (const fs::path& entry : measure::EntriesOf(mParent, error)) {
        if (!IsHidden(entry.filename()) || entry == mStaging || IsLink(entry) || !HasMark(entry)) continue;
        const FolderLock lock(entry);
        const bool isWanted = entry.native().back() != kGone && HasOnlyCopies(entry);
        if (lock.Is() == FolderLock::State::eHeld && !isWanted) RemoveMarked(entry, error);
    }
}

// Under another name it is out of reach for threads that are still writing when the program is interrupted. Whoever
// interrupts it does not wait until large files are removed.
void Staging::Remove(bool isInterrupted) try {
    const Uninterrupted whole;
    if (mLeft) return;
    fs::path unwanted;
    if (mLock) {
        unwanted = mStaging;
        unwanted += kGone;
        std::error_code ignored;
        fs::rename(mStaging, unwanted, ignored);
        if (ignored) unwanted = mStaging;
    }
    // Whatever calls this again must not touch what another run has made since.
    const std::shared_ptr<FolderLock> lock = std::move(mLock);
    const auto remove = [unwanted, created = std::exchange(mCreated, {}), lock] {
        std::error_code ignored;
        // A thread may just have found the folder under its earlier name, and make a file in it yet.
        for (int attempt = 0; attempt < kAttempts && fs::exists(unwanted, ignored); ++attempt) {
            if (attempt > 0) std::this_thread::sleep_for(kPause);
            RemoveMarked(unwanted, ignored);
        }
        for (auto folder = created.rbegin(); folder != created.rend(); ++folder) fs::remove(*folder, ignored);
    };
    isInterrupted ? DoLast(remove, BytesIn(unwanted) > kMuch) : remove();
} catch (...) {  // of memory: the next run removes it
}

}  // namespace vorip
