// Pictures and arrays in files: what is written is read again, by us and by others, whatever a file looks like inside;
// what is broken is refused.
#include <gtest/gtest.h>
#include <libdeflate.h>
#include <spng.h>

#include <cstdlib>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <random>

#include "measure/error.h"
#include "measure/io.h"
#include "measure/io/plainpng.h"
#include "measure/io/tiffmemory.h"
#include "tests/support/program.h"
#include "tests/support/refusal.h"

using namespace measure;

namespace {

class Io : public test::Folder {
protected:
    std::string File(const std::string& name) const { return Folder::File(name).string(); }
    std::string Write(const std::string& name, const std::string& bytes) const {
        WriteBytes(name, bytes);
        return File(name);
    }
    std::string Write(const std::string& name, const Bytes& bytes) const {
        return Write(name, std::string(bytes.begin(), bytes.end()));
    }
};

// Every value of the type may occur; floats are also NaN and infinite.
cv::Mat Noise(int width, int height, int type) {
    cv::Mat image(height, width, type);
    if (CV_MAT_DEPTH(type) == CV_32F) {
        cv::randu(image, -7, 7);
        image.at<float>(0, 0) = std::nanf("");
        image.at<float>(height - 1, width - 1) = -INFINITY;
    } else {
        const double top = CV_MAT_DEPTH(type) == CV_8U ? 256 : CV_MAT_DEPTH(type) == CV_16U ? 65536 : 2147483647;
        cv::randu(image, CV_MAT_DEPTH(type) == CV_32S ? -top : 0, top);
    }
    return image;
}

bool AreSame(const cv::Mat& a, const cv::Mat& b) {
    if (a.type() != b.type() || a.size() != b.size()) return false;
    for (int y = 0; y < a.rows; ++y)
        if (std::memcmp(a.ptr(y), b.ptr(y), static_cast<std::size_t>(a.cols) * a.elemSize()) != 0) return false;
    return true;
}

TEST_F(Io, WritesWhatItAndOthersRead) {
    const std::pair<const char*, std::vector<int>> formats[] = {
        {".png", {CV_8U, CV_16U, CV_8UC3}},
        {".TIF", {CV_8U, CV_16U, CV_32S, CV_32F, CV_8UC3}},
        {".bmp", {CV_8U, CV_8UC3}},
        {".npy", {CV_8U, CV_16U, CV_32S, CV_32F}},
    };
    for (const auto& [ending, types] : formats) {
        for (const int type : {CV_8U, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F, CV_8UC3, CV_8UC4, CV_16UC3}) {
            const std::string file = File(std::string("x") + ending);
            SCOPED_TRACE(file + cv::typeToString(type));
            if (std::count(types.begin(), types.end(), type) == 0) {
                EXPECT_THROW(WritePicture(file, cv::Mat(3, 2, type, cv::Scalar::all(0))), InputError);
                continue;
            }
            for (const cv::Size size : {cv::Size(1, 1), {37, 11}, {3, 500}, {70000 / 5, 2}}) {
                const cv::Mat inside = Noise(size.width + 4, size.height + 2, type);
                const cv::Mat image = inside(cv::Rect({3, 1}, size));  // rows with gaps between them
                WritePicture(file, image);
                cv::Mat grey = image;
                if (image.channels() == 3) cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
                EXPECT_TRUE(AreSame(ReadPicture(file), grey)) << size;
                if (std::string(ending) == ".npy") continue;
                EXPECT_TRUE(AreSame(cv::imread(file, cv::IMREAD_UNCHANGED), image)) << size;
            }
        }
    }
    for (const char* name : {"x.jpg", "x", "png", "x.npz"}) EXPECT_THROW(RequireWritableName(name), InputError);
    EXPECT_THROW(WritePicture(File("none/x.png"), cv::Mat(2, 2, CV_8U, 0.0)), OutputError);
}

TEST_F(Io, ReadsWhatOthersWrite) {
    const cv::Mat colour = Noise(31, 17, CV_8UC3), opaque = Noise(31, 17, CV_16UC4);
    cv::Mat grey, deep, smooth(40, 50, CV_8U, 100.0);
    cv::cvtColor(colour, grey, cv::COLOR_BGR2GRAY);
    cv::cvtColor(opaque, deep, cv::COLOR_BGRA2GRAY);
    const cv::Mat blackWhite = grey >= 128;
    const struct {
        const char* name;
        cv::Mat written;
        std::vector<int> settings;
        cv::Mat read;
    } cases[] = {
        {"a.png", colour, {}, grey},
        {"b.png", opaque, {}, deep},
        {"c.png", blackWhite, {cv::IMWRITE_PNG_BILEVEL, 1}, blackWhite},
        {"lzw.tiff", colour, {cv::IMWRITE_TIFF_COMPRESSION, 5}, grey},
        {"deflate.tiff", Noise(90, 70, CV_16U), {cv::IMWRITE_TIFF_COMPRESSION, 8}, {}},
        {"a.bmp", colour, {}, grey},
        {"a.jpg", smooth, {}, smooth},
        {"a.pgm", grey, {}, grey},
        {"a.webp", smooth, {cv::IMWRITE_WEBP_QUALITY, 101}, smooth},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(cv::imwrite(File(c.name), c.written, c.settings));
        EXPECT_TRUE(AreSame(ReadPicture(File(c.name)), c.read.empty() ? c.written : c.read)) << c.name;
    }
    EXPECT_EQ(ListPictures(File("")).size(), std::size(cases));
    const cv::Mat text = ReadPicture(Write("text", "P2\n# of 2 pixels\n2 1 # and a row\n1000 500\n1000\n"));
    EXPECT_TRUE(AreSame(text, (cv::Mat_<ushort>(1, 2) << 500, 1000)));
}

// --- PNG

Bytes EncodeBySpng(const cv::Mat& image, int filters) {
    spng_ctx* const context = spng_ctx_new(SPNG_CTX_ENCODER);
    spng_set_option(context, SPNG_ENCODE_TO_BUFFER, 1);
    spng_set_option(context, SPNG_FILTER_CHOICE, filters);
    spng_ihdr header{};
    header.width = static_cast<std::uint32_t>(image.cols);
    header.height = static_cast<std::uint32_t>(image.rows);
    header.bit_depth = static_cast<std::uint8_t>(8 * image.elemSize1());
    header.color_type = image.channels() == 2 ? SPNG_COLOR_TYPE_GRAYSCALE_ALPHA : SPNG_COLOR_TYPE_GRAYSCALE;
    spng_set_ihdr(context, &header);
    EXPECT_EQ(
        spng_encode_image(context, image.data, image.total() * image.elemSize(), SPNG_FMT_PNG, SPNG_ENCODE_FINALIZE),
        0);
    std::size_t size = 0;
    int error = 0;
    void* const data = spng_get_png_buffer(context, &size, &error);
    const Bytes bytes(static_cast<std::uint8_t*>(data), static_cast<std::uint8_t*>(data) + size);
    std::free(data);
    spng_ctx_free(context);
    return bytes;
}

TEST_F(Io, ReadsPlainPngOfEveryFilter) {
    for (const int type : {CV_8UC2, CV_16UC2}) {  // grey and opacity
        const cv::Mat image = Noise(37, 21, type);
        cv::Mat grey;
        cv::extractChannel(image, grey, 0);
        EXPECT_TRUE(AreSame(ReadPicture(Write("x.png", EncodeBySpng(image, SPNG_FILTER_CHOICE_ALL))), grey)) << type;
    }
    for (const int type : {CV_8U, CV_16U})
        for (const cv::Size size : {cv::Size(1, 1), cv::Size(37, 21), cv::Size(300, 200)}) {
            cv::Mat image = Noise(size.width, size.height, type);
            cv::blur(image, image, cv::Size(5, 5));  // so that choosing filters by rows finds all of them
            for (const int filters : {SPNG_FILTER_CHOICE_NONE, SPNG_FILTER_CHOICE_SUB, SPNG_FILTER_CHOICE_UP,
                                      SPNG_FILTER_CHOICE_AVG, SPNG_FILTER_CHOICE_PAETH, SPNG_FILTER_CHOICE_ALL})
                EXPECT_TRUE(AreSame(DecodePlainPng(EncodeBySpng(image, filters), "x"), image))
                    << type << ' ' << filters;
        }
}

// Deep pictures whose lower bytes are noise are stored; all others shrink.
TEST_F(Io, DeflatesWhereItPays) {
    cv::Mat ramp(300, 200, CV_16U);
    for (int y = 0; y < ramp.rows; ++y) ramp.row(y) = 100 * y;
    const cv::Mat noise = Noise(200, 300, CV_16U);
    EXPECT_LT(EncodePicture("a.png", ramp).size(), ramp.total() / 5);
    EXPECT_LT(EncodePicture("a.png", noise).size(), 2 * noise.total() + noise.total() / 50);
    for (const cv::Mat& image : {ramp, noise}) {
        WritePicture(File("a.png"), image);
        EXPECT_TRUE(AreSame(ReadPicture(File("a.png")), image));
        EXPECT_TRUE(AreSame(cv::imread(File("a.png"), cv::IMREAD_UNCHANGED), image));
    }
}

// Wherever the memory lies that the encoder works in.
TEST_F(Io, EncodesAPictureAlwaysAlike) {
    const cv::Mat image = test::Draw<uchar>(100, 4, [](int x, int y) { return x < 50 ? 0 : 7 * x + y; });
    const Bytes first = EncodePicture("a.png", image);
    std::vector<std::unique_ptr<char[]>> held;
    for (int n = 0; n < 10000; ++n) {
        held.emplace_back(new char[1 << 16]);  // and never written
        ASSERT_TRUE(EncodePicture("a.png", image) == first) << n;
    }
}

// --- TIFF

struct TiffKind {
    int bits = 8;
    int format = SAMPLEFORMAT_UINT;
    int samples = 1;
    int tile = 0;
    bool planes = false;
    int photometric = PHOTOMETRIC_MINISBLACK;
    int compression = COMPRESSION_NONE;
    int orientation = ORIENTATION_TOPLEFT;
    std::uint32_t subfile = 0;
};

// Sample values as numbers, packed as the file has them.
Bytes Packed(const TiffKind& kind, const std::vector<double>& values, std::size_t perRow) {
    Bytes out;
    const auto put = [&out](const auto& v) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(&v);
        out.insert(out.end(), bytes, bytes + sizeof v);
    };
    for (std::size_t i = 0; i < values.size(); i += perRow) {
        unsigned held = 0, have = 0;
        for (std::size_t k = i; k < i + perRow; ++k) {
            const double v = values[k];
            if (kind.bits == 64) put(v);
            if (kind.bits == 32 && kind.format == SAMPLEFORMAT_IEEEFP) put(static_cast<float>(v));
            if (kind.bits == 32 && kind.format != SAMPLEFORMAT_IEEEFP) put(static_cast<std::int32_t>(v));
            if (kind.bits == 16) put(static_cast<std::uint16_t>(v));
            if (kind.bits > 15) continue;
            held = held << kind.bits | static_cast<unsigned>(v);
            for (have += static_cast<unsigned>(kind.bits); have >= 8; have -= 8)
                out.push_back(static_cast<std::uint8_t>(held >> (have - 8)));
        }
        if (have > 0) out.push_back(static_cast<std::uint8_t>(held << (8 - have)));
    }
    return out;
}

constexpr int kWidth = 37, kHeight = 32;  // tiles fit the height, and not the width

// value(x, y, sample) for a picture of 37 x 21 pixels as stored.
template <class F>
void AddPage(TIFF* tiff, const TiffKind& kind, const F& value) {
    const std::pair<int, int> tags[] = {
        {TIFFTAG_IMAGEWIDTH, kWidth},
        {TIFFTAG_IMAGELENGTH, kHeight},
        {TIFFTAG_SAMPLESPERPIXEL, kind.samples},
        {TIFFTAG_BITSPERSAMPLE, kind.bits},
        {TIFFTAG_SAMPLEFORMAT, kind.format},
        {TIFFTAG_PHOTOMETRIC, kind.photometric},
        {TIFFTAG_PLANARCONFIG, kind.planes ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG},
        {TIFFTAG_COMPRESSION, kind.compression},
        {TIFFTAG_ORIENTATION, kind.orientation},
        {TIFFTAG_SUBFILETYPE, static_cast<int>(kind.subfile)},
        {kind.tile ? TIFFTAG_TILEWIDTH : TIFFTAG_ROWSPERSTRIP, kind.tile ? kind.tile : 4},
        {kind.tile ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP, kind.tile ? kind.tile : 4},
    };
    for (const auto& [tag, v] : tags) TIFFSetField(tiff, static_cast<std::uint32_t>(tag), v);
    if (kind.photometric == PHOTOMETRIC_PALETTE) {
        std::vector<std::uint16_t> ramp(256);
        for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<std::uint16_t>((255 - i) * 257);
        TIFFSetField(tiff, TIFFTAG_COLORMAP, ramp.data(), ramp.data(), ramp.data());
    }
    const int w = kind.tile ? kind.tile : kWidth, h = kind.tile ? kind.tile : 4;
    std::uint32_t number = 0;
    for (int plane = 0; plane < (kind.planes ? kind.samples : 1); ++plane)
        for (int y0 = 0; y0 < kHeight; y0 += h)
            for (int x0 = 0; x0 < kWidth; x0 += w) {
                std::vector<double> values;
                for (int y = y0; y < (kind.tile ? y0 + h : std::min(y0 + h, kHeight)); ++y)
                    for (int x = x0; x < x0 + w; ++x)
                        for (int s = 0; s < (kind.planes ? 1 : kind.samples); ++s)
                            values.push_back(value(x, y, kind.planes ? plane : s));
                Bytes bytes =
                    Packed(kind, values, static_cast<std::size_t>(w) * (kind.planes ? 1U : unsigned(kind.samples)));
                const auto size = static_cast<tmsize_t>(bytes.size());
                const auto done = kind.tile ? TIFFWriteEncodedTile(tiff, number++, bytes.data(), size)
                                            : TIFFWriteEncodedStrip(tiff, number++, bytes.data(), size);
                ASSERT_EQ(done, size);
            }
    ASSERT_TRUE(TIFFWriteDirectory(tiff));
}

TEST_F(Io, ReadsEveryKindOfTiff) {
    const TiffKind rgb{8, 1, 3, 0, false, PHOTOMETRIC_RGB}, planes{16, 1, 4, 0, true, PHOTOMETRIC_RGB};
    TiffKind tiles = rgb, planeTiles = planes;
    tiles.tile = planeTiles.tile = 16;
    std::vector<std::pair<TiffKind, int>> cases = {
        {rgb, CV_8U},
        {planes, CV_16U},
        {tiles, CV_8U},
        {planeTiles, CV_16U},
        {{8, 1, 1, 0, false, PHOTOMETRIC_PALETTE}, CV_8U},
        {{8, 1, 1, 0, false, PHOTOMETRIC_MINISWHITE}, CV_8U},
        {{12, 1, 1, 0, false, PHOTOMETRIC_MINISWHITE}, CV_16U},
        {{32, SAMPLEFORMAT_INT, 1, 0, false, PHOTOMETRIC_MINISWHITE}, CV_32S},
        {{16, 1, 2}, CV_16U},  // the second is opacity
    };
    for (const int tile : {0, 16})
        for (const int compression : {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE}) {
            for (const int bits : {1, 2, 4, 8, 10, 12, 14, 16})
                cases.push_back({{bits, 1, 1, tile, false, 1, compression}, bits <= 8 ? CV_8U : CV_16U});
            cases.push_back({{32, SAMPLEFORMAT_INT, 1, tile, false, 1, compression}, CV_32S});
            cases.push_back({{32, SAMPLEFORMAT_UINT, 1, tile, false, 1, compression}, CV_32S});
            cases.push_back({{32, SAMPLEFORMAT_IEEEFP, 1, tile, false, 1, compression}, CV_32F});
            cases.push_back({{64, SAMPLEFORMAT_IEEEFP, 1, tile, false, 1, compression}, CV_32F});
        }
    for (const auto& [kind, depth] : cases) {
        const int most = kind.bits < 16 ? (1 << kind.bits) - 1 : 65535;
        const auto value = [most](int x, int y, int s) { return (x * 977 + y * 131 + s * 10007) % (most + 1); };
        TiffMemory memory;
        AddPage(memory.Get(), kind, value);
        const cv::Mat read = ReadPicture(Write("x.tiff", memory.Close()));
        SCOPED_TRACE(testing::Message() << kind.bits << " bits, " << kind.samples << " samples, tile " << kind.tile
                                        << ", planes " << kind.planes << ", compression " << kind.compression);
        cv::Mat expected(kHeight, kWidth, kind.photometric == PHOTOMETRIC_RGB ? CV_32FC3 : CV_32FC1);
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                for (int s = 0; s < expected.channels(); ++s) {
                    int v = value(x, y, expected.channels() - 1 - s);
                    const bool inverted =
                        kind.photometric == PHOTOMETRIC_MINISWHITE || kind.photometric == PHOTOMETRIC_PALETTE;
                    if (inverted) v = (kind.bits == 32 ? -1 : most) - v;
                    expected.ptr<float>(y)[x * expected.channels() + s] =
                        static_cast<float>(kind.bits < 8 ? v * 255 / most : v);
                }
        expected.convertTo(expected, depth);
        if (expected.channels() == 3) cv::cvtColor(expected, expected, cv::COLOR_BGR2GRAY);
        EXPECT_TRUE(AreSame(read, expected));
    }
}

TEST_F(Io, ReadsAllPagesTheRightWayUp) {
    TiffMemory memory;
    const auto corner = [](int x, int y, int) { return x < 5 && y < 3 ? 200 : x + y; };
    for (int orientation = 1; orientation <= 8; ++orientation) {
        TiffKind kind;
        kind.orientation = orientation;
        AddPage(memory.Get(), kind, corner);
        kind.subfile = FILETYPE_REDUCEDIMAGE;
        AddPage(memory.Get(), kind, corner);
    }
    const std::string file = Write("pages.tif", memory.Close());
    const std::vector<cv::Mat> pages = ReadPages(file);
    ASSERT_EQ(pages.size(), 8U);
    EXPECT_TRUE(AreSame(pages[0], ReadPicture(file)));
    SetMemoryCheck([page = static_cast<double>(pages[0].total())](const std::string&, double bytes, cv::Size picture) {
        if (picture.empty() && bytes == 7 * page) throw InputError("too much");
    });
    EXPECT_EQ(test::Refusal([&] { ReadPages(file); }), "too much");
    SetMemoryCheck({});
    // Where the stored first row and the stored first column are seen, for each orientation.
    const struct {
        bool right, bottom, turned;
    } places[] = {{false, false, false}, {true, false, false}, {true, true, false}, {false, true, false},
                  {false, false, true},  {true, false, true},  {true, true, true},  {false, true, true}};
    for (std::size_t i = 0; i < pages.size(); ++i) {
        const auto& [right, bottom, turned] = places[i];
        const cv::Mat& page = pages[i];
        ASSERT_EQ(page.size(), turned ? cv::Size(kHeight, kWidth) : cv::Size(kWidth, kHeight)) << i;
        const int w = turned ? 3 : 5, h = turned ? 5 : 3;
        const cv::Rect bright(right ? page.cols - w : 0, bottom ? page.rows - h : 0, w, h);
        EXPECT_EQ(cv::countNonZero(page == 200), 15) << i;
        EXPECT_EQ(cv::countNonZero(page(bright) == 200), 15) << i;
    }
}

// --- NPY and NPZ

template <class T>
std::string Numbers(std::initializer_list<T> values, bool reversed = false) {
    std::string data;
    for (const T v : values) {
        std::string bytes(reinterpret_cast<const char*>(&v), sizeof v);
        if (reversed) std::reverse(bytes.begin(), bytes.end());
        data += bytes;
    }
    return data;
}

std::string Zip(const std::string& content, bool deflate, int entries = 1) {
    std::string packed = content;
    if (deflate) {
        auto* const compressor = libdeflate_alloc_compressor(6);
        packed.resize(libdeflate_deflate_compress_bound(compressor, content.size()));
        packed.resize(
            libdeflate_deflate_compress(compressor, content.data(), content.size(), packed.data(), packed.size()));
        libdeflate_free_compressor(compressor);
    }
    const auto n = [](std::size_t v, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i, v >>= 8) text += static_cast<char>(v);
        return text;
    };
    const std::string name = "phase.npy", extra(20, '\1');
    const std::string common = n(20, 2) + n(0, 2) + n(deflate ? 8 : 0, 2) + n(0, 4) +
                               n(libdeflate_crc32(0, content.data(), content.size()), 4) + n(packed.size(), 4) +
                               n(content.size(), 4) + n(name.size(), 2);
    const std::string local = "PK\3\4" + common + n(extra.size(), 2) + name + extra + packed;
    const std::string entry = "PK\1\2" + n(20, 2) + common + n(0, 12) + n(0, 4) + name;
    return local + entry + "PK\5\6" + n(0, 6) + n(static_cast<unsigned>(entries), 2) + n(entry.size(), 4) +
           n(local.size(), 4) + n(0, 2);
}

TEST_F(Io, ReadsArraysOfEveryKind) {
    const cv::Mat ints = (cv::Mat_<int>(2, 3) << 1, -2, 3, 70000, 5, 6);
    cv::Mat shorts, floats, flags = (cv::Mat_<uchar>(2, 3) << 255, 0, 255, 255, 0, 255);
    cv::Mat positive = cv::abs(ints);
    const cv::Mat words = (cv::Mat_<ushort>(2, 3) << 1, 2, 300, 65535, 5, 6);
    ints.convertTo(floats, CV_32F);
    using I = std::int32_t;
    using W = std::uint16_t;
    const struct {
        const char* descr;
        std::string data;
        const char* order;
        cv::Mat expected;
    } cases[] = {
        {"<i4", Numbers<I>({1, -2, 3, 70000, 5, 6}), "False", ints},
        {">i4", Numbers<I>({1, -2, 3, 70000, 5, 6}, true), "False", ints},
        {">i4", Numbers<I>({1, 70000, -2, 5, 3, 6}, true), "True", ints},
        {"=i4", Numbers<I>({1, 70000, -2, 5, 3, 6}), "True", ints},
        {"<i8", Numbers<std::int64_t>({1, -2, 3, 70000, 5, 6}), "False", ints},
        {">u4", Numbers<std::uint32_t>({1, 2, 3, 70000, 5, 6}, true), "False", positive},
        {"<u2", Numbers<W>({1, 2, 300, 65535, 5, 6}), "False", words},
        {">u2", Numbers<W>({1, 65535, 2, 5, 300, 6}, true), "True", words},
        {"<f4", Numbers<float>({1, -2, 3, 70000, 5, 6}), "False", floats},
        {">f8", Numbers<double>({1, -2, 3, 70000, 5, 6}, true), "False", floats},
        {"|b1", Numbers<uchar>({1, 0, 1, 1, 0, 1}), "False", flags},
        {"|u1", Numbers<uchar>({255, 0, 255, 255, 0, 255}), "False", flags},
    };
    for (const auto& c : cases) {
        const std::string npy = test::Npy(c.descr, "(2, 3)", c.data, c.order), row = std::string(c.descr) + c.order;
        const bool isOtherwise = c.descr[0] == '>' || c.order == std::string("True");
        double asked = 0;
        SetMemoryCheck([&](auto&, double bytes, cv::Size picture) {
            asked += bytes;
            EXPECT_TRUE(picture.empty() || picture == c.expected.size()) << row;
        });
        EXPECT_TRUE(AreSame(ReadPicture(Write("x.npy", npy)), c.expected)) << row;
        SetMemoryCheck({});
        EXPECT_EQ(asked, npy.size() + c.expected.total() * c.expected.elemSize() + (isOtherwise ? c.data.size() : 0));
        for (const bool deflate : {false, true})
            EXPECT_TRUE(AreSame(ReadPicture(Write("x.npz", Zip(npy, deflate))), c.expected)) << c.descr << deflate;
    }
}

// --- What is broken

// A header of version 2, which may be long.
std::string NpyOf(const std::string& header) {
    std::string length;
    for (int i = 0; i < 4; ++i) length += static_cast<char>(header.size() >> (8 * i));
    return std::string("\x93NUMPY\x02\0", 8) + length + header;
}

std::string GiantPng(const std::string& png, std::uint32_t width, std::uint32_t height) {
    std::string giant = png;
    for (int i = 0; i < 4; ++i) {
        giant[16 + static_cast<std::size_t>(i)] = static_cast<char>(width >> (24 - 8 * i));
        giant[20 + static_cast<std::size_t>(i)] = static_cast<char>(height >> (24 - 8 * i));
    }
    const std::uint32_t check = libdeflate_crc32(0, giant.data() + 12, 17);
    for (int i = 0; i < 4; ++i) giant[29 + static_cast<std::size_t>(i)] = static_cast<char>(check >> (24 - 8 * i));
    return giant;
}

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST_F(Io, RefusesBrokenFilesByName) {
    const cv::Mat image = Noise(40, 30, CV_8U);
    const std::string png = Text(EncodePicture("x.png", image)), bmp = Text(EncodePicture("x.bmp", image));
    const std::string tiff = Text(EncodePicture("x.tiff", image)), npy = Text(EncodePicture("x.npy", image));
    std::string giantBmp = bmp, giantTiff = tiff, longZip = Zip(npy, true), otherZip = Zip(npy, false),
                lockedZip = otherZip;
    giantBmp.replace(18, 8, Numbers<std::int32_t>({1000000, 1000000}));
    const std::size_t width = giantTiff.find(Numbers<std::uint16_t>({256, 3, 1, 0, 40})),
                      height = giantTiff.find(Numbers<std::uint16_t>({257, 3, 1, 0, 30}));
    ASSERT_NE(std::max(width, height), std::string::npos);
    giantTiff.replace(width + 8, 2, Numbers<std::uint16_t>({32767}));
    giantTiff.replace(height + 8, 2, Numbers<std::uint16_t>({32767}));
    longZip.replace(longZip.find("PK\1\2") + 24, 4, "\xfe\xff\xff\xff");
    otherZip[otherZip.find("NUMPY") + 200] ^= 1;
    lockedZip[lockedZip.find("PK\1\2") + 8] |= 1;
    const auto tiffOf = [](const TiffKind& kind, double scale = 1) {
        TiffMemory memory;
        AddPage(memory.Get(), kind, [scale](int x, int, int) { return x * scale; });
        return Text(memory.Close());
    };
    // A picture of eight strips whose table says another count of entries, or has another one.
    constexpr int kCount = -1;
    const auto withStrips = [strips = tiffOf({})](std::uint16_t tag, int entry, std::uint16_t value) {
        std::string changed = strips;
        const std::uint16_t type = tag == TIFFTAG_STRIPOFFSETS ? TIFF_LONG : TIFF_SHORT;
        const std::size_t at = changed.find(Numbers<std::uint16_t>({tag, type, 8, 0}));
        std::uint32_t table = 0;
        std::memcpy(&table, &changed.at(at + 8), sizeof table);
        const std::size_t place = entry == kCount ? at + 4 : table + (type == TIFF_LONG ? 4U : 2U) * unsigned(entry);
        return changed.replace(place, 2, Numbers<std::uint16_t>({value}));
    };
    const std::string wide = test::Npy("|u1", "(1, 40000)", std::string(40000, 'x'));
    const struct {
        std::string bytes;
        const char* says;
    } cases[] = {
        {"", "is empty"},
        {"text", "not a PNG"},
        {png.substr(0, 40), "damaged PNG file"},
        {png.substr(0, png.size() / 2), "damaged PNG file"},
        {GiantPng(png, 1000000, 30), "1000000 x 30 pixels is too large"},
        {GiantPng(png, 32767, 32767), "fewer pixels than its header says"},
        {GiantPng(png, 40, 31), "damaged PNG file"},
        {tiff.substr(0, 12), "damaged TIFF file"},
        {giantTiff, "damaged TIFF file"},
        {withStrips(TIFFTAG_STRIPOFFSETS, kCount, 3), "strip 4 of 8 is missing"},
        {withStrips(TIFFTAG_STRIPBYTECOUNTS, kCount, 3), "strip 4 of 8 is missing"},
        {withStrips(TIFFTAG_STRIPOFFSETS, 2, 0), "strip 3 of 8 is missing"},
        {withStrips(TIFFTAG_STRIPBYTECOUNTS, 2, 147), "strip 3 of 8 has fewer bytes"},
        {withStrips(TIFFTAG_STRIPOFFSETS, 7, 60000), "strip 8 of 8 lies beyond the end"},
        {tiffOf({8, SAMPLEFORMAT_UINT, 513}), "pixels of 513 samples"},
        {tiffOf({32, SAMPLEFORMAT_COMPLEXINT}), "complex numbers"},
        {tiffOf({32, SAMPLEFORMAT_INT, 3, 0, false, PHOTOMETRIC_RGB}), "colours of 32-bit integers"},
        {tiffOf({32, SAMPLEFORMAT_UINT, 1, 0, false, PHOTOMETRIC_MINISWHITE}), "beyond 2147483647"},
        {tiffOf({32, SAMPLEFORMAT_IEEEFP, 1, 0, false, PHOTOMETRIC_MINISWHITE}), "the least is white"},
        {tiffOf({64, SAMPLEFORMAT_IEEEFP}, 1e38), "beyond 3.4e38"},
        {"P2 1 1 100 101", "the value '101' is no whole number from 0 to 100"},
        {"P2 2 1 100 7", "ends too early"},
        {"P5 1 1 100\n\xff", "values above 100"},
        {"P5 1 1 256\n\2\1", "values above 256"},
        {"P5 -4 4 255\n1234", "the width '-4' is no whole number"},
        {"P6 40000 1 255\n1", "40000 x 1 pixels is too large"},
        {bmp.substr(0, 60), "damaged"},
        {giantBmp, "1000000 x 1000000 pixels is too large"},
        {npy.substr(0, npy.size() - 1), "fewer pixels"},
        {wide, "40000 x 1 pixels is too large"},
        {NpyOf("{'descr': '<f4', 'fortran_order': False, 'shape': (1, 1), }" + std::string(60000, ' ')), "fewer"},
        {NpyOf("{'fortran_order': False, 'shape': (1, 1)}"), "plain array"},
        {NpyOf("{'descr': '<f4', 'shape': (1, 1)}"), "plain array"},
        {NpyOf("{'descr': '<f4', 'fortran_order': False, 'shape': (1, 1), 'descr': '<f4'}") + "abcd", "plain array"},
        {NpyOf("{'descr': '<f4', 'fortran_order': False, 'shape': (1, 1)} {}") + "abcd", "plain array"},
        {test::Npy("<f8", "(1, 2)", Numbers<double>({INFINITY, -3.5e38})), "beyond 3.4e38"},
        {NpyOf("{" + std::string(60000, ' ') + "'descr': '<f4'" + std::string(100, ' ')), "plain array"},
        {NpyOf(std::string(70000, ' ')), "cut off"},
        {test::Npy("<f4", "(2, 2", "abcd"), "plain array"},
        {test::Npy("<f8", "(999999999, 999999999)", "abc"), "fewer pixels"},
        {std::string("\x93NUMPY\x02\0\xff\xff\xff\xff{}", 14), "cut off"},
        {test::Npy("<f4", "(99999999999999999999, 2)", "abcd"), "plain array"},
        {test::Npy("<f4", "(2, 0)", ""), "empty"},
        {test::Npy("<c8", "(1, 1)", "abcdabcd"), "'<c8' is not supported"},
        {test::Npy("<i8", "(1, 1)", Numbers<std::int64_t>({std::int64_t{1} << 32})), "beyond 32 bits"},
        {Zip(npy, true, 2), "holds 2 arrays"},
        {longZip, "damaged NPZ file"},
        {otherZip, "damaged NPZ file"},
        {lockedZip, "encrypted"},
    };
    for (const auto& c : cases) {
        const std::string file = Write("broken", c.bytes);
        const std::string refusal = test::Refusal([&] { ReadPicture(file); });
        EXPECT_EQ(refusal.rfind(file, 0), 0U) << refusal;
        EXPECT_NE(refusal.find(c.says), std::string::npos) << refusal << " instead of: " << c.says;
    }
}

// Before memory is taken, for the contents and for what the header says: 30 x 20 pixels of three bytes, 16 or 32 bits.
TEST_F(Io, AsksBeforeItTakesMemory) {
    const struct {
        const char* name;
        int type;
        double bytes;
    } cases[] = {{"x.png", CV_16U, 1200},   {"x.png", CV_8UC3, 1800},  {"x.tiff", CV_32F, 2400},
                 {"x.npy", CV_32F, 2400},   {"x.bmp", CV_8U, 600},     {"x.bmp", CV_8UC3, 1800},
                 {"x.jpg", CV_8U, 600},     {"x.jpg", CV_8UC3, 1800},  {"x.pgm", CV_8U, 600},
                 {"x.ppm", CV_8UC3, 1800},  {"x.webp", CV_8UC3, 1800}, {"lossy.webp", CV_8UC3, 1800},
                 {"filled.jpg", CV_8U, 600}};
    for (const auto& c : cases) {
        const std::string file = File(c.name);
        const cv::Mat noise = Noise(30, 20, c.type);
        if (std::string(c.name) == "x.npy")
            WritePicture(file, noise);
        else
            cv::imwrite(file, noise, {cv::IMWRITE_WEBP_QUALITY, c.name[0] == 'l' ? 80 : 101});
        if (c.name[0] == 'f') WriteBytes(c.name, ReadText(c.name).insert(2, "\xff\xff"));  // before a marker
        const double size = static_cast<double>(std::filesystem::file_size(file));
        for (const cv::Size refused : {cv::Size(), cv::Size(30, 20)}) {
            SetMemoryCheck([&](const std::string& of, double bytes, cv::Size picture) {
                EXPECT_EQ(of, file);
                EXPECT_EQ(bytes, picture.empty() ? size : c.bytes) << file;
                if (picture == refused) throw InputError("too much");
            });
            EXPECT_EQ(test::Refusal([&] { ReadColourPicture(file); }), "too much") << file;
        }
        SetMemoryCheck({});
    }
}

// Files cut anywhere, and files with wrong bytes, are read or refused; sanitizers watch.
TEST_F(Io, SurvivesDamageAnywhere) {
    const cv::Mat image = Noise(33, 20, CV_16U);
    TiffMemory memory;
    AddPage(memory.Get(), {12, 1, 1, 16, false, 1, COMPRESSION_LZW}, [](int x, int y, int) { return x * y; });
    AddPage(memory.Get(), {8, 1, 3, 0, true, PHOTOMETRIC_RGB}, [](int x, int y, int s) { return x + y + s; });
    const std::string npy = Text(EncodePicture("x.npy", image));
    const std::string files[] = {Text(EncodePicture("x.png", image)), Text(EncodePicture("x.tiff", image)),
                                 Text(memory.Close()), npy, Zip(npy, true)};
    std::mt19937 random(7);
    int read = 0, refused = 0;
    const auto attempt = [&](const std::string& bytes) {
        try {
            ReadPages(Write("x", bytes));
            ++read;
        } catch (const InputError&) {
            ++refused;
        }
    };
    for (const std::string& file : files) {
        for (std::size_t length = 0; length < file.size(); length += 1 + length / 12) attempt(file.substr(0, length));
        for (int i = 0; i < 150; ++i) {
            std::string damaged = file;
            const std::size_t within = i % 2 == 0 ? damaged.size() : std::min<std::size_t>(damaged.size(), 200);
            for (int k = 0; k <= i % 3; ++k) damaged[random() % within] = static_cast<char>(random());
            attempt(damaged);
        }
    }
    EXPECT_GT(read, 50);
    EXPECT_GT(refused, 200);
}

// Stopped at any of its reports, reading, encoding and writing end without a result.
TEST_F(Io, CanBeStopped) {
    const cv::Mat ramp(3000, 1000, CV_8U, cv::Scalar(7)), noise = Noise(3000, 1000, CV_16U);
    for (const cv::Mat& image : {ramp, noise}) {
        for (const char* name : {"x.png", "x.tiff", "x.npy"}) {
            const std::string file = File(name);
            WritePicture(file, image);
            const std::function<void(const Progress&)> actions[] = {
                [&](const Progress& progress) { ReadPicture(file, progress); },
                [&](const Progress& progress) { EncodePicture(name, image, progress); },
                [&](const Progress& progress) { WritePicture(File(std::string("new.") + name), image, progress); }};
            for (const auto& action : actions) {
                int reports = 0;
                action([&](const char*, double share) {
                    EXPECT_TRUE(share >= 0 && share <= 1) << share;
                    return ++reports > 0;
                });
                for (int last = 0; last < reports; ++last) {
                    int left = last;
                    EXPECT_THROW(action([&](const char*, double) { return left-- > 0; }), Stopped) << name << last;
                }
            }
        }
    }
}

}  // namespace
