#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/export.h"

namespace measure {

// Names as people count: runs of digits compare by their value, so that f2 comes before f10; else by characters.
MEASURE_API bool NaturalLess(const std::string& a, const std::string& b);

struct FrameFiles {
    std::vector<std::string> files;
    // The files were listed one by one, in the order of their characters, which is not that of their numbers (0 1 10
    // 2): hardly what was meant, since a shell that expands a pattern sorts like that.
    bool looksMisordered = false;
};

// The files of frames that words stand for: a file is itself, a folder its pictures, a word with *, ? or [...] in its
// last part the files that match it. Folders and patterns are sorted naturally, files keep their places. Throws
// InputError for a folder or pattern without pictures, and for names that cannot be looked up.
MEASURE_API FrameFiles FindFrames(const std::vector<std::string>& words);

// The bits of the camera, 8, 10, 12 or 14, that frames of 16-bit files seem to come from, by their largest grey level;
// 0 when nothing speaks for one: other pixel types, grey levels of all 16 bits, values aligned to the upper bits.
MEASURE_API int GuessCameraBits(const std::vector<cv::Mat>& frames);
// What to say about the frames of all sets of a scan whose description gives no full scale; empty when the bits are 0.
MEASURE_API std::string HintOfCameraBits(const std::vector<std::vector<cv::Mat>>& sets);

}  // namespace measure
