#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "ipbase/ipLUnwrap_Velmor.h"

namespace KrN {
namespace {

struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close>;

bool Report(bool good, const char* failure) {
    std::fputs(good ? " Done.\n" : failure, stdout);
    std::fflush(stdout);
    return good;
}

template <class T>
bool Read(const char* name, T* values, std::size_t count, const char* what) {
    std::fputs(what, stdout);
    const File file(std::fopen(name, "rb"));
    if (!file) return Report(false, "Error opening the file\n");
    std::vector<T> read(count);
    const bool good = std::fread(read.data(), sizeof(T), count, file.get()) == count;
    if (good) std::copy_n(read.data(), count, values);
    return Report(good, "Error reading the file\n");
}

}  // namespace

bool KrLUnWrap_Velmor::ReadWrappedValues(const char* file, float* values, std::size_t count) {
    return Read(file, values, count, "Reading the Wrapped Values form Binary File.............>");
}

bool KrLUnWrap_Velmor::ReadMask(const char* file, unsigned char* mask, std::size_t count) {
    return Read(file, mask, count, "Reading the mask form Binary File.............>");
}

bool KrLUnWrap_Velmor::WriteUnwrappedValues(const char* name, const float* values, std::size_t count) {
    std::fputs("Writing the Unwrapped Values to Binary File.............>", stdout);
    File file(std::fopen(name, "wb"));
    if (!file) return Report(false, "Error opening the file\n");
    const bool written = std::fwrite(values, sizeof(float), count, file.get()) == count;
    const bool closed = std::fclose(file.release()) == 0;  // what is buffered is written here
    return Report(written && closed, "Error writing the file\n");
}

}  // namespace KrN
