#include <cmath>

#include "measure/simulate.h"
#include "measure/simulate/noise.h"

namespace measure::simulate {
namespace {

int Cell(double value, double size) { return static_cast<int>(std::floor(value / size)); }

// Distance to the nearest point of a lattice of that pitch.
double ToLattice(cv::Point2d p, double pitch) {
    return std::hypot(p.x - pitch * std::round(p.x / pitch), p.y - pitch * std::round(p.y / pitch));
}

}  // namespace

Texture Checks(double side, double bright, double dark) {
    return [=](cv::Point2d p) { return ((Cell(p.x, side) ^ Cell(p.y, side)) & 1) != 0 ? dark : bright; };
}

Texture Stripes(double period, double bright, double dark) {
    return [=](cv::Point2d p) { return (Cell(p.x, period / 2) & 1) != 0 ? dark : bright; };
}

Texture Grains(double size, double bright, double dark, std::uint32_t seed) {
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
    return [=](cv::Point2d p) { return ToLattice(p, pitch) < diameter / 2 ? std::nan("") : albedo; };
}

}  // namespace measure::simulate
