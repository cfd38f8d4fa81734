#include "measure/io/bytes.h"

#include <filesystem>
#include <fstream>

#include "measure/error.h"
#include "measure/io.h"

namespace measure {

void RequireReadableSize(std::uint64_t width, std::uint64_t height, const std::string& file) {
    if (width <= kMaxImageSide && height <= kMaxImageSide) return;
    throw InputError(file + ": " + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels is too large, a side may have " + std::to_string(kMaxImageSide));
}

Bytes ReadBytes(const std::string& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found) throw InputError(file + ": no such file");
    if (error) throw InputError(file + ": cannot be read: " + error.message());
    if (!std::filesystem::is_regular_file(status)) throw InputError(file + ": not a picture file");
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    if (!stream) throw InputError(file + ": cannot be opened for reading");
    Bytes bytes(static_cast<std::size_t>(stream.tellg()));
    stream.seekg(0);
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream) throw InputError(file + ": cannot be read");
    return bytes;
}

void WriteBytes(const std::string& file, const Bytes& bytes) {
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream) throw OutputError(file + ": cannot be written");
}

}  // namespace measure
