#pragma once

#include <string>

#include "measure/io/tiffmemory.h"

namespace measure {

// Reads the page at which the file stands; in the channel order blue, green, red.
class TiffPage {
public:
    TiffPage(TiffMemory& memory, std::size_t fileBytes, const std::string& file);

    // Whether it is a picture of its own, not a reduced copy or the mask of another page.
    bool IsPicture() const;
    cv::Mat Read(const Progress& progress);

private:
    // A rectangle of the picture that is stored together.
    struct Piece {
        int x, y, width, height;
        int rowPixels;  // as stored: tiles are stored in full
        int channel;    // of the picture, where its only one goes; -1: all of them
    };

    bool IsPlain() const;
    cv::Mat ReadPlain(const Progress& progress);
    cv::Mat ReadAnyColour();
    void ReadTiles(cv::Mat& image, const Progress& progress);
    void ReadStrips(cv::Mat& image, const Progress& progress);
    void Place(const Piece& piece, const Bytes& samples, cv::Mat& image) const;
    cv::Mat Upright(const cv::Mat& image) const;
    int Depth() const;
    void RequirePlausible(std::uint64_t pieceBytes) const;
    // Refuses pictures of which strips or tiles are missing, cut off or beyond the file.
    void RequirePieces() const;
    std::uint16_t Tag(std::uint32_t tag) const;
    [[noreturn]] void Damaged() const;

    TiffMemory& mMemory;
    TIFF* mTiff;
    std::size_t mFileBytes;
    const std::string& mFile;
    std::uint32_t mWidth = 0, mHeight = 0;
    int mSamples = 1, mBits = 1, mFormat = SAMPLEFORMAT_UINT, mPhotometric = 0;
    bool mPlanes = false;
};

}  // namespace measure
