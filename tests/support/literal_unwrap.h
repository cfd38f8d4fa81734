#pragma once

#include <cstdint>
#include <vector>

namespace KrN {

// The region unwrapper in its plainest form: one scan of the image per quality level, linear searches everywhere.
struct LiteralUnwrap {
    int width, height;
    std::vector<std::uint8_t> phase, quality, mask;
    unsigned minQuality, minAreaSize;
    int mode;
    bool liftMinimum;

    std::vector<std::uint16_t> target = {};
    std::vector<std::uint8_t> targetMask = {};
    std::vector<std::int32_t> component = {};
    int areaCount = 0, componentCount = 0, minimum = 0, maximum = 0;

    void Run();
};

}  // namespace KrN
