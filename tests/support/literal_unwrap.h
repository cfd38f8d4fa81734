#pragma once

#include <cstdint>
#include <vector>

namespace KrN {

// The region unwrapper in its plainest form: one scan of the image per quality level, linear searches everywhere.
struct LiteralUnwrap {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> phase, quality, mask;
    unsigned minQuality = 0;
    unsigned minAreaSize = 0;
    int mode = 0;
    bool liftMinimum = false;

    std::vector<std::uint16_t> target;
    std::vector<std::uint8_t> targetMask;
    std::vector<std::int32_t> component;
    int areaCount = 0, componentCount = 0, minimum = 0, maximum = 0;

    void Run();
};

}  // namespace KrN
