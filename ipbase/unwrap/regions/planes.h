#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrN {

// "No such entry" in every index-linked structure of the unwrapper.
inline constexpr std::uint32_t kUnwrapNone = 0xFFFFFFFFu;

// The working images of the region unwrapper. All have the same geometry: a spare column on the right (which is also
// the left neighbour of the next row) and a spare row above and below, so that the four neighbours of every pixel exist
// and one index serves all planes.
struct UnwrapPlanes {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> quality;  // 0: excluded pixel, otherwise its level
    std::vector<std::uint32_t> area;    // number of the pixel's area, 0 without one
    std::vector<std::uint16_t> phase;   // high byte: fringe order (signed), low byte: wrapped phase

    void Resize(int newWidth, int newHeight) {
        width = newWidth;
        height = newHeight;
        const std::size_t count = Stride() * (static_cast<std::size_t>(height) + 2);
        quality.assign(count, 0);
        area.assign(count, 0);
        phase.assign(count, 0);
    }
    // Without pixels; the memory is kept.
    void Clear() {
        width = height = 0;
        quality.clear();
        area.clear();
        phase.clear();
    }
    std::size_t Stride() const { return static_cast<std::size_t>(width) + 1; }
    std::size_t Row(int y) const { return (static_cast<std::size_t>(y) + 1) * Stride(); }
    bool Contains(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
};

}  // namespace KrN
