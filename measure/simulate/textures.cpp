#include <algorithm>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/simulate.h"
#include "measure/simulate/noise.h"

namespace measure::simulate {
namespace {

// Which cell of that size a place lies in; far beyond all scenes it is the last one.
int Cell(double value, double size) {
    constexpr double kFarthest = 1e9;
    return static_cast<int>(std::clamp(std::floor(value / size), -kFarthest, kFarthest));
}

void RequireBrightness(double bright, double dark) {
    RequireNotNegative("the brightness of a texture", bright);
    RequireNotNegative("the darkness of a texture", dark);
}

// Distance to the nearest point of a lattice of that pitch.
double ToLattice(cv::Point2d p, double pitch) {
    return std::hypot(p.x - pitch * std::round(p.x / pitch), p.y - pitch * std::round(p.y / pitch));
}

}  // namespace

Texture Checks(double side, double bright, double dark) {
    RequirePositive("the side of checks", side);
    RequireBrightness(bright, dark);
    return [=](cv::Point2d p) { return ((Cell(p.x, side) ^ Cell(p.y, side)) & 1) != 0 ? dark : bright; };
}

Texture Stripes(double period, double bright, double dark) {
    RequirePositive("the period of stripes", period);
    RequireBrightness(bright, dark);
    return [=](cv::Point2d p) { return (Cell(p.x, period / 2) & 1) != 0 ? dark : bright; };
}

Texture Grains(double size, double bright, double dark, std::uint32_t seed) {
    RequirePositive("the size of grains", size);
    RequireBrightness(bright, dark);
    // The nearest of points that are scattered one per cell decides, which gives grains of many shapes and sizes.
    return [=](cv::Point2d p) {
        const int cx = Cell(p.x, size), cy = Cell(p.y, size);
        double nearest2 = 1e300, share = 0;
        for (int y = cy - 1; y <= cy + 1; ++y)
            for (int x = cx - 1; x <= cx + 1; ++x) {
                const std::uint64_t place =
                    static_cast<std::uint64_t>(static_cast<std::uint32_t>(x)) << 32U | static_cast<std::uint32_t>(y);
                const std::uint64_t random = Noise::Mix(Noise::Mix(place + 1) + seed);
                const double px = (x + static_cast<double>(random & 0xFFFFU) / 65536) * size;
                const double py = (y + static_cast<double>(random >> 16U & 0xFFFFU) / 65536) * size;
                const double distance2 = (p.x - px) * (p.x - px) + (p.y - py) * (p.y - py);
                if (distance2 >= nearest2) continue;
                nearest2 = distance2;
                share = static_cast<double>(random >> 32U & 0xFFFFU) / 65536;
            }
        return dark + share * (bright - dark);
    };
}

Texture Perforated(double pitch, double diameter, double albedo) {
    RequirePositive("the pitch of holes", pitch);
    RequireNotNegative("the diameter of holes", diameter);
    RequireNotNegative("the albedo of a perforated surface", albedo);
    return [=](cv::Point2d p) { return ToLattice(p, pitch) < diameter / 2 ? std::nan("") : albedo; };
}

}  // namespace measure::simulate
