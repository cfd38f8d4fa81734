#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "measure/export.h"

namespace measure {

// How a scan was coded: what the projector showed, and which picture the camera took of it. One description serves
// many scans. Projector pixels are counted along the direction in which the phase runs; pixel j covers j - 1/2 to
// j + 1/2.

// One set of shifted fringes: frame k shows I_k = A + B cos(phase + shift_k).
struct SineSet {
    double period = 0;           // projector pixels
    std::vector<double> shifts;  // radians, one per frame
    std::vector<std::filesystem::path> frames;
};

// A Gray code, the most significant bit first. Cell g covers g·cell + offset - 1/2 to (g + 1)·cell + offset - 1/2.
// Without inverse pictures the bits are cut at (white + black) / 2, without those at the mean of the finest sine set.
struct GrayCode {
    double cell = 0;    // projector pixels, which shows whole ones: else borders are up to half of one off
    double offset = 0;  // whole projector pixels before cell 0; minus half a cell for codes shifted by half a cell
    std::vector<std::filesystem::path> frames;
    std::vector<std::filesystem::path> inverse;  // empty, or one per frame
};

// What one direction of the projector was coded with.
struct CodedAxis {
    double length = 0;             // projector pixels
    int direction = 1;             // 1 or -1: the phase rises or falls with the projector pixel
    std::optional<double> origin;  // projector pixel at which the phase of every set is 0
    std::vector<SineSet> sines;    // at least one
    std::optional<GrayCode> gray;
    std::filesystem::path white, black;  // the projector full on and off; may be empty
};

struct Scan {
    double fullScale = 0;              // grey level at which the camera saturates; 0: by the pictures' type
    std::optional<CodedAxis> columns;  // the phase runs along the projector's columns: the fringes are vertical
    std::optional<CodedAxis> rows;
};

// Reads a scan description, a JSON file in which comments are allowed (ExampleScan shows one). Names of pictures are
// relative to `folder`, which by default is the folder of the file; a pattern stands for the pictures that it matches,
// in natural order (2 before 10). Throws InputError, which names the key, for text that is no such description, unknown
// and missing keys, numbers that make no sense, counts that do not fit, and pictures that do not exist or serve twice.
MEASURE_API Scan ReadScan(const std::filesystem::path& file, const std::filesystem::path& folder = {});

// A description with comments that tell what every key means.
MEASURE_API std::string ExampleScan();

}  // namespace measure
