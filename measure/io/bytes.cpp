#include "measure/io/bytes.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <utility>

#include "measure/error.h"
#include "measure/io.h"

namespace measure {
namespace {

MemoryCheck memoryCheck;

}  // namespace

void SetMemoryCheck(MemoryCheck check) { memoryCheck = std::move(check); }

void RequireMemory(const std::string& file, double bytes, cv::Size picture) {
    if (memoryCheck) memoryCheck(file, bytes, picture);
}

void RequireReadableSize(std::uint64_t width, std::uint64_t height, const std::string& file) {
    if (width <= kMaxImageSide && height <= kMaxImageSide) return;
    throw InputError(file + ": " + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels is too large, a side may have " + std::to_string(kMaxImageSide));
}

cv::Mat NewPicture(cv::Size size, int type, const std::string& file) {
    const double bytes = static_cast<double>(CV_ELEM_SIZE(type)) * size.width * size.height;
    RequireMemory(file, bytes, size);
    try {
        return {size, type};
    } catch (const std::bad_alloc&) {
    } catch (const cv::Exception& error) {
        if (error.code != cv::Error::StsNoMem) throw;
    }
    throw InputError(file + cv::format(": %d x %d pixels need %.2g GB of memory, more than there is or than is allowed",
                                       size.width, size.height, 1e-9 * bytes));
}

void NarrowToFloat(const std::uint8_t* doubles, std::size_t count, float* floats, const std::string& file) {
    constexpr double kMost = std::numeric_limits<float>::max();
    bool isBeyond = false;
    for (std::size_t i = 0; i < count; ++i) {
        double value = 0;
        std::memcpy(&value, doubles + i * sizeof value, sizeof value);
        const double size = std::abs(value);
        isBeyond |= size > kMost && size <= std::numeric_limits<double>::max();
        floats[i] = static_cast<float>(value);
    }
    if (isBeyond)
        throw InputError(file + ": holds numbers beyond 3.4e38, the greatest that pixels of 32-bit float can be");
}

std::string EndingOf(const std::string& name) {
    std::string ending = std::filesystem::u8path(name).extension().u8string();
    for (char& c : ending) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ending;
}

void RequireFile(const std::string& file) {
    if (file.empty()) throw InputError("the name of a file is empty");
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found) throw InputError(file + ": no such file");
    if (error) throw InputError(file + ": cannot be read: " + error.message());
    if (std::filesystem::is_directory(status)) throw InputError(file + ": is a folder, a file is needed");
    if (!std::filesystem::is_regular_file(status)) throw InputError(file + ": is a device or a pipe, a file is needed");
}

namespace {

// Files that the system makes up while they are read, as those below /proc, tell no size.
[[noreturn]] void RefuseEmpty(const std::string& file) {
    throw InputError(file + ": is empty, or does not tell its size, as files below /proc do not: copy it to a folder");
}

}  // namespace

std::string ReadText(const std::string& file, std::size_t most, const char* kind) {
    RequireFile(file);
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    std::ifstream stream(file, std::ios::binary);
    if (error || !stream) throw InputError(file + ": cannot be opened for reading");
    if (size == 0) RefuseEmpty(file);
    if (size > most) throw InputError(file + ": is too large to be " + kind);
    std::string text(static_cast<std::size_t>(size), '\0');
    if (!stream.read(text.data(), static_cast<std::streamsize>(size))) throw InputError(file + ": cannot be read");
    return text;
}

namespace {

// At most so much between two looks at the progress.
template <class Visit>
void InPieces(std::size_t bytes, const char* stage, const Progress& progress, const Visit& visit) {
    constexpr std::size_t kPiece = std::size_t{1} << 24;
    for (std::size_t first = 0; first < bytes; first += kPiece) {
        progress.Report(stage, static_cast<double>(first) / static_cast<double>(bytes));
        visit(first, std::min(kPiece, bytes - first));
    }
}

}  // namespace

Bytes ReadBytes(const std::string& file, const Progress& progress) {
    RequireFile(file);
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw InputError(file + ": cannot be opened for reading");
    const auto end = stream.seekg(0, std::ios::end).tellg();
    if (end <= 0) RefuseEmpty(file);
    const auto size = static_cast<std::size_t>(end);
    RequireMemory(file, static_cast<double>(size));
    Bytes bytes(size);
    stream.seekg(0);
    InPieces(bytes.size(), "reading a file", progress, [&](std::size_t first, std::size_t count) {
        stream.read(reinterpret_cast<char*>(bytes.data() + first), static_cast<std::streamsize>(count));
    });
    if (!stream) throw InputError(file + ": cannot be read");
    return bytes;
}

void WriteBytes(const std::string& file, const Bytes& bytes, const Progress& progress) {
    std::ofstream stream(file, std::ios::binary);
    InPieces(bytes.size(), "writing a file", progress, [&](std::size_t first, std::size_t count) {
        stream.write(reinterpret_cast<const char*>(bytes.data() + first), static_cast<std::streamsize>(count));
    });
    stream.close();
    if (!stream) throw OutputError(file + ": cannot be written");
}

}  // namespace measure
