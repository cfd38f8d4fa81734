#include "measure/io/png.h"

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <spng.h>
#include <cstring>
#include <memory>
#include <new>
#include <opencv2/imgproc.hpp>

#include "measure/error.h"
#include "measure/io/plainpng.h"

namespace measure {
namespace {

constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr std::size_t kBestDeflate = 1032;  // no deflated byte stands for more

// Of the five filters "up" gives the smallest files of phases (measured), and costs next to nothing.
constexpr std::uint8_t kFilterNone = 0, kFilterUp = 2;
constexpr int kRowsPerReport = 256;

// --- Reading

struct Closer {
    void operator()(spng_ctx* context) const { spng_ctx_free(context); }
    void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};

class Reader {
public:
    Reader(const Bytes& bytes, const std::string& file) : mContext(spng_ctx_new(0)), mFile(file) {
        if (!mContext) throw std::bad_alloc();
        Check(spng_set_png_buffer(mContext.get(), bytes.data(), bytes.size()));
        Check(spng_set_crc_action(mContext.get(), SPNG_CRC_ERROR, SPNG_CRC_DISCARD));
        Check(spng_get_ihdr(mContext.get(), &mHeader));
        RequireReadableSize(mHeader.width, mHeader.height, file);
        const std::uint64_t bits = std::uint64_t{mHeader.width} * mHeader.height * mHeader.bit_depth;
        if (bits / 8 / kBestDeflate > bytes.size()) Refuse("it holds fewer pixels than its header says");
    }

    cv::Mat Read() {
        switch (mHeader.color_type) {
            case SPNG_COLOR_TYPE_GRAYSCALE:
                return mHeader.bit_depth == 16 ? Read(CV_16UC1, SPNG_FMT_PNG) : Read(CV_8UC1, SPNG_FMT_G8);
            case SPNG_COLOR_TYPE_GRAYSCALE_ALPHA:
                return mHeader.bit_depth == 16 ? Read(CV_16UC2, SPNG_FMT_PNG) : Read(CV_8UC2, SPNG_FMT_PNG);
            case SPNG_COLOR_TYPE_INDEXED: return Swapped(Read(CV_8UC3, SPNG_FMT_RGB8), cv::COLOR_RGB2BGR);
            case SPNG_COLOR_TYPE_TRUECOLOR:
                return Swapped(Read(mHeader.bit_depth == 16 ? CV_16UC3 : CV_8UC3, SPNG_FMT_PNG), cv::COLOR_RGB2BGR);
            default:
                return Swapped(Read(mHeader.bit_depth == 16 ? CV_16UC4 : CV_8UC4, SPNG_FMT_PNG), cv::COLOR_RGBA2BGRA);
        }
    }

private:
    cv::Mat Read(int type, int format) {
        cv::Mat image = NewPicture({static_cast<int>(mHeader.width), static_cast<int>(mHeader.height)}, type, mFile);
        std::size_t size = 0;
        Check(spng_decoded_image_size(mContext.get(), format, &size));
        if (size != image.total() * image.elemSize()) Refuse("its header contradicts itself");
        Check(spng_decode_image(mContext.get(), image.data, size, format, 0));
        return image;
    }
    static cv::Mat Swapped(const cv::Mat& image, int code) {
        cv::Mat swapped;
        cv::cvtColor(image, swapped, code);
        return swapped;
    }
    void Check(int error) const {
        if (error == SPNG_EMEM) throw std::bad_alloc();
        if (error != 0) Refuse(spng_strerror(error));
    }
    [[noreturn]] void Refuse(const std::string& what) const { throw InputError(mFile + ": damaged PNG file: " + what); }

    std::unique_ptr<spng_ctx, Closer> mContext;
    spng_ihdr mHeader{};
    const std::string& mFile;
};

// --- Writing

void PutBigEndian(std::uint32_t value, std::uint8_t* out) {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

// A row as the file has it: red before blue, the upper byte before the lower.
void FileOrder(const cv::Mat& image, int y, Bytes& out) {
    if (image.depth() == CV_16U) {
        const auto* in = image.ptr<std::uint16_t>(y);
        for (std::size_t x = 0; x < static_cast<std::size_t>(image.cols); ++x) {
            out[2 * x] = static_cast<std::uint8_t>(in[x] >> 8);
            out[2 * x + 1] = static_cast<std::uint8_t>(in[x]);
        }
        return;
    }
    const std::uint8_t* in = image.ptr(y);
    if (image.channels() == 1) {
        std::memcpy(out.data(), in, out.size());
        return;
    }
    for (std::size_t x = 0; x < out.size(); x += 3) {
        out[x] = in[x + 2];
        out[x + 1] = in[x + 1];
        out[x + 2] = in[x];
    }
}

// Every row, as its difference from the row above or as it is, behind the number of that filter.
Bytes Filtered(const cv::Mat& image, std::uint8_t filter, const Progress& progress = {}) {
    const std::size_t rowBytes = static_cast<std::size_t>(image.cols) * image.elemSize();
    Bytes above(rowBytes), row(rowBytes), filtered;
    filtered.reserve((rowBytes + 1) * static_cast<std::size_t>(image.rows));
    for (int y = 0; y < image.rows; ++y) {
        if (y % kRowsPerReport == 0) progress.Report("encoding a picture", 0.2 * y / image.rows);
        FileOrder(image, y, row);
        filtered.push_back(filter);
        filtered.insert(filtered.end(), row.begin(), row.end());
        if (filter == kFilterNone) continue;
        std::uint8_t* const out = filtered.data() + filtered.size() - rowBytes;
        for (std::size_t i = 0; i < rowBytes; ++i) out[i] = static_cast<std::uint8_t>(out[i] - above[i]);
        above.swap(row);
    }
    return filtered;
}

void AddChunk(const char* type, const std::uint8_t* data, std::size_t size, Bytes& png) {
    const std::size_t start = png.size();
    png.resize(start + 12 + size);
    std::uint8_t* out = png.data() + start;
    PutBigEndian(static_cast<std::uint32_t>(size), out);
    std::memcpy(out + 4, type, 4);
    if (size > 0) std::memcpy(out + 8, data, size);
    PutBigEndian(libdeflate_crc32(0, out + 4, size + 4), out + 8 + size);
}

void AddBigEndian(std::uint32_t value, Bytes& out) {
    out.resize(out.size() + 4);
    PutBigEndian(value, out.data() + out.size() - 4);
}

// At a level that takes a third of the time of the quickest one of other libraries, a tenth where most bytes are 0, and
// makes files hardly larger. Isa-l takes bits of the address of its stream for bytes of the third position, unless it
// knows bytes before the first: the same picture would become another file every few thousand times. So the first byte
// (there is always one) is stored as it is, in a block of its own, and given to it as a dictionary.
Bytes Deflated(const Bytes& data, const Progress& progress = {}) {
    constexpr std::size_t kLeastPiece = 4096;
    constexpr std::uint32_t kLevel = 1;
    const auto stream = std::make_unique<isal_zstream>();
    Bytes buffer(ISAL_DEF_LVL1_DEFAULT);
    isal_deflate_init(stream.get());
    stream->level = kLevel;
    stream->level_buf = buffer.data();
    stream->level_buf_size = static_cast<std::uint32_t>(buffer.size());
    std::uint8_t first = data.front();
    isal_deflate_set_dict(stream.get(), &first, 1);
    Bytes out = {0x78, 0x01, 0x00, 0x01, 0x00, 0xfe, 0xff, first};  // header, and a stored block that is not the last
    std::size_t taken = 1, made = out.size();
    while (stream->internal_state.state != ZSTATE_END) {
        constexpr std::size_t kMost = std::size_t{1} << 24;
        progress.Report("encoding a picture",
                        0.2 + 0.8 * static_cast<double>(taken) / static_cast<double>(data.size()));
        const std::size_t rest = data.size() - taken, piece = std::min(rest, kMost);
        out.resize(made + piece / 2 + kLeastPiece);
        stream->next_in = const_cast<std::uint8_t*>(data.data()) + taken;  // which it only reads
        stream->avail_in = static_cast<std::uint32_t>(piece);
        stream->end_of_stream = piece == rest;
        stream->next_out = out.data() + made;
        stream->avail_out = static_cast<std::uint32_t>(out.size() - made);
        if (isal_deflate(stream.get()) != COMP_OK) throw OutputError("the picture cannot be deflated");
        taken += piece - stream->avail_in;
        made = out.size() - stream->avail_out;
    }
    out.resize(made);
    AddBigEndian(libdeflate_adler32(1, data.data(), data.size()), out);
    return out;
}

// As it is, in the form of deflated bytes.
Bytes Stored(const Bytes& data) {
    const std::unique_ptr<libdeflate_compressor, Closer> compressor(libdeflate_alloc_compressor(0));
    if (!compressor) throw std::bad_alloc();
    Bytes out(libdeflate_zlib_compress_bound(compressor.get(), data.size()));
    out.resize(libdeflate_zlib_compress(compressor.get(), data.data(), data.size(), out.data(), out.size()));
    return out;
}

// Noise fills the lower bytes of a phase: deflating it takes longer than all else about its file, again when it is
// read, and saves little. A few bands of rows tell.
bool IsWorthDeflating(const cv::Mat& image) {
    constexpr double kMostShare = 0.5;
    constexpr int kBands = 4, kRows = 8;
    if (image.depth() != CV_16U || image.rows < 4 * kBands * kRows) return true;
    std::size_t before = 0, after = 0;
    for (int band = 0; band < kBands; ++band) {
        const int first = (2 * band + 1) * image.rows / (2 * kBands);
        const Bytes rows = Filtered(image.rowRange(first, first + kRows), kFilterUp);
        before += rows.size();
        after += Deflated(rows).size();
    }
    return static_cast<double>(after) <= kMostShare * static_cast<double>(before);
}

}  // namespace

bool IsPng(const Bytes& bytes) {
    return bytes.size() >= sizeof kSignature && std::memcmp(bytes.data(), kSignature, sizeof kSignature) == 0;
}

cv::Mat DecodePng(const Bytes& bytes, const std::string& file, const Progress& progress) {
    const cv::Mat plain = DecodePlainPng(bytes, file, progress);
    return plain.empty() ? Reader(bytes, file).Read() : plain;
}

Bytes EncodePng(const cv::Mat& image, const Progress& progress) {
    constexpr std::size_t mostPerChunk = std::size_t{1} << 30;
    Bytes png(kSignature, kSignature + sizeof kSignature);
    std::uint8_t header[13] = {};
    PutBigEndian(static_cast<std::uint32_t>(image.cols), header);
    PutBigEndian(static_cast<std::uint32_t>(image.rows), header + 4);
    header[8] = image.depth() == CV_16U ? 16 : 8;
    header[9] = image.channels() == 3 ? SPNG_COLOR_TYPE_TRUECOLOR : SPNG_COLOR_TYPE_GRAYSCALE;
    AddChunk("IHDR", header, sizeof header, png);
    const bool deflates = IsWorthDeflating(image);
    const Bytes data = deflates ? Deflated(Filtered(image, kFilterUp, progress), progress)
                                : Stored(Filtered(image, kFilterNone, progress));
    for (std::size_t at = 0; at < data.size(); at += mostPerChunk)
        AddChunk("IDAT", data.data() + at, std::min(mostPerChunk, data.size() - at), png);
    AddChunk("IEND", nullptr, 0, png);
    return png;
}

}  // namespace measure
