// Small picture files whose headers are drawn: what they say of the pixels need not be so, nor agree with the rest.
#include <libdeflate.h>

#include <iterator>

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

Input DrawTiff(Draw& draw) {
    const std::uint32_t samples = draw(3) == 0 ? Odd(draw, 3) : 1 + draw(4), width = 1 + draw(40);
    const std::uint32_t bits = OneOf(draw, {1, 4, 8, 8, 12, 16, 32, 64});
    const std::uint32_t height = 1 + draw(20), data = (width * samples * bits + 7) / 8 * height % 200000;
    const bool isTiled = draw(3) == 0;
    const struct {
        std::uint32_t tag, value;
        bool isUsed;
    } tags[] = {
        {256, Odd(draw, width), true},
        {257, Odd(draw, height), true},
        {258, Odd(draw, bits), true},
        {259, OneOf(draw, {1, 1, 1, 1, 5, 8, 32773, 2, 7, 34712}), true},
        {262, draw(4) == 0 ? draw(9) : 1 + draw(2), true},
        {273, 8, !isTiled},
        {274, draw(10), draw(2) == 0},
        {277, Odd(draw, samples), true},
        {278, Odd(draw, height), !isTiled},
        {279, Odd(draw, data), !isTiled},
        {284, 1 + draw(2), true},
        {317, 1 + draw(3), draw(4) == 0},
        {322, Odd(draw, 16), isTiled},
        {323, Odd(draw, 16), isTiled},
        {324, 8, isTiled},
        {325, Odd(draw, data), isTiled},
        {339, OneOf(draw, {1, 1, 2, 3, 3, 4, 5, 6, 0, 7}), true},
    };
    Input file = {'I', 'I', '*', 0};
    Put(8 + data, 4, false, file);
    for (std::uint32_t i = 0; i < data; ++i) file.push_back(static_cast<std::uint8_t>(i * 37));
    std::uint32_t count = 0;
    for (const auto& t : tags) count += t.isUsed ? 1 : 0;
    Put(count, 2, false, file);
    for (const auto& t : tags) {
        if (!t.isUsed) continue;
        Put(t.tag, 2, false, file);
        Put(t.value < 65536 ? 3 : 4, 2, false, file);
        Put(1, 4, false, file);
        Put(t.value, 4, false, file);
    }
    Put(0, 4, false, file);
    return file;
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
    for (int i = 0; i == 0 || (i < 16 && !draw.IsUsedUp()); ++i)
        ReadPictures(draw(2) == 0 ? DrawTiff(draw) : DrawPng(draw));
}

}  // namespace fuzz
