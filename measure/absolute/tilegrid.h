#pragma once

#include <opencv2/core.hpp>

namespace measure {

// Pixels that stand for all those of a square part of an image: every fifth one of every seventh row.
struct TileGrid {
    static constexpr int kTile = 32, kAcross = 5, kDown = 7;  // no multiple of the blocks of a JPEG file

    // For images with a value for each of them.
    static cv::Size SizeFor(cv::Size image) {
        return {(image.width + kTile - 1) / kTile * kColumns, (image.height + kTile - 1) / kTile * kRows};
    }
    static int ColumnOf(int x) { return x / kTile * kColumns + x % kTile / kAcross; }
    static int RowOf(int y) { return y / kTile * kRows + y % kTile / kDown; }

private:
    static constexpr int kColumns = (kTile + kAcross - 1) / kAcross, kRows = (kTile + kDown - 1) / kDown;
};

}  // namespace measure
