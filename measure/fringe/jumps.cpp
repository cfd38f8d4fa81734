#include <cmath>
#include <cstring>
#include <vector>

#include "measure/fringe/rowbands.h"
#include "measure/unwrap.h"

namespace measure {
namespace {

constexpr float kPi = 3.14159265F;

// Jumps between a row and another one, which may be the same row shifted by a pixel.
int MarkJumps(const float* a, const float* b, std::uint8_t* whereA, std::uint8_t* whereB, int count) {
    int jumps = 0;
    for (int x = 0; x < count; ++x) jumps += std::abs(a[x] - b[x]) > kPi;  // false for NaN
    if (jumps == 0) return 0;
    for (int x = 0; x < count; ++x) {
        if (std::abs(a[x] - b[x]) > kPi) whereA[x] = whereB[x] = 255;
    }
    return jumps;
}

}  // namespace

Jumps FindJumps(const cv::Mat1f& unwrapped) {
    Jumps jumps{0, cv::Mat1b(unwrapped.size(), 0)};
    for (int y = 0; y < unwrapped.rows; ++y) {
        const float* const row = unwrapped[y];
        std::uint8_t* const where = jumps.where[y];
        jumps.count += MarkJumps(row, row + 1, where, where + 1, unwrapped.cols - 1);
        if (y + 1 < unwrapped.rows)
            jumps.count += MarkJumps(row, unwrapped[y + 1], where, jumps.where[y + 1], unwrapped.cols);
    }
    return jumps;
}

}  // namespace measure
