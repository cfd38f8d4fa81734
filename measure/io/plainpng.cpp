#include "measure/io/plainpng.h"

#include <isa-l/igzip_lib.h>
#include <libdeflate.h>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "measure/io.h"

namespace measure {
namespace {

constexpr std::size_t kSignatureBytes = 8;
constexpr std::size_t kBestDeflate = 1032;  // no deflated byte stands for more

std::uint32_t BigEndian(const std::uint8_t* in) {
    return std::uint32_t{in[0]} << 24 | std::uint32_t{in[1]} << 16 | std::uint32_t{in[2]} << 8 | in[3];
}

struct Chunk {
    const std::uint8_t* type = nullptr;  // four letters
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;

    bool Is(const char* name) const { return std::memcmp(type, name, 4) == 0; }
};

// The chunks one after the other.
class Chunks {
public:
    explicit Chunks(const Bytes& bytes) : mBytes(bytes) {}

    // False at the end of the file, and when the next chunk is cut off or damaged.
    bool Next(Chunk& chunk) {
        if (mBytes.size() - mAt < 12) return false;
        const std::uint8_t* const start = mBytes.data() + mAt;
        const std::size_t size = BigEndian(start);
        if (size > mBytes.size() - mAt - 12) return false;
        chunk = {start + 4, start + 8, size};
        mAt += size + 12;
        return libdeflate_crc32(0, chunk.type, size + 4) == BigEndian(chunk.data + size);
    }

private:
    const Bytes& mBytes;
    std::size_t mAt = kSignatureBytes;
};

// The greater of the two bytes beside and above, or that in between, whichever is next to left + above - corner.
std::uint8_t Paeth(int left, int above, int corner) {
    const int toLeft = std::abs(above - corner), toAbove = std::abs(left - corner);
    const int toCorner = std::abs(left + above - 2 * corner);
    const int nearest = toAbove <= toCorner ? above : corner;
    return static_cast<std::uint8_t>(toLeft <= toAbove && toLeft <= toCorner ? left : nearest);
}

// Undoes the filter of a row in place; `step` bytes lie between the same byte of neighbouring pixels. False for a
// filter that does not exist.
template <std::size_t step>
bool Unfilter(int filter, std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
    const auto add = [](std::uint8_t& byte, int predicted) { byte = static_cast<std::uint8_t>(byte + predicted); };
    switch (filter) {
        case 0: return true;
        case 1:
            for (std::size_t i = step; i < size; ++i) add(row[i], row[i - step]);
            return true;
        case 2:
            for (std::size_t i = 0; i < size; ++i) add(row[i], above[i]);
            return true;
        case 3:
            for (std::size_t i = 0; i < step; ++i) add(row[i], above[i] / 2);
            for (std::size_t i = step; i < size; ++i) add(row[i], (row[i - step] + above[i]) / 2);
            return true;
        case 4:
            for (std::size_t i = 0; i < step; ++i) add(row[i], above[i]);
            for (std::size_t i = step; i < size; ++i) add(row[i], Paeth(row[i - step], above[i], above[i - step]));
            return true;
        default: return false;
    }
}

// The rows in the order of a PNG file, each behind the number of its filter.
template <class Pixel>
cv::Mat ToImage(std::uint8_t* filtered, cv::Mat_<Pixel> image) {
    const std::size_t rowBytes = static_cast<std::size_t>(image.cols) * sizeof(Pixel);
    const Bytes none(rowBytes);
    const std::uint8_t* above = none.data();
    for (int y = 0; y < image.rows; ++y) {
        std::uint8_t* const row = filtered + 1;
        if (!Unfilter<sizeof(Pixel)>(*filtered, row, above, rowBytes)) return {};
        Pixel* const out = image[y];
        if constexpr (sizeof(Pixel) == 1)
            std::memcpy(out, row, rowBytes);
        else
            for (int x = 0; x < image.cols; ++x) out[x] = static_cast<Pixel>(row[2 * x] << 8 | row[2 * x + 1]);
        above = row;
        filtered = row + rowBytes;
    }
    return image;
}

bool IsPlain(const Chunk& header) {
    if (!header.Is("IHDR") || header.size != 13) return false;
    const std::uint32_t width = BigEndian(header.data), height = BigEndian(header.data + 4);
    const std::uint8_t* const kind = header.data + 8;  // bits, colour, compression, filters, interlace
    const bool fits = width > 0 && height > 0 && width <= kMaxImageSide && height <= kMaxImageSide;
    return fits && (kind[0] == 8 || kind[0] == 16) && kind[1] == 0 && kind[2] == 0 && kind[3] == 0 && kind[4] == 0;
}

// The deflated pixels, which one chunk holds or several in turn. No size when something is amiss.
Chunk FindPixels(Chunks chunks, Bytes& joined) {
    Chunk pixels, chunk;
    std::size_t parts = 0;
    while (chunks.Next(chunk)) {
        if (chunk.Is("IEND")) return pixels;
        if (!chunk.Is("IDAT")) {
            const bool isCritical = (chunk.type[0] & 0x20) == 0;
            if (isCritical) return {};
            continue;
        }
        if (++parts == 1) {
            pixels = chunk;
            continue;
        }
        if (parts == 2) joined.assign(pixels.data, pixels.data + pixels.size);
        joined.insert(joined.end(), chunk.data, chunk.data + chunk.size);
        pixels.data = joined.data();
        pixels.size = joined.size();
    }
    return {};
}

// All of `size` bytes, and nothing beyond them; false for data that are damaged or of another size.
bool Inflate(const Chunk& data, std::uint8_t* out, std::size_t size, const Progress& progress) {
    constexpr std::size_t kPiece = std::size_t{1} << 24;
    const auto state = std::make_unique<inflate_state>();
    isal_inflate_init(state.get());
    state->crc_flag = ISAL_ZLIB;
    std::size_t taken = 0, made = 0;
    while (state->block_state != ISAL_BLOCK_FINISH) {
        progress.Report("decoding a picture", static_cast<double>(made) / static_cast<double>(size));
        const std::size_t in = std::min(kPiece, data.size - taken), room = std::min(kPiece, size - made);
        state->next_in = const_cast<std::uint8_t*>(data.data) + taken;  // which it only reads
        state->avail_in = static_cast<std::uint32_t>(in);
        state->next_out = out + made;
        state->avail_out = static_cast<std::uint32_t>(room);
        if (isal_inflate(state.get()) != ISAL_DECOMP_OK) return false;
        const std::size_t used = in - state->avail_in, got = room - state->avail_out;
        if (used == 0 && got == 0) break;
        taken += used;
        made += got;
    }
    return state->block_state == ISAL_BLOCK_FINISH && made == size;
}

}  // namespace

cv::Mat DecodePlainPng(const Bytes& bytes, const std::string& file, const Progress& progress) {
    Chunks chunks(bytes);
    Chunk header;
    if (!chunks.Next(header) || !IsPlain(header)) return {};
    Bytes joined;
    const Chunk pixels = FindPixels(chunks, joined);
    const cv::Size size(static_cast<int>(BigEndian(header.data)), static_cast<int>(BigEndian(header.data + 4)));
    const bool isWide = header.data[8] == 16;
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * (isWide ? 2 : 1) + 1;
    const std::size_t total = rowBytes * static_cast<std::size_t>(size.height);
    if (pixels.size == 0 || total / kBestDeflate > pixels.size) return {};
    const cv::Mat image = NewPicture(size, isWide ? CV_16U : CV_8U, file);
    const std::unique_ptr<std::uint8_t[]> filtered(new std::uint8_t[total]);
    if (!Inflate(pixels, filtered.get(), total, progress)) return {};
    return isWide ? ToImage<std::uint16_t>(filtered.get(), image) : ToImage<std::uint8_t>(filtered.get(), image);
}

}  // namespace measure
