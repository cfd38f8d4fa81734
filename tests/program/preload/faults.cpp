// Loaded before the C library: lets the call number K of one function fail, as in VORIP_FAULT="rename 3", or K and the
// N after it, as in "rename 3 2", and makes a file .fault then. Calls count from main on: before it there is nobody who
// could handle what fails.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

extern "C" void* __libc_malloc(std::size_t size);

namespace {

std::atomic<long> left{0};  // calls until the one that fails
long failing = 0;           // so many after it, too
char function[16] = "";
std::atomic<bool> runs{false};

using Main = int (*)(int, char**, char**);
Main theMain = nullptr;

__attribute__((constructor)) void Begin() {
    const char* const fault = std::getenv("VORIP_FAULT");
    const char* const blank = fault ? std::strchr(fault, ' ') : nullptr;
    if (!blank || blank - fault >= static_cast<std::ptrdiff_t>(sizeof function)) return;
    std::memcpy(function, fault, static_cast<std::size_t>(blank - fault));
    char* more = nullptr;
    left = std::strtol(blank, &more, 10);
    failing = std::strtol(more, nullptr, 10);
}

bool Fails(const char* name, int error) {
    if (!runs || left < -failing || function[0] == 0 || std::strcmp(name, function) != 0) return false;
    const long rest = --left;
    if (rest > 0 || rest < -failing) return false;
    close(open(".fault", O_CREAT | O_WRONLY, 0666));
    errno = error;
    return true;
}

template <class F>
F* Next(const char* name) {
    return reinterpret_cast<F*>(dlsym(RTLD_NEXT, name));
}

int RunMain(int argc, char** argv, char** environment) {
    runs = true;
    const int exitCode = theMain(argc, argv, environment);
    runs = false;
    return exitCode;
}

}  // namespace

extern "C" {
int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(), void (*end)(), void* stack) {
    theMain = main;
    return Next<decltype(__libc_start_main)>("__libc_start_main")(RunMain, argc, argv, init, fini, end, stack);
}
int rename(const char* from, const char* to) {
    return Fails("rename", EIO) ? -1 : Next<int(const char*, const char*)>("rename")(from, to);
}
ssize_t write(int file, const void* data, std::size_t size) {
    return Fails("write", ENOSPC) ? -1 : Next<ssize_t(int, const void*, std::size_t)>("write")(file, data, size);
}
int flock(int file, int operation) {
    return Fails("flock", ENOLCK) ? -1 : Next<int(int, int)>("flock")(file, operation);
}
dirent* readdir(DIR* folder) { return Fails("readdir", EIO) ? nullptr : Next<dirent*(DIR*)>("readdir")(folder); }
int fsync(int file) { return Fails("fsync", EIO) ? -1 : Next<int(int)>("fsync")(file); }
void* malloc(std::size_t size) { return Fails("malloc", ENOMEM) ? nullptr : __libc_malloc(size); }
}
