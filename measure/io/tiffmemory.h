#pragma once

#include <tiffio.h>
#include <array>
#include <memory>
#include <string>

#include "measure/io/bytes.h"

namespace measure {

// A TIFF file in memory, for libtiff. What the library has to say about it is kept, not printed.
class TiffMemory {
public:
    explicit TiffMemory(const Bytes& bytes);        // to read; the bytes must outlive this object
    explicit TiffMemory(std::size_t expected = 0);  // to write, about so many bytes
    ~TiffMemory();
    TiffMemory(const TiffMemory&) = delete;
    TiffMemory& operator=(const TiffMemory&) = delete;

    // Null when the bytes are no TIFF file.
    TIFF* Get() const { return mTiff; }
    // The first error that libtiff has reported, or an empty text.
    std::string Error() const { return mError.data(); }
    // Completes what was written, unless there is an error.
    Bytes Close();

private:
    void Open(const char* mode);
    static int Note(TIFF*, void* self, const char* module, const char* format, va_list arguments);
    static tmsize_t Read(thandle_t self, void* data, tmsize_t size);
    static tmsize_t Write(thandle_t self, void* data, tmsize_t size);
    static toff_t Seek(thandle_t self, toff_t offset, int whence);
    static toff_t Size(thandle_t self);

    const Bytes* mRead = nullptr;
    Bytes mWritten;
    std::size_t mAt = 0;
    std::array<char, 256> mError{};
    TIFF* mTiff = nullptr;
};

}  // namespace measure
