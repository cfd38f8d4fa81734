#include "measure/io/tiffpage.h"

#include <algorithm>
#include <cstring>
#include <opencv2/imgproc.hpp>

#include "measure/error.h"

namespace measure {
namespace {

// Far more than any compression of pictures achieves: a small file cannot make the reader set much memory aside.
constexpr std::uint64_t kBestCompression = 8192, kAlwaysFine = 1 << 22;
constexpr int kAllChannels = -1;

// A row of samples of 1 to 15 bits, packed from the upper bit on.
template <class T>
void Unpack(const std::uint8_t* packed, int bits, std::size_t count, T* out) {
    const unsigned most = (1U << bits) - 1;
    unsigned held = 0;
    int have = 0;
    for (std::size_t i = 0; i < count; ++i) {
        for (; have < bits; have += 8) held = held << 8 | *packed++;
        have -= bits;
        const unsigned value = held >> have & most;
        out[i] = static_cast<T>(bits < 8 ? value * 255 / most : value);
    }
}

}  // namespace

TiffPage::TiffPage(TiffMemory& memory, std::size_t fileBytes, const std::string& file)
    : mMemory(memory), mTiff(memory.Get()), mFileBytes(fileBytes), mFile(file) {
    TIFFGetField(mTiff, TIFFTAG_IMAGEWIDTH, &mWidth);
    TIFFGetField(mTiff, TIFFTAG_IMAGELENGTH, &mHeight);
    if (mWidth == 0 || mHeight == 0) Damaged();
    RequireReadableSize(mWidth, mHeight, file);
    mSamples = Tag(TIFFTAG_SAMPLESPERPIXEL);
    mBits = Tag(TIFFTAG_BITSPERSAMPLE);
    mFormat = Tag(TIFFTAG_SAMPLEFORMAT);
    mPlanes = Tag(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE && mSamples > 1;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(mTiff, TIFFTAG_PHOTOMETRIC, &photometric);
    mPhotometric = photometric;
}

std::uint16_t TiffPage::Tag(std::uint32_t tag) const {
    std::uint16_t value = 0;
    TIFFGetFieldDefaulted(mTiff, tag, &value);
    return value;
}

void TiffPage::Damaged() const {
    const std::string& why = mMemory.Error();
    throw InputError(mFile + ": damaged TIFF file" + (why.empty() ? "" : ": " + why));
}

bool TiffPage::IsPicture() const {
    std::uint32_t type = 0;
    TIFFGetField(mTiff, TIFFTAG_SUBFILETYPE, &type);
    return (type & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0;
}

bool TiffPage::IsPlain() const {
    if (mPhotometric == PHOTOMETRIC_RGB) return mSamples >= 3;
    return mPhotometric == PHOTOMETRIC_MINISBLACK || mPhotometric == PHOTOMETRIC_MINISWHITE;
}

cv::Mat TiffPage::Read(const Progress& progress) { return IsPlain() ? ReadPlain(progress) : ReadAnyColour(); }

// libtiff takes missing entries of the table for offset 0, which is the header of the file, and reads plain pieces
// without a look at their byte counts. Where it can tell by itself that the counts are missing or wrong, as those that
// some writers give a single strip, it has put them right from the size of the picture.
void TiffPage::RequirePieces() const {
    constexpr std::uint64_t kHeaderBytes = 8;
    const std::uint16_t compression = Tag(TIFFTAG_COMPRESSION);
    if (compression == COMPRESSION_OJPEG) return;  // a stream of its own, which need not be in the table
    const bool isTiled = TIFFIsTiled(mTiff) != 0;
    const std::uint32_t pieces = isTiled ? TIFFNumberOfTiles(mTiff) : TIFFNumberOfStrips(mTiff);
    if (pieces == 0) Damaged();
    const auto refuse = [&](std::uint32_t piece, const char* what) {
        throw InputError(mFile + ": damaged TIFF file: " + (isTiled ? "tile " : "strip ") + std::to_string(piece + 1) +
                         " of " + std::to_string(pieces) + what);
    };
    std::uint32_t height = mHeight;
    TIFFGetFieldDefaulted(mTiff, TIFFTAG_ROWSPERSTRIP, &height);
    height = std::clamp(height, 1U, mHeight);
    const std::uint32_t perPlane = (mHeight - 1) / height + 1;
    for (std::uint32_t i = 0; i < pieces; ++i) {
        const std::uint64_t offset = TIFFGetStrileOffset(mTiff, i), stored = TIFFGetStrileByteCount(mTiff, i);
        std::uint64_t least = 1;
        if (compression == COMPRESSION_NONE)
            least = isTiled ? TIFFTileSize64(mTiff)
                            : TIFFVStripSize64(mTiff, std::min(height, mHeight - i % perPlane * height));
        if (offset < kHeaderBytes || stored == 0) refuse(i, " is missing");
        if (stored < least) refuse(i, " has fewer bytes than its pixels need");
        if (offset > mFileBytes || least > mFileBytes - offset) refuse(i, " lies beyond the end of the file");
    }
}

int TiffPage::Depth() const {
    if (mFormat < SAMPLEFORMAT_UINT || mFormat > SAMPLEFORMAT_VOID)
        throw InputError(mFile + ": TIFF pixels that are complex numbers are not supported");
    const bool isFloat = mFormat == SAMPLEFORMAT_IEEEFP;
    if (isFloat && mBits == 32) return CV_32F;
    if (isFloat && mBits == 64) return CV_64F;
    const bool isSigned = mFormat == SAMPLEFORMAT_INT;
    if (!isFloat && mBits == 32) return CV_32S;
    if (!isFloat && !isSigned && mBits <= 8) return CV_8U;
    if (!isFloat && !isSigned && mBits <= 16) return CV_16U;
    throw InputError(mFile + ": TIFF pixels of " + std::to_string(mBits) + (isFloat ? " bits (float)" : " bits") +
                     (isSigned ? " with signs" : "") +
                     " are not supported: they must be unsigned with up to 16 bits, or 32-bit integer or float");
}

void TiffPage::RequirePlausible(std::uint64_t pieceBytes) const {
    const std::uint64_t all = TIFFScanlineSize64(mTiff) * mHeight * (mPlanes ? static_cast<unsigned>(mSamples) : 1U);
    const bool isPlain = Tag(TIFFTAG_COMPRESSION) == COMPRESSION_NONE;
    const std::uint64_t most = isPlain ? mFileBytes : mFileBytes * kBestCompression;
    if (all > std::max(most, kAlwaysFine) || pieceBytes > std::max(most, 4 * all + kAlwaysFine)) Damaged();
}

cv::Mat TiffPage::ReadPlain(const Progress& progress) {
    const int channels = mPhotometric == PHOTOMETRIC_RGB ? 3 : 1;
    const std::uint64_t pieceBytes = TIFFIsTiled(mTiff) ? TIFFTileSize64(mTiff) : TIFFStripSize64(mTiff);
    const int depth = Depth();
    if (mSamples < channels || mSamples > CV_CN_MAX)  // a matrix of more would wrap round to one of few
        throw InputError(mFile + ": TIFF pixels of " + std::to_string(mSamples) + " samples are not supported");
    if (channels == 3 && depth == CV_32S)
        throw InputError(mFile + ": TIFF colours of 32-bit integers are not supported");
    if (mPhotometric == PHOTOMETRIC_MINISWHITE && mFormat == SAMPLEFORMAT_IEEEFP)
        throw InputError(mFile + ": TIFF floats of which the least is white are not supported: no number is black");
    RequirePlausible(pieceBytes);
    RequirePieces();
    const cv::Size size(static_cast<int>(mWidth), static_cast<int>(mHeight));
    cv::Mat image = NewPicture(size, CV_MAKETYPE(depth, channels), mFile);
    if (TIFFIsTiled(mTiff))
        ReadTiles(image, progress);
    else
        ReadStrips(image, progress);
    if (mPhotometric == PHOTOMETRIC_MINISWHITE && mBits <= 16)
        image = cv::Scalar::all(mBits <= 8 ? 255 : (1 << mBits) - 1) - image;
    else if (mPhotometric == PHOTOMETRIC_MINISWHITE)
        cv::bitwise_not(image, image);
    if (depth == CV_32S && mFormat != SAMPLEFORMAT_INT && cv::countNonZero(image.reshape(1) < 0) > 0)
        throw InputError(mFile + ": holds numbers beyond 2147483647, which are not supported");
    if (depth == CV_64F) {
        cv::Mat narrow(image.size(), CV_MAKETYPE(CV_32F, channels));
        NarrowToFloat(image.data, image.total() * static_cast<std::size_t>(channels), narrow.ptr<float>(), mFile);
        image = narrow;
    }
    if (channels == 3) cv::cvtColor(image, image, cv::COLOR_RGB2BGR);
    return Upright(image);
}

void TiffPage::ReadTiles(cv::Mat& image, const Progress& progress) {
    std::uint32_t width = 0, height = 0;
    TIFFGetField(mTiff, TIFFTAG_TILEWIDTH, &width);
    TIFFGetField(mTiff, TIFFTAG_TILELENGTH, &height);
    if (width == 0 || height == 0 || width > INT32_MAX || height > INT32_MAX) Damaged();
    Bytes samples(TIFFTileSize64(mTiff));
    for (int channel = 0; channel < (mPlanes ? image.channels() : 1); ++channel) {
        for (std::uint32_t y = 0; y < mHeight; y += height) {
            progress.Report("decoding a picture", static_cast<double>(y) / mHeight);
            for (std::uint32_t x = 0; x < mWidth; x += width) {
                if (TIFFReadTile(mTiff, samples.data(), x, y, 0, static_cast<std::uint16_t>(channel)) < 0) Damaged();
                const Piece piece{static_cast<int>(x),
                                  static_cast<int>(y),
                                  static_cast<int>(std::min(width, mWidth - x)),
                                  static_cast<int>(std::min(height, mHeight - y)),
                                  static_cast<int>(width),
                                  mPlanes ? channel : kAllChannels};
                Place(piece, samples, image);
            }
        }
    }
}

void TiffPage::ReadStrips(cv::Mat& image, const Progress& progress) {
    std::uint32_t height = 0;
    TIFFGetFieldDefaulted(mTiff, TIFFTAG_ROWSPERSTRIP, &height);
    if (height == 0) Damaged();
    height = std::min(height, mHeight);
    Bytes samples(TIFFStripSize64(mTiff));
    for (int channel = 0; channel < (mPlanes ? image.channels() : 1); ++channel) {
        for (std::uint32_t y = 0; y < mHeight; y += height) {
            progress.Report("decoding a picture", static_cast<double>(y) / mHeight);
            const std::uint32_t rows = std::min(height, mHeight - y);
            const std::uint32_t strip = TIFFComputeStrip(mTiff, y, static_cast<std::uint16_t>(channel));
            const auto wanted = static_cast<tmsize_t>(TIFFVStripSize64(mTiff, rows));
            if (TIFFReadEncodedStrip(mTiff, strip, samples.data(), wanted) != wanted) Damaged();
            Place({0, static_cast<int>(y), static_cast<int>(mWidth), static_cast<int>(rows), static_cast<int>(mWidth),
                   mPlanes ? channel : kAllChannels},
                  samples, image);
        }
    }
}

// Takes the channels that the picture shall have; more, such as opacity, are left out.
void TiffPage::Place(const Piece& piece, const Bytes& samples, cv::Mat& image) const {
    const std::size_t perPixel = mPlanes ? 1 : static_cast<std::size_t>(mSamples);
    const std::size_t stored = static_cast<std::size_t>(piece.rowPixels) * perPixel;
    const std::size_t rowBytes = (stored * static_cast<std::size_t>(mBits) + 7) / 8;
    if (samples.size() < rowBytes * static_cast<std::size_t>(piece.height)) Damaged();
    const int depth = image.depth(), channels = image.channels();
    const bool isPacked = mBits != 8 && mBits != 16 && mBits < 32;
    cv::Mat row(1, piece.rowPixels, CV_MAKETYPE(depth, static_cast<int>(perPixel)));
    for (int y = 0; y < piece.height; ++y) {
        const std::uint8_t* in = samples.data() + rowBytes * static_cast<std::size_t>(y);
        if (!isPacked)
            std::memcpy(row.data, in, rowBytes);
        else if (depth == CV_8U)
            Unpack(in, mBits, stored, row.ptr<std::uint8_t>());
        else
            Unpack(in, mBits, stored, row.ptr<std::uint16_t>());
        const cv::Mat used = row.colRange(0, piece.width);
        cv::Mat target = image(cv::Rect(piece.x, piece.y + y, piece.width, 1));
        for (int c = 0; c < (mPlanes ? 1 : channels); ++c) {
            const int pair[] = {mPlanes ? 0 : c, mPlanes ? piece.channel : c};
            cv::mixChannels(&used, 1, &target, 1, pair, 1);
        }
    }
}

cv::Mat TiffPage::ReadAnyColour() {
    RequirePlausible(0);
    RequirePieces();
    cv::Mat image = NewPicture({static_cast<int>(mWidth), static_cast<int>(mHeight)}, CV_8UC4, mFile);
    char why[1024] = "";
    if (!TIFFRGBAImageOK(mTiff, why))
        throw InputError(mFile + ": a kind of TIFF file that cannot be read: " + std::string(why));
    auto* pixels = reinterpret_cast<std::uint32_t*>(image.data);
    if (!TIFFReadRGBAImageOriented(mTiff, mWidth, mHeight, pixels, Tag(TIFFTAG_ORIENTATION), 1)) Damaged();
    cv::Mat colour(image.size(), CV_8UC3);
    for (int y = 0; y < image.rows; ++y) {
        const auto* in = image.ptr<std::uint32_t>(y);
        auto* out = colour.ptr<cv::Vec3b>(y);
        for (int x = 0; x < image.cols; ++x) {
            const auto byte = [](std::uint32_t v) { return static_cast<std::uint8_t>(v); };
            out[x] = {byte(TIFFGetB(in[x])), byte(TIFFGetG(in[x])), byte(TIFFGetR(in[x]))};
        }
    }
    return Upright(colour);
}

cv::Mat TiffPage::Upright(const cv::Mat& image) const {
    cv::Mat upright = image;
    const int orientation = Tag(TIFFTAG_ORIENTATION);
    if (orientation >= ORIENTATION_LEFTTOP && orientation <= ORIENTATION_LEFTBOT) upright = image.t();
    switch (orientation) {
        case ORIENTATION_TOPRIGHT:
        case ORIENTATION_RIGHTTOP: cv::flip(upright, upright, 1); break;
        case ORIENTATION_BOTRIGHT:
        case ORIENTATION_RIGHTBOT: cv::flip(upright, upright, -1); break;
        case ORIENTATION_BOTLEFT:
        case ORIENTATION_LEFTBOT: cv::flip(upright, upright, 0); break;
        default: break;
    }
    return upright;
}

}  // namespace measure
