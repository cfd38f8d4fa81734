#include "measure/simulate/hit.h"

#include <array>
#include <cmath>

namespace measure::simulate {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

bool IsHole(const Material& material, cv::Point2d surface) {
    return material.texture && std::isnan(material.texture(surface));
}

// The two parameters at which a·t² + 2b·t + c is 0, ascending; NaN when there are none.
std::array<double, 2> Roots(double a, double b, double c) {
    const double square = b * b - a * c;
    if (!(square >= 0)) return {kNone, kNone};
    const double root = std::sqrt(square);
    const double q = -(b + std::copysign(root, b));  // no cancellation
    double first = q / a, second = q != 0 ? c / q : first;
    if (first > second) std::swap(first, second);
    return {first, second};
}

cv::Vec3d Column(const cv::Matx33d& m, int i) { return {m(0, i), m(1, i), m(2, i)}; }

std::optional<Hit> MeetShape(const Plane& plane, const Material& material, const Line& line, double least) {
    const cv::Vec3d normal = Column(plane.pose.rotation, 2);
    const double t = normal.dot(plane.pose.translation - line.from) / normal.dot(line.along);
    if (!(t > least) || std::isinf(t)) return {};
    const cv::Vec3d p = line.from + t * line.along - plane.pose.translation;
    const cv::Point2d at(Column(plane.pose.rotation, 0).dot(p), Column(plane.pose.rotation, 1).dot(p));
    const bool inside = at.x >= plane.left && at.x <= plane.right && at.y >= plane.top && at.y <= plane.bottom;
    if (!inside || IsHole(material, at)) return {};
    return Hit{t, normal, at};
}

std::optional<Hit> MeetShape(const Sphere& sphere, const Material& material, const Line& line, double least) {
    const cv::Vec3d from = line.from - sphere.centre;
    const double a = line.along.dot(line.along), b = from.dot(line.along);
    for (const double t : Roots(a, b, from.dot(from) - sphere.radius * sphere.radius)) {
        if (!(t > least)) continue;
        const cv::Vec3d n = (from + t * line.along) / sphere.radius;
        cv::Point2d at;
        if (material.texture)
            at = {sphere.radius * std::atan2(n[0], -n[2]), sphere.radius * std::atan2(n[1], std::hypot(n[0], n[2]))};
        if (!IsHole(material, at)) return Hit{t, n, at};
    }
    return {};
}

std::optional<Hit> MeetShape(const Cylinder& cylinder, const Material& material, const Line& line, double least) {
    const cv::Vec3d axis = cv::normalize(cylinder.to - cylinder.from), from = line.from - cylinder.from;
    const double length = cv::norm(cylinder.to - cylinder.from);
    const cv::Vec3d d = line.along - axis.dot(line.along) * axis, o = from - axis.dot(from) * axis;
    // Two directions across the axis, for the angle around it; the first away from the camera.
    const cv::Vec3d back = std::abs(axis[2]) < 0.9 ? cv::Vec3d(0, 0, 1) : cv::Vec3d(1, 0, 0);
    const cv::Vec3d side = cv::normalize(axis.cross(back)), deep = side.cross(axis);
    for (const double t : Roots(d.dot(d), o.dot(d), o.dot(o) - cylinder.radius * cylinder.radius)) {
        const double along = axis.dot(from + t * line.along);
        if (!(t > least) || !(along >= 0 && along <= length)) continue;
        const cv::Vec3d n = (o + t * d) / cylinder.radius;
        const cv::Point2d at(cylinder.radius * std::atan2(side.dot(n), -deep.dot(n)), along);
        if (!IsHole(material, at)) return Hit{t, n, at};
    }
    return {};
}

bool HasExtent(const Plane& p) {
    return p.left < p.right && p.top < p.bottom &&
           cv::norm(p.pose.rotation * p.pose.rotation.t() - cv::Matx33d::eye()) < 1e-9;
}
bool HasExtent(const Sphere& s) { return s.radius > 0; }
bool HasExtent(const Cylinder& c) { return c.radius > 0 && cv::norm(c.to - c.from) > 0; }

}  // namespace

std::optional<Hit> Meet(const Object& object, const Line& line, double least) {
    return std::visit([&](const auto& shape) { return MeetShape(shape, object.material, line, least); }, object.shape);
}

void Check(const Object& object) {
    if (!std::visit([](const auto& shape) { return HasExtent(shape); }, object.shape))
        throw InputError("an object of the scene has no extent, or its frame is no rotation");
}

}  // namespace measure::simulate
