#include "tools/vorip/session/disk.h"

#include <algorithm>
#include <cerrno>
#include <string>

#ifdef _WIN32
#  include <fstream>
#else
#  include <fcntl.h>
#  include <sys/file.h>
#  include <sys/stat.h>
#  include <unistd.h>
#endif

#include "measure/io/folder.h"

namespace fs = std::filesystem;

namespace vorip {

#ifdef _WIN32

void WriteDurably(const fs::path& file, const void* data, std::size_t size) {
    std::ofstream stream(file, std::ios::binary);
    stream.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    stream.close();
    if (!stream) throw fs::filesystem_error("write", file, std::error_code(errno, std::generic_category()));
}
void Sync(const fs::path&) {}
bool IsOneFileSystem(const fs::path& a, const fs::path& b) {
    return fs::absolute(a).root_name() == fs::absolute(b).root_name();
}
bool RunInOtherProcess(const std::function<void()>&) { return false; }
FolderLock::FolderLock(const fs::path&) {}
FolderLock::~FolderLock() = default;

#else

namespace {

[[noreturn]] void Fail(const char* what, const fs::path& path) {
    throw fs::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
}

class Descriptor {
public:
    Descriptor(const fs::path& path, int flags) : mPath(path), mNumber(open(path.c_str(), flags | O_CLOEXEC, 0666)) {
        if (mNumber < 0) Fail("open", path);
    }
    ~Descriptor() {
        if (mNumber >= 0) close(mNumber);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    void Write(const char* data, std::size_t size) const {
        constexpr std::size_t kPiece = 4 << 20;  // whoever removes the file waits for the end of one
        while (size > 0) {
            const ssize_t written = write(mNumber, data, std::min(size, kPiece));
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) Fail("write", mPath);
            data += written;
            size -= static_cast<std::size_t>(written);
        }
    }
    void Sync() const {
        if (fsync(mNumber) == 0) return;
        if (errno != EINVAL && errno != ENOTSUP) Fail("fsync", mPath);  // those file systems have nothing to wait for
    }
    void Close() {  // some file systems tell only now that something was lost
        const int number = mNumber;
        mNumber = -1;
        if (close(number) != 0 && errno != EINTR) Fail("close", mPath);
    }

private:
    const fs::path& mPath;
    int mNumber;
};

}  // namespace

void WriteDurably(const fs::path& file, const void* data, std::size_t size) {
    Descriptor descriptor(file, O_WRONLY | O_CREAT | O_TRUNC);
    descriptor.Write(static_cast<const char*>(data), size);
    descriptor.Sync();
    descriptor.Close();
}

void Sync(const fs::path& path) { Descriptor(path, O_RDONLY).Sync(); }

bool IsOneFileSystem(const fs::path& a, const fs::path& b) {
    struct stat here {
    }, there{};
    return stat(a.c_str(), &here) != 0 || stat(b.c_str(), &there) != 0 || here.st_dev == there.st_dev;
}

bool RunInOtherProcess(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child != 0) return child > 0;
    setsid();
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(stream);  // their readers do not wait
    try {
        work();
    } catch (...) {  // for lack of memory; nobody hears of it
    }
    _exit(0);
}

FolderLock::FolderLock(const fs::path& folder) {
    mDescriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (mDescriptor < 0) {
        mState = errno == ENOENT || errno == ENOTDIR || errno == ELOOP ? State::eGone : State::eUnknown;
        return;
    }
    if (flock(mDescriptor, LOCK_EX | LOCK_NB) != 0) {
        mState = errno == EWOULDBLOCK ? State::eForeign : State::eUnknown;
        return;
    }
    // Who held it until now may have removed it, and somebody else made another one.
    struct stat held {
    }, named{};
    const bool same = fstat(mDescriptor, &held) == 0 && lstat(folder.c_str(), &named) == 0 &&
                      held.st_dev == named.st_dev && held.st_ino == named.st_ino;
    mState = !same ? State::eGone : held.st_uid == geteuid() ? State::eHeld : State::eOfAnother;
}

FolderLock::~FolderLock() {
    if (mDescriptor >= 0) close(mDescriptor);
}

#endif

void RemoveAll(const fs::path& path, std::error_code& error) {
    std::error_code mine;
    if (fs::is_directory(fs::symlink_status(path, mine)))
        for (const fs::path& entry : measure::EntriesOf(path, mine)) RemoveAll(entry, error);
    fs::remove(path, mine);
    if (mine) error = mine;
}

}  // namespace vorip
