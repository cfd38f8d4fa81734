#include "measure/io/tiffmemory.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

namespace measure {
namespace {

TiffMemory& Self(thandle_t handle) { return *static_cast<TiffMemory*>(handle); }

}  // namespace

TiffMemory::TiffMemory(const Bytes& bytes) : mRead(&bytes) { Open("rm"); }
TiffMemory::TiffMemory(std::size_t expected) {
    mWritten.reserve(expected);
    Open("w");
}

TiffMemory::~TiffMemory() {
    if (mTiff) TIFFClose(mTiff);
}

void TiffMemory::Open(const char* mode) {
    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                               TIFFOpenOptionsFree);
    if (!options) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), Note, this);
    TIFFOpenOptionsSetWarningHandlerExtR(
        options.get(), [](TIFF*, void*, const char*, const char*, va_list) { return 1; }, nullptr);
    mTiff = TIFFClientOpenExt(
        "picture", mode, this, Read, Write, Seek, [](thandle_t) { return 0; }, Size, nullptr, nullptr, options.get());
}

Bytes TiffMemory::Close() {
    TIFFClose(mTiff);
    mTiff = nullptr;
    return std::move(mWritten);
}

int TiffMemory::Note(TIFF*, void* self, const char*, const char* format, va_list arguments) {
    auto& error = static_cast<TiffMemory*>(self)->mError;
    if (error[0] == '\0') std::vsnprintf(error.data(), error.size(), format, arguments);
    return 1;
}

tmsize_t TiffMemory::Read(thandle_t self, void* data, tmsize_t size) {
    TiffMemory& m = Self(self);
    const Bytes& bytes = m.mRead ? *m.mRead : m.mWritten;
    const std::size_t count = std::min(static_cast<std::size_t>(size), bytes.size() - std::min(m.mAt, bytes.size()));
    if (count > 0) std::memcpy(data, bytes.data() + m.mAt, count);
    m.mAt += count;
    return static_cast<tmsize_t>(count);
}

// No exception may pass through libtiff.
tmsize_t TiffMemory::Write(thandle_t self, void* data, tmsize_t size) try {
    TiffMemory& m = Self(self);
    if (m.mRead || size < 0) return 0;
    const std::size_t end = m.mAt + static_cast<std::size_t>(size);
    if (m.mWritten.size() < end) m.mWritten.resize(end);
    std::memcpy(m.mWritten.data() + m.mAt, data, static_cast<std::size_t>(size));
    m.mAt = end;
    return size;
} catch (const std::exception&) {
    return 0;
}

toff_t TiffMemory::Seek(thandle_t self, toff_t offset, int whence) {
    TiffMemory& m = Self(self);
    const toff_t base = whence == SEEK_CUR ? m.mAt : whence == SEEK_END ? Size(self) : 0;
    m.mAt = static_cast<std::size_t>(base + offset);
    return m.mAt;
}

toff_t TiffMemory::Size(thandle_t self) {
    const TiffMemory& m = Self(self);
    return m.mRead ? m.mRead->size() : m.mWritten.size();
}

}  // namespace measure
