#include <algorithm>
#include <cmath>
#include <limits>

#include "measure/base/arguments.h"
#include "measure/base/decimal.h"
#include "measure/error.h"
#include "measure/surface.h"
#include "measure/surface/sampling.h"

namespace measure {
namespace {

constexpr double kMostPoints = 1e6;
constexpr double kWidest = 10000;

void RequireInside(const cv::Mat1f& image, const std::vector<cv::Point2d>& line) {
    for (const cv::Point2d p : line) {
        if (p.x >= 0 && p.y >= 0 && p.x <= image.cols - 1 && p.y <= image.rows - 1) continue;
        throw InputError(
            cv::format("the point %g,%g of the line lies outside the map: columns go from 0 to %d, rows "
                       "from 0 to %d",
                       p.x, p.y, image.cols - 1, image.rows - 1));
    }
}

// A place on the polyline and the direction across it.
struct Place {
    cv::Point2d pixel, across;
    double distance;  // pixels
};

// Points every `step` pixels, and the end.
std::vector<Place> WalkAlong(const std::vector<cv::Point2d>& line, double step) {
    double length = 0;
    for (std::size_t i = 1; i < line.size(); ++i) length += cv::norm(line[i] - line[i - 1]);
    if (!(length > 0)) throw InputError("the line has no length: its points are the same");
    if (length / step > kMostPoints)
        throw InputError(
            cv::format("a line of %.0f pixels in steps of %g has more than a million points", length, step));
    std::vector<Place> places;
    const auto count = static_cast<int>(std::floor(length / step + 1e-9)) + 1;
    const bool hasEnd = length - (count - 1) * step > 1e-6 * step;
    std::size_t part = 1;
    double before = 0;  // length of the parts before this one
    for (int i = 0; i < count + (hasEnd ? 1 : 0); ++i) {
        const double distance = std::min(i * step, length);
        double partLength = cv::norm(line[part] - line[part - 1]);
        while (part + 1 < line.size() && distance > before + partLength) {
            before += partLength;
            ++part;
            partLength = cv::norm(line[part] - line[part - 1]);
        }
        const cv::Point2d along = (line[part] - line[part - 1]) / std::max(partLength, 1e-300);
        const double share = std::clamp(distance - before, 0.0, partLength);
        cv::Point2d pixel = line[part - 1] + share * along;
        if (partLength - share < 1e-9) pixel = line[part];  // exactly, so that it stays inside the map
        places.push_back({pixel, {-along.y, along.x}, distance});
    }
    return places;
}

void RequireWhole(const Profile& profile) {
    const std::size_t count = profile.height.size();
    if (count == 0) throw InputError("the profile has no points");
    RequireOneLength("distances of the profile", profile.distance.size(), "heights", count);
    RequireOneLength("pixels of the profile", profile.pixels.size(), "heights", count);
    RequireOneLength("numbers of samples of the profile", profile.samples.size(), "heights", count);
}

}  // namespace

Profile TakeProfile(const HeightMap& map, const ProfileOptions& options, const Progress& progress) {
    RequireHeights(map);
    if (options.line.size() < 2) throw InputError("a profile needs a line of two points or more");
    RequirePositive("the step along a profile", options.step);
    RequireNumber(options.width >= 0 && options.width <= kWidest, "the width of a profile", options.width,
                  "0 to 10000 pixels");
    RequireInside(map.z, options.line);
    const std::vector<Place> places = WalkAlong(options.line, options.step);
    const int lines = std::max(1, static_cast<int>(std::lround(options.width)));
    Profile profile;
    bool any = false;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (i % 1024 == 0)
            progress.Report("taking the profile", static_cast<double>(i) / static_cast<double>(places.size()));
        const Place& place = places[i];
        double sum = 0;
        int samples = 0;
        for (int k = 0; k < lines; ++k) {
            const cv::Point2d at = place.pixel + (k - 0.5 * (lines - 1)) * place.across;
            const auto z = static_cast<double>(Bilinear(map.z, at.x, at.y));
            if (!std::isfinite(z)) continue;
            sum += z;
            ++samples;
        }
        any = any || samples > 0;
        profile.pixels.push_back(place.pixel);
        profile.distance.push_back(place.distance * map.PixelLength());
        profile.height.push_back(samples > 0 ? static_cast<float>(sum / samples)
                                             : std::numeric_limits<float>::quiet_NaN());
        profile.samples.push_back(samples);
    }
    if (!any) throw NothingUsable("the line meets no pixel with a height");
    return profile;
}

Quantities QuantitiesOf(const Profile& profile, const HeightMap& map) {
    RequireWhole(profile);
    double n = 0, s = 0, ss = 0, z = 0, sz = 0;
    const std::size_t count = profile.height.size();
    const double middle = 0.5 * profile.distance.back();
    const auto each = [&](const auto& visit) {
        for (std::size_t i = 0; i < count; ++i)
            if (std::isfinite(profile.height[i]))
                visit(profile.distance[i] - middle, static_cast<double>(profile.height[i]));
    };
    each([&](double x, double h) {
        n += 1;
        s += x;
        ss += x * x;
        z += h;
        sz += x * h;
    });
    const double determinant = n * ss - s * s;
    const double slope = determinant > 0 ? (n * sz - s * z) / determinant : 0.0, level = (z - slope * s) / n;
    double absolute = 0, squares = 0, least = 0, most = 0;
    each([&](double x, double h) {
        const double rest = h - slope * x - level;
        absolute += std::abs(rest);
        squares += rest * rest;
        least = std::min(least, rest);
        most = std::max(most, rest);
    });
    return {{"length", profile.distance.back(), map.LengthUnit()},
            {"points", static_cast<double>(count), ""},
            {"valid_share", n / static_cast<double>(count), ""},
            {"slope", slope, map.unit + "/" + map.LengthUnit()},
            {"Pa", absolute / n, map.unit},
            {"Pq", std::sqrt(squares / n), map.unit},
            {"Pt", most - least, map.unit}};
}

std::string CsvOf(const Profile& profile, const HeightMap& map) {
    RequireWhole(profile);
    const std::string length = map.LengthUnit();
    std::string csv = "distance_" + length + ",x_" + length + ",y_" + length + ",height_" + map.unit + ",samples\n";
    for (std::size_t i = 0; i < profile.height.size(); ++i) {
        const cv::Point2d p = profile.pixels[i] * map.PixelLength();
        const double y = map.HasPitch() ? map.origin.y - p.y : p.y;
        for (const double value : {profile.distance[i], map.origin.x + p.x, y}) csv += DecimalText(value, 9) + ",";
        if (profile.samples[i] > 0) csv += DecimalText(static_cast<double>(profile.height[i]), 9);
        csv += cv::format(",%d\n", profile.samples[i]);
    }
    return csv;
}

}  // namespace measure
