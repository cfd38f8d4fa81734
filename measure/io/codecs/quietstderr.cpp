#include "measure/io/codecs/quietstderr.h"

#include <cstdio>
#include <mutex>

#ifdef _WIN32
#  include <fcntl.h>
#  include <io.h>
namespace {
constexpr char kNowhere[] = "NUL";
int Open(const char* file) { return _open(file, _O_WRONLY); }
int Dup(int fd) { return _dup(fd); }
void Dup2(int from, int to) { _dup2(from, to); }
void Close(int fd) { _close(fd); }
}  // namespace
#else
#  include <fcntl.h>
#  include <unistd.h>
namespace {
constexpr char kNowhere[] = "/dev/null";
int Open(const char* file) { return open(file, O_WRONLY); }
int Dup(int fd) { return dup(fd); }
void Dup2(int from, int to) { dup2(from, to); }
void Close(int fd) { close(fd); }
}  // namespace
#endif

namespace measure {

namespace {

std::mutex changing;
int living = 0;
int saved = -1;  // what standard error was before the first one

}  // namespace

QuietStderr::QuietStderr() {
    const std::lock_guard<std::mutex> lock(changing);
    if (living++ > 0) return;
    std::fflush(stderr);
    const int nowhere = Open(kNowhere);
    if (nowhere < 0) return;
    saved = Dup(2);
    if (saved >= 0) Dup2(nowhere, 2);
    Close(nowhere);
}

QuietStderr::~QuietStderr() {
    const std::lock_guard<std::mutex> lock(changing);
    if (--living > 0 || saved < 0) return;
    std::fflush(stderr);
    Dup2(saved, 2);
    Close(saved);
    saved = -1;
}

}  // namespace measure
