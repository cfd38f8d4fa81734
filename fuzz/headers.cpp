// Small picture files whose headers are drawn: what they say of the pixels need not be so, nor agree with the rest.
#include <libdeflate.h>

#include <cstring>

#include "fuzz/targets.h"

namespace fuzz {
namespace {

void Put(std::uint32_t value, int bytes, bool bigEndian, Input& out) {
    for (int i = 0; i < bytes; ++i)
        out.push_back(static_cast<std::uint8_t>(value >> 8 * (bigEndian ? bytes - 1 - i : i)));
}

template <std::size_t n>
std::uint32_t OneOf(Draw& draw, const std::uint32_t (&values)[n]) {
    return values[draw(n)];
}

// Mostly what files say, sometimes what none says, and the limits at which numbers wrap round.
std::uint32_t Odd(Draw& draw, std::uint32_t usual) {
    constexpr std::uint32_t kOdd[] = {0,    1,     2,     3,     4,     7,      8,         15,         16,         17,
                                      31,   32,    64,    255,   256,   511,    512,       513,        1024,       1025,
                                      4095, 32766, 32767, 32768, 65535, 65536u, 0x7ffffff, 0x7fffffff, 0x80000000, ~0u};
    const std::uint32_t kind = draw(16);
    if (kind < 13) return usual;
    return kind < 15 ? OneOf(draw, kOdd) : draw(65536);
}

constexpr std::uint32_t kStripOffsets = 273, kStripCounts = 279, kTileOffsets = 324, kTileCounts = 325;

// An entry of the directory. Tables may say that they have more or fewer numbers than they have.
struct Tag {
    std::uint32_t tag, value;
    bool isUsed = true;
    std::uint32_t count = 1;
};

// The pixels stand behind all else, and all bytes of plain ones are 255.
Input DrawTiff(Draw& draw, bool isPlain) {
    const std::uint32_t samples = draw(3) == 0 ? Odd(draw, 3) : 1 + draw(4), width = 1 + draw(40);
    const std::uint32_t bits = OneOf(draw, {1, 4, 8, 8, 12, 16, 32, 64});
    const std::uint32_t height = 1 + draw(20), data = (width * samples * bits + 7) / 8 * height % 200000;
    const bool isTiled = draw(3) == 0;
    const std::uint32_t pieces = draw(2) == 0 ? 1 : 1 + draw(height), missing = draw(4 * pieces);
    const std::uint32_t rows = (height + pieces - 1) / pieces, piece = data / height * rows;
    Tag tags[] = {
        {256, Odd(draw, width)},
        {257, Odd(draw, height)},
        {258, Odd(draw, bits)},
        {259, isPlain ? 1 : OneOf(draw, {5, 8, 32773, 2, 7, 34712})},
        {262, draw(4) == 0 ? draw(9) : 1 + draw(2)},
        {kStripOffsets, 0, !isTiled, Odd(draw, pieces)},
        {274, draw(10), draw(2) == 0},
        {277, Odd(draw, samples)},
        {278, Odd(draw, rows), !isTiled},
        {kStripCounts, Odd(draw, piece), !isTiled && draw(8) != 0, Odd(draw, pieces)},
        {284, 1 + draw(2)},
        {317, 1 + draw(3), draw(4) == 0},
        {322, Odd(draw, 16), isTiled},
        {323, Odd(draw, 16), isTiled},
        {kTileOffsets, 0, isTiled, Odd(draw, pieces)},
        {kTileCounts, Odd(draw, piece), isTiled, Odd(draw, pieces)},
        {339, OneOf(draw, {1, 1, 2, 3, 3, 4, 5, 6, 0, 7})},
    };
    std::uint32_t used = 0;
    for (const Tag& t : tags) used += t.isUsed ? 1 : 0;
    const std::uint32_t counts = 8 + 2 + 12 * used + 4, offsets = counts + 4 * pieces, first = offsets + 4 * pieces;
    Input file = {'I', 'I', '*', 0, 8, 0, 0, 0};
    Put(used, 2, false, file);
    for (Tag& t : tags) {
        if (!t.isUsed) continue;
        const bool isOffsets = t.tag == kStripOffsets || t.tag == kTileOffsets;
        if (isOffsets) t.value = missing == 0 ? draw(8) : first;
        if (t.count > 1) t.value = isOffsets ? offsets : counts;
        Put(t.tag, 2, false, file);
        Put(t.count == 1 && t.value < 65536 ? 3 : 4, 2, false, file);
        Put(t.count, 4, false, file);
        Put(t.value, 4, false, file);
    }
    Put(0, 4, false, file);
    for (std::uint32_t i = 0; i < pieces; ++i) Put(Odd(draw, piece), 4, false, file);
    for (std::uint32_t i = 0; i < pieces; ++i) Put(missing == i ? draw(8) : first + piece * i, 4, false, file);
    for (std::uint32_t i = 0; i < data; ++i) file.push_back(static_cast<std::uint8_t>(isPlain ? 255 : i * 37));
    return file;
}

// Other bytes of the file than those of the pixels differ from these.
void RequireEqualPixels(const cv::Mat& page) {
    for (int y = 0; y < page.rows; ++y)
        for (std::size_t at = 0; at < static_cast<std::size_t>(page.cols) * page.elemSize(); at += page.elemSize())
            Require(std::memcmp(page.ptr(y) + at, page.data, page.elemSize()) == 0,
                    "pixels from elsewhere in the file");
}

void PutChunk(const char* type, const Input& data, Input& png) {
    Put(static_cast<std::uint32_t>(data.size()), 4, true, png);
    const std::size_t start = png.size();
    png.insert(png.end(), type, type + 4);
    png.insert(png.end(), data.begin(), data.end());
    Put(libdeflate_crc32(0, png.data() + start, png.size() - start), 4, true, png);
}

Input DrawPng(Draw& draw) {
    Input png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}, header, palette, pixels;
    const std::uint32_t width = 1 + draw(40), height = 1 + draw(20);
    Put(Odd(draw, width), 4, true, header);
    Put(Odd(draw, height), 4, true, header);
    constexpr std::uint32_t kDepths[] = {8, 8, 16, 1, 2, 4, 16, 8}, kColours[] = {0, 2, 4, 0, 0, 3, 6, 3};
    const std::uint32_t kind = draw(8), depth = Odd(draw, kDepths[kind]), colour = Odd(draw, kColours[kind]);
    for (const std::uint32_t value : {depth, colour, draw(32) / 31, draw(32) / 31, draw(8) / 7})
        header.push_back(static_cast<std::uint8_t>(value));
    PutChunk("IHDR", header, png);
    palette.resize(draw(3) == 0 ? 3 * (1 + draw(256)) : 0);
    if (!palette.empty()) PutChunk("PLTE", palette, png);
    // Stored pixels, of which there may be too few or too many.
    Input rows((1 + width * OneOf(draw, {1, 1, 2, 3, 4, 6, 8})) * height, 0);
    for (std::size_t i = 0; i < rows.size(); i += 1 + width) rows[i] = static_cast<std::uint8_t>(draw(6));
    pixels = {0x78, 1, 1};
    const auto size = static_cast<std::uint32_t>(rows.size());
    Put(size, 2, false, pixels);
    Put(~size & 0xffff, 2, false, pixels);
    pixels.insert(pixels.end(), rows.begin(), rows.end());
    Put(libdeflate_adler32(1, rows.data(), rows.size()), 4, true, pixels);
    PutChunk("IDAT", pixels, png);
    PutChunk("IEND", {}, png);
    return png;
}

}  // namespace

void ReadHeaders(const Input& input) {
    Draw draw(input);
    for (int i = 0; i == 0 || (i < 16 && !draw.IsUsedUp()); ++i) {
        switch (draw(4)) {
            case 0: ReadPages(DrawTiff(draw, true), RequireEqualPixels); break;
            case 1: ReadPictures(DrawTiff(draw, false)); break;
            default: ReadPictures(DrawPng(draw));
        }
    }
}

}  // namespace fuzz
