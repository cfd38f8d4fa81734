#include "measure/systemcheck.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/world/depths.h"

namespace measure {
namespace {

using Points = std::vector<cv::Vec3d>;
constexpr std::size_t kLeastPoints = 10;

Points PointsIn(const Cloud& cloud, const cv::Mat1b& area) {
    RequireCloud(cloud);
    RequireOneSize({"the cloud's z", cloud.z}, {{"the area", area, kOptional}});
    Points points;
    points.reserve(area.empty() ? cloud.z.total() : static_cast<std::size_t>(cv::countNonZero(area)));
    for (int y = 0; y < cloud.z.rows; ++y) {
        for (int x = 0; x < cloud.z.cols; ++x) {
            if (!area.empty() && area(y, x) < 128) continue;
            const cv::Vec3d p(cloud.x(y, x), cloud.y(y, x), cloud.z(y, x));
            if (std::isfinite(p[0] + p[1] + p[2])) points.push_back(p);
        }
    }
    if (points.size() < kLeastPoints)
        throw NothingUsable(cv::format("the area holds %zu points, which is too few", points.size()));
    return points;
}

cv::Vec3d MeanOf(const Points& points) {
    cv::Vec3d sum;
    for (const cv::Vec3d& p : points) sum += p;
    return sum / static_cast<double>(points.size());
}

// --- Sphere: centre and radius

// A start from the linear equation |p|² = 2 c·p + (r² - |c|²), then Gauss and Newton on the distances.
class SphereShape {
public:
    SphereShape(const Points& points, const Progress& progress) : mMean(MeanOf(points)) {
        cv::Matx44d normal = cv::Matx44d::zeros();
        cv::Vec4d right;
        for (const cv::Vec3d& p : points) {
            const cv::Vec3d q = p - mMean;
            const cv::Vec4d row(q[0], q[1], q[2], 1);
            normal += row * row.t();
            right += q.dot(q) * row;
        }
        cv::Vec4d solution;
        if (!cv::solve(normal, right, solution, cv::DECOMP_CHOLESKY)) ThrowFlat();
        centre = 0.5 * cv::Vec3d(solution[0], solution[1], solution[2]);
        radius = std::sqrt(std::max(0.0, solution[3] + centre.dot(centre)));
        Refine(points, progress);
        centre += mMean;
    }

    double Deviation(const cv::Vec3d& p) const { return cv::norm(p - centre) - radius; }

    cv::Vec3d centre;
    double radius = 0;

private:
    [[noreturn]] static void ThrowFlat() { throw NothingUsable("the points of the area do not lie on a sphere"); }

    // A sphere takes a handful of rounds, points that lie on none all of them.
    void Refine(const Points& points, const Progress& progress) {
        constexpr int kMostRounds = 50;
        for (int round = 0; round < kMostRounds; ++round) {
            progress.Report("fitting", static_cast<double>(round) / kMostRounds);
            cv::Matx44d normal = cv::Matx44d::zeros();
            cv::Vec4d right;
            for (const cv::Vec3d& p : points) {
                const cv::Vec3d arm = p - mMean - centre;
                const double distance = cv::norm(arm);
                if (!(distance > 0)) continue;
                const cv::Vec4d row(-arm[0] / distance, -arm[1] / distance, -arm[2] / distance, -1);
                normal += row * row.t();
                right -= (distance - radius) * row;
            }
            cv::Vec4d step;
            if (!cv::solve(normal, right, step, cv::DECOMP_CHOLESKY)) ThrowFlat();
            centre += cv::Vec3d(step[0], step[1], step[2]);
            radius += step[3];
            if (!(cv::norm(step) < 1e9)) ThrowFlat();
            if (cv::norm(step) < 1e-10 * std::max(1.0, radius)) return;
        }
    }

    cv::Vec3d mMean;
};

// --- Plane: normal and distance

class PlaneShape {
public:
    PlaneShape(const Points& points, const Progress&) {
        const cv::Vec3d mean = MeanOf(points);
        cv::Matx33d scatter = cv::Matx33d::zeros();
        for (const cv::Vec3d& p : points) {
            const cv::Vec3d q = p - mean;
            scatter += q * q.t();
        }
        cv::Vec3d values;
        cv::Matx33d vectors;
        cv::eigen(scatter, values, vectors);
        if (!(values[1] > 1e-12 * values[0])) throw NothingUsable("the points of the area lie on a line");
        normal = cv::Vec3d(vectors(2, 0), vectors(2, 1), vectors(2, 2));
        if (normal[2] > 0) normal = -normal;  // z leads away from the camera
        distance = normal.dot(mean);
    }

    double Deviation(const cv::Vec3d& p) const { return normal.dot(p) - distance; }

    cv::Vec3d normal;
    double distance = 0;
};

// --- Both

template <class Shape>
void LeaveOut(Points& points, std::size_t count, const Shape& shape) {
    std::vector<float> distances;
    distances.reserve(points.size());
    for (const cv::Vec3d& p : points) distances.push_back(static_cast<float>(std::abs(shape.Deviation(p))));
    std::vector<float> ordered = distances;
    const auto worst = ordered.end() - static_cast<std::ptrdiff_t>(count);
    std::nth_element(ordered.begin(), worst, ordered.end());
    const float limit = *worst;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < points.size(); ++i)
        if (count > 0 && distances[i] >= limit)
            --count;
        else
            points[kept++] = points[i];
    points.resize(kept);
}

// Fits, leaves the worst points out, and fits again; `range` and the counts belong to the points that are left.
template <class Shape, class Fit>
Shape FitTwice(Points points, double share, double Fit::*range, Fit& fit, const Progress& progress) {
    RequireNumber(share >= 0 && share <= 0.5, "the share of the points to leave out", share, "0 to 0.5");
    progress.Report("fitting");
    Shape shape(points, progress);
    const auto discarded = static_cast<std::size_t>(share * static_cast<double>(points.size()));
    if (discarded > 0) {
        progress.Report("leaving points out");
        LeaveOut(points, discarded, shape);
        shape = Shape(points, progress);
    }
    progress.Report("judging the fit");
    double least = std::numeric_limits<double>::infinity(), most = -least, squares = 0;
    for (const cv::Vec3d& p : points) {
        const double deviation = shape.Deviation(p);
        least = std::min(least, deviation);
        most = std::max(most, deviation);
        squares += deviation * deviation;
    }
    fit.*range = most - least;
    fit.rms = std::sqrt(squares / static_cast<double>(points.size()));
    fit.points = static_cast<int>(points.size());
    fit.discarded = static_cast<int>(discarded);
    return shape;
}

}  // namespace

SphereFit CheckSphere(const Cloud& cloud, const cv::Mat1b& area, double discarded, const Progress& progress) {
    SphereFit fit;
    const auto shape = FitTwice<SphereShape>(PointsIn(cloud, area), discarded, &SphereFit::probingError, fit, progress);
    fit.centre = shape.centre;
    fit.radius = shape.radius;
    return fit;
}

PlaneFit CheckPlane(const Cloud& cloud, const cv::Mat1b& area, double discarded, const Progress& progress) {
    PlaneFit fit;
    const auto shape = FitTwice<PlaneShape>(PointsIn(cloud, area), discarded, &PlaneFit::flatness, fit, progress);
    fit.normal = shape.normal;
    fit.distance = shape.distance;
    return fit;
}

Quantities QuantitiesOf(const SphereFit& sphere, double diameter) {
    RequireNotNegative("the calibrated diameter", diameter);
    Quantities result = {{"probing_error_form", sphere.probingError, "mm"}, {"diameter", 2 * sphere.radius, "mm"}};
    if (diameter > 0) result.push_back({"probing_error_size", 2 * sphere.radius - diameter, "mm"});
    for (int i = 0; i < 3; ++i) result.push_back({std::string("centre_") + "xyz"[i], sphere.centre[i], "mm"});
    result.push_back({"rms", sphere.rms, "mm"});
    result.push_back({"points", static_cast<double>(sphere.points), ""});
    result.push_back({"points_discarded", static_cast<double>(sphere.discarded), ""});
    return result;
}

Quantities QuantitiesOf(const PlaneFit& plane) {
    return {{"flatness", plane.flatness, "mm"},
            {"rms", plane.rms, "mm"},
            {"points", static_cast<double>(plane.points), ""},
            {"points_discarded", static_cast<double>(plane.discarded), ""}};
}

Quantities SphereDistance(const SphereFit& a, const SphereFit& b, double distance) {
    RequireNotNegative("the calibrated distance", distance);
    const double measured = cv::norm(a.centre - b.centre);
    Quantities result = {{"sphere_distance", measured, "mm"}};
    if (distance > 0) result.push_back({"sphere_distance_error", measured - distance, "mm"});
    return result;
}

Cloud PointsOf(const HeightMap& map) {
    RequireHeights(map);
    if (!map.IsMetric()) throw InputError("a check needs points: heights in millimetres on a grid with a pitch");
    Cloud cloud{cv::Mat1f(map.z.size()), cv::Mat1f(map.z.size()), cv::Mat1f(map.z.size()), {}};
    for (int y = 0; y < map.z.rows; ++y) {
        for (int x = 0; x < map.z.cols; ++x) {
            cloud.x(y, x) = static_cast<float>(map.origin.x + map.pitch * x);
            cloud.y(y, x) = static_cast<float>(map.pitch * y - map.origin.y);
            cloud.z(y, x) = -map.z(y, x);
        }
    }
    return cloud;
}

}  // namespace measure
