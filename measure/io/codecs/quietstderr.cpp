#include "measure/io/codecs/quietstderr.h"

#include <cstdio>

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

QuietStderr::QuietStderr() {
    std::fflush(stderr);
    const int nowhere = Open(kNowhere);
    if (nowhere < 0) return;
    mSaved = Dup(2);
    if (mSaved >= 0) Dup2(nowhere, 2);
    Close(nowhere);
}

QuietStderr::~QuietStderr() {
    if (mSaved < 0) return;
    std::fflush(stderr);
    Dup2(mSaved, 2);
    Close(mSaved);
}

}  // namespace measure
