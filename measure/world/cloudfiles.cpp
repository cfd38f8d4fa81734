// Clouds as files of other programs.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/base/quantile.h"
#include "measure/cloud.h"
#include "measure/error.h"
#include "measure/io/bytes.h"
#include "measure/world/depths.h"
#include "measure/world/triangles.h"

namespace measure {
namespace {

static_assert(sizeof(float) == 4 && sizeof(int) == 4, "PLY has elements of 32 bits");

// Little-endian bytes, as every machine has them that this is built for.
template <class T>
std::uint8_t* Put(std::uint8_t* to, const T& value) {
    std::memcpy(to, &value, sizeof value);
    return to + sizeof value;
}

// Numbers of the vertices: -1 where there is none.
cv::Mat1i NumberPoints(const cv::Mat1f& depths, int& count) {
    cv::Mat1i numbers(depths.size());
    count = 0;
    for (int y = 0; y < depths.rows; ++y)
        for (int x = 0; x < depths.cols; ++x) numbers(y, x) = std::isnan(depths(y, x)) ? -1 : count++;
    return numbers;
}

// Calls `use(a, b, c)` with the numbers of the vertices of each triangle.
template <class Use>
void ForTriangles(const cv::Mat1f& depths, const cv::Mat1i& numbers, double maxStep, const Use& use) {
    for (int y = 0; y + 1 < depths.rows; ++y)
        VisitTriangles(depths, static_cast<float>(maxStep), y,
                       [&](cv::Point a, cv::Point b, cv::Point c) { use(numbers(a), numbers(b), numbers(c)); });
}

struct Counts {
    int vertices = 0, faces = 0;
};

std::string HeaderOf(const Counts& counts, bool hasGrey, bool hasFaces) {
    std::string text =
        "ply\nformat binary_little_endian 1.0\ncomment millimetres, x right, y down, z away from the camera\n";
    text += "element vertex " + std::to_string(counts.vertices) + "\n";
    for (const char* axis : {"x", "y", "z"}) text += std::string("property float ") + axis + "\n";
    if (hasGrey)
        for (const char* colour : {"red", "green", "blue"}) text += std::string("property uchar ") + colour + "\n";
    if (hasFaces) text += "element face " + std::to_string(counts.faces) + "\nproperty list uchar int vertex_indices\n";
    return text + "end_header\n";
}

constexpr int kReportRows = 64;

constexpr std::size_t kMostDigits = 64;  // of a number, with what separates it from the next one

// A number of millimetres with four decimals.
char* PutDecimal(char* to, float value) {
    if (!(std::abs(value) < 1e9f)) return std::to_chars(to, to + kMostDigits, value).ptr;
    const auto units = static_cast<std::int64_t>(std::llround(static_cast<double>(value) * 1e4));
    const auto size = static_cast<std::uint64_t>(std::abs(units));
    if (units < 0) *to++ = '-';
    to = std::to_chars(to, to + kMostDigits, size / 10000).ptr;
    *to++ = '.';
    for (std::uint64_t rest = size % 10000, digit = 1000; digit > 0; rest %= digit, digit /= 10)
        *to++ = static_cast<char>('0' + rest / digit);
    return to;
}

}  // namespace

double DepthStep(const Cloud& cloud) {
    RequireCloud(cloud);
    std::vector<float> distances;
    const int step = std::max(1, static_cast<int>(std::sqrt(double(cloud.z.total()) / 20000)));
    for (int y = 0; y < cloud.z.rows; y += step)
        for (int x = 0; x + 1 < cloud.z.cols; x += step) {
            const float distance = std::hypot(cloud.x(y, x + 1) - cloud.x(y, x), cloud.y(y, x + 1) - cloud.y(y, x));
            if (std::isfinite(distance)) distances.push_back(distance);
        }
    if (distances.empty()) return std::numeric_limits<double>::infinity();
    return 4 * static_cast<double>(MedianOf(distances));
}

std::vector<std::uint8_t> EncodePly(const Cloud& cloud, const PlyOptions& options, const Progress& progress) {
    const cv::Mat1f depths = DepthsOf(cloud);
    const cv::Size size = depths.size();
    RequireOneSize({"the cloud's z", cloud.z}, {{"the grey values", options.grey, kOptional}});
    RequireNotNegative("the largest step in depth", options.maxDepthStep);
    Counts counts;
    const cv::Mat1i numbers = NumberPoints(depths, counts.vertices);
    const double maxStep = options.maxDepthStep > 0 ? options.maxDepthStep : DepthStep(cloud);
    if (options.faces) ForTriangles(depths, numbers, maxStep, [&counts](int, int, int) { ++counts.faces; });

    const std::string header = HeaderOf(counts, !options.grey.empty(), options.faces);
    const std::size_t vertexBytes = options.grey.empty() ? 12 : 15, faceBytes = 13;
    std::vector<std::uint8_t> bytes(header.size() + vertexBytes * static_cast<std::size_t>(counts.vertices) +
                                    faceBytes * static_cast<std::size_t>(counts.faces));
    std::uint8_t* to = std::copy(header.begin(), header.end(), bytes.data());
    for (int y = 0; y < size.height; ++y) {
        if (y % kReportRows == 0) progress.Report("collecting points", 0.5 * y / size.height);
        for (int x = 0; x < size.width; ++x) {
            if (numbers(y, x) < 0) continue;
            for (const cv::Mat1f* image : {&cloud.x, &cloud.y, &cloud.z}) to = Put(to, (*image)(y, x));
            if (!options.grey.empty())
                for (int colour = 0; colour < 3; ++colour) to = Put(to, options.grey(y, x));
        }
    }
    progress.Report("collecting triangles", 0.5);
    if (options.faces)
        ForTriangles(depths, numbers, maxStep, [&to](int a, int b, int c) {
            to = Put(to, std::uint8_t{3});
            for (const int number : {a, b, c}) to = Put(to, number);
        });
    return bytes;
}

std::vector<std::uint8_t> EncodeXyz(const Cloud& cloud, const Progress& progress) {
    const cv::Mat1f depths = DepthsOf(cloud);
    std::vector<std::uint8_t> bytes;
    std::vector<char> line(static_cast<std::size_t>(cloud.z.cols) * 3 * kMostDigits);
    for (int y = 0; y < cloud.z.rows; ++y) {
        if (y % kReportRows == 0) progress.Report("collecting points", double(y) / cloud.z.rows);
        char* to = line.data();
        for (int x = 0; x < cloud.z.cols; ++x) {
            if (std::isnan(depths(y, x))) continue;
            for (const cv::Mat1f* image : {&cloud.x, &cloud.y, &cloud.z}) {
                to = PutDecimal(to, (*image)(y, x));
                *to++ = image == &cloud.z ? '\n' : ' ';
            }
        }
        bytes.insert(bytes.end(), line.data(), to);
    }
    return bytes;
}

void WriteCloud(const std::string& file, const Cloud& cloud, const PlyOptions& options, const Progress& progress) {
    const std::string ending = EndingOf(file);
    if (ending != ".ply" && ending != ".xyz") throw InputError(file + ": the ending must be .ply or .xyz");
    const auto bytes = ending == ".ply" ? EncodePly(cloud, options, progress) : EncodeXyz(cloud, progress);
    WriteBytes(file, bytes, progress);
}

}  // namespace measure
