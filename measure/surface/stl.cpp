#include <cmath>
#include <cstring>
#include <vector>

#include "measure/error.h"
#include "measure/fringe/rowbands.h"
#include "measure/surface/encoders.h"
#include "measure/world/triangles.h"

namespace measure {
namespace {

constexpr std::size_t kHeaderBytes = 80, kTriangleBytes = 50;
constexpr std::size_t kMostTriangles = 1U << 30;
constexpr int kPixelsPerStretch = 1 << 18;  // two triangles each
constexpr double kSteepest = 4;             // heights of a triangle per pitch: 75 degrees, as DepthStep has it

void Put(std::uint8_t* to, std::uint32_t bits) {
    for (int i = 0; i < 4; ++i) to[i] = static_cast<std::uint8_t>(bits >> 8 * i);
}
void Put(std::uint8_t* to, const cv::Vec3d& v) {
    for (int i = 0; i < 3; ++i) {
        const auto value = static_cast<float>(v[i]);
        std::uint32_t bits = 0;
        std::memcpy(&bits, &value, 4);
        Put(to + 4 * i, bits);
    }
}

}  // namespace

Bytes EncodeStl(const HeightMap& map, const std::string& title, double largestStep, const Progress& progress) {
    const auto limit = static_cast<float>(largestStep > 0 ? largestStep : kSteepest * map.pitch);
    const int rows = std::max(0, map.z.rows - 1);
    std::vector<std::size_t> before(static_cast<std::size_t>(rows) + 1);  // triangles of the rows above
    const auto forRows = [&](const char* stage, const auto& visitRow) {
        const auto visit = [&](const cv::Range& range) {
            for (int y = range.start; y < range.end; ++y) visitRow(y);
        };
        ForRowBands({map.z.cols, rows}, progress, stage, visit, kPixelsPerStretch);
    };
    forRows("counting triangles", [&](int y) {
        std::size_t count = 0;
        VisitTriangles(map.z, limit, y, [&](cv::Point, cv::Point, cv::Point) { ++count; });
        before[static_cast<std::size_t>(y) + 1] = count;
    });
    for (std::size_t y = 1; y < before.size(); ++y) before[y] += before[y - 1];
    if (before.back() == 0)
        throw NothingUsable("no three neighbouring pixels have heights: there is no triangle to write");
    if (before.back() > kMostTriangles) throw InputError("the surface has too many triangles for one file");

    Bytes bytes(kHeaderBytes + 4 + kTriangleBytes * before.back());
    // A header that begins with the word "solid" would say that the file is text.
    const std::string header = "binary STL, millimetres: " + title;
    std::memcpy(bytes.data(), header.data(), std::min(header.size(), kHeaderBytes));
    Put(bytes.data() + kHeaderBytes, static_cast<std::uint32_t>(before.back()));
    forRows("writing triangles", [&](int y) {
        std::uint8_t* to = bytes.data() + kHeaderBytes + 4 + kTriangleBytes * before[static_cast<std::size_t>(y)];
        VisitTriangles(map.z, limit, y, [&](cv::Point a, cv::Point b, cv::Point c) {
            const auto at = [&](cv::Point p) {
                return cv::Vec3d(map.origin.x + map.pitch * p.x, map.origin.y - map.pitch * p.y,
                                 static_cast<double>(map.z(p)));
            };
            const cv::Vec3d p = at(a), q = at(b), r = at(c);
            Put(to, cv::normalize((q - p).cross(r - p)));
            Put(to + 12, p);
            Put(to + 24, q);
            Put(to + 36, r);
            to += kTriangleBytes;
        });
    });
    return bytes;
}

}  // namespace measure
