#include "measure/io/tiff.h"

#include <algorithm>
#include <cstring>
#include <opencv2/imgproc.hpp>

#include "measure/error.h"
#include "measure/io/tiffmemory.h"
#include "measure/io/tiffpage.h"

namespace measure {
namespace {

constexpr std::size_t kMostPages = 10000;
constexpr std::uint32_t kStripBytes = 1 << 18;

std::uint32_t SampleFormat(int depth) {
    return depth == CV_32F ? SAMPLEFORMAT_IEEEFP : depth == CV_32S ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT;
}

}  // namespace

bool IsTiff(const Bytes& bytes) {
    static constexpr char kMarks[][5] = {"II*\0", "MM\0*", "II+\0", "MM\0+"};
    return bytes.size() > 4 && std::any_of(std::begin(kMarks), std::end(kMarks),
                                           [&](const char* mark) { return std::memcmp(bytes.data(), mark, 4) == 0; });
}

std::vector<cv::Mat> DecodeTiff(const Bytes& bytes, const std::string& file, std::size_t most,
                                const Progress& progress) {
    TiffMemory memory(bytes);
    if (!memory.Get()) throw InputError(file + ": damaged TIFF file: " + memory.Error());
    std::vector<cv::Mat> pages;
    double taken = 0;
    do {
        TiffPage page(memory, bytes.size(), file);
        if (page.IsPicture()) {
            if (taken > 0) RequireMemory(file, taken);  // beyond what each page asks for itself
            pages.push_back(page.Read(progress));
            taken += static_cast<double>(pages.back().total() * pages.back().elemSize());
        }
        if (pages.size() > kMostPages) throw InputError(file + ": has too many pages");
    } while (pages.size() < most && TIFFReadDirectory(memory.Get()));
    if (pages.empty()) throw InputError(file + ": holds no picture, only reduced copies or masks");
    return pages;
}

Bytes EncodeTiff(const cv::Mat& image, const Progress& progress) {
    cv::Mat swapped;
    if (image.channels() == 3) cv::cvtColor(image, swapped, cv::COLOR_BGR2RGB);
    const cv::Mat& pixels = swapped.empty() ? image : swapped;
    const auto rowBytes = static_cast<std::uint32_t>(static_cast<std::size_t>(pixels.cols) * pixels.elemSize());
    const std::uint32_t rowsPerStrip = std::max(1U, kStripBytes / rowBytes);
    constexpr std::size_t kTagBytes = 4096, kBytesPerStrip = 8;  // its place and size
    const std::size_t strips = static_cast<std::size_t>(pixels.rows) / rowsPerStrip + 1;
    TiffMemory memory(image.total() * image.elemSize() + kTagBytes + kBytesPerStrip * strips);
    TIFF* const tiff = memory.Get();
    if (!tiff) throw std::bad_alloc();
    const std::pair<std::uint32_t, std::uint32_t> tags[] = {
        {TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(pixels.cols)},
        {TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(pixels.rows)},
        {TIFFTAG_SAMPLESPERPIXEL, static_cast<std::uint32_t>(pixels.channels())},
        {TIFFTAG_BITSPERSAMPLE, static_cast<std::uint32_t>(8 * pixels.elemSize1())},
        {TIFFTAG_SAMPLEFORMAT, SampleFormat(pixels.depth())},
        {TIFFTAG_PHOTOMETRIC,
         static_cast<std::uint32_t>(pixels.channels() == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK)},
        {TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG},
        {TIFFTAG_COMPRESSION, COMPRESSION_NONE},
        {TIFFTAG_ROWSPERSTRIP, rowsPerStrip},
    };
    for (const auto& [tag, value] : tags) TIFFSetField(tiff, tag, value);
    const auto fail = [&] { throw OutputError("the picture cannot be encoded as TIFF: " + memory.Error()); };
    Bytes strip;
    for (int y = 0; y < pixels.rows; y += static_cast<int>(rowsPerStrip)) {
        progress.Report("encoding a picture", static_cast<double>(y) / pixels.rows);
        const int end = std::min(pixels.rows, y + static_cast<int>(rowsPerStrip));
        strip.clear();
        for (int row = y; row < end; ++row) strip.insert(strip.end(), pixels.ptr(row), pixels.ptr(row) + rowBytes);
        const auto number = static_cast<std::uint32_t>(y) / rowsPerStrip;
        if (TIFFWriteEncodedStrip(tiff, number, strip.data(), static_cast<tmsize_t>(strip.size())) < 0) fail();
    }
    Bytes bytes = memory.Close();  // writes the directory
    if (!memory.Error().empty()) fail();
    return bytes;
}

}  // namespace measure
