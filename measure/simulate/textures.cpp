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
        double nearest = 1e300, share = 0;
        for (int y = cy - 1; y <= cy + 1; ++y)
            for (int x = cx - 1; x <= cx + 1; ++x) {
                const std::uint64_t place =
                    static_cast<std::uint64_t>(static_cast<std::uint32_t>(x)) << 32U | static_cast<std::uint32_t>(y);
                const std::uint64_t random = Noise::Mix(Noise::Mix(place + 1) + seed);
                const double px = (x + static_cast<double>(random & 0xFFFFU) / 65536) * size;
                const double py = (y + static_cast<double>(random >> 16U & 0xFFFFU) / 65536) * size;
                const double distance = std::hypot(p.x - px, p.y - py);
                if (distance >= nearest) continue;
                nearest = distance;
                share = static_cast<double>(random >> 32U & 0xFFFFU) / 65536;
            }
        return dark + share * (bright - dark);
    };
}

Texture Perforated(double pitch, double diameter, double albedo) {
    return [=](cv::Point2d p) { return ToLattice(p, pitch) < diameter / 2 ? std::nan("") : albedo; };
}

Texture Chessboard(cv::Size innerCorners, double side, double bright, double dark) {
    return [=](cv::Point2d p) {
        const int x = Cell(p.x, side), y = Cell(p.y, side);
        const bool inside = x >= -1 && y >= -1 && x < innerCorners.width && y < innerCorners.height;
        return inside && ((x ^ y) & 1) == 0 ? dark : bright;
    };
}

Texture CircleGrid(cv::Size circles, double spacing, double diameter, bool staggered, double bright, double dark) {
    return [=](cv::Point2d p) {
        const double y = std::round(p.y / spacing);
        const double step = staggered ? 2 * spacing : spacing;
        const double shift = staggered && std::fmod(std::abs(y), 2) == 1 ? spacing : 0;
        const double x = std::round((p.x - shift) / step);
        if (x < 0 || y < 0 || x >= circles.width || y >= circles.height) return bright;
        return std::hypot(p.x - shift - x * step, p.y - y * spacing) < diameter / 2 ? dark : bright;
    };
}

}  // namespace measure::simulate
