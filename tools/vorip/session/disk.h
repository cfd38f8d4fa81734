#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <system_error>

namespace vorip {

// What the standard library does not say about files. Errors are thrown as std::filesystem::filesystem_error.

// Writes a new file and waits until the disk has it.
void WriteDurably(const std::filesystem::path& file, const void* data, std::size_t size);
// Waits until the disk has the names in a folder, or a file that was written otherwise.
void Sync(const std::filesystem::path& path);

// Whether files can be moved from here to there; they must be copied else. In doubt it says so.
bool IsOneFileSystem(const std::filesystem::path& a, const std::filesystem::path& b);

// Removes a file, a link, or a folder and all that is in it, as far as they can be removed; sets `error` when something
// is left. That of the standard library ends the program when memory is short.
void RemoveAll(const std::filesystem::path& path, std::error_code& error);

// Does something to files in a process of its own, which nobody waits for and which keeps the locks of this one. False
// when there cannot be one.
bool RunInOtherProcess(const std::function<void()>& work);

// A folder that at most one living process holds, on this machine and where file systems can tell others.
class FolderLock {
public:
    enum class State {
        eHeld,
        eForeign,    // another process holds it
        eGone,       // it is no folder, or another one than it was
        eOfAnother,  // user, who may do with it what he likes
        eUnknown,    // this file system has no locks
    };

    explicit FolderLock(const std::filesystem::path& folder);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    State Is() const { return mState; }

private:
    int mDescriptor = -1;
    State mState = State::eUnknown;
};

}  // namespace vorip
