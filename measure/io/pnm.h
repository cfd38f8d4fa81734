#pragma once

#include <cstdint>
#include <string>

#include "measure/io/bytes.h"

namespace measure {

// What stands before the pixels of a PNM file: PBM, PGM or PPM, as text or in binary form.
struct PnmHeader {
    std::uint64_t width = 0, height = 0;
    unsigned samples = 1;   // of a pixel
    unsigned greatest = 0;  // that a sample may be; 0 for those of one bit
    bool isText = false;
    std::size_t pixels = 0;  // where they begin
};

// Refuses, naming the file, sizes that are no numbers above 0 and a greatest value that is not from 1 to 65535.
PnmHeader ReadPnmHeader(const Bytes& bytes, const std::string& file);
// Refuses samples above the greatest value, which the codec would clip or pass on.
void RequirePnmSamples(const Bytes& bytes, const PnmHeader& header, const std::string& file);

}  // namespace measure
