#include "measure/world/triangulation.h"

#include "measure/image.h"

namespace measure {
namespace {

KrN::SrLens ToLens(const Lens& l) { return {l.fx, l.fy, l.cx, l.cy, l.k1, l.k2, l.p1, l.p2, l.k3, false}; }

}  // namespace

KrN::KrLPixelToWorld MakePixelToWorld(const Calibration& calibration, bool fromRows) {
    using World = KrN::KrLPixelToWorld;
    World::Rotation rotation;
    World::Vector translation;
    for (int i = 0; i < 9; ++i) rotation[static_cast<std::size_t>(i)] = calibration.rotation.val[i];
    for (int i = 0; i < 3; ++i) translation[static_cast<std::size_t>(i)] = calibration.translation[i];
    World world;
    try {
        Call([&] {
            world.SetCamera(ToLens(calibration.camera));
            world.SetProjector(ToLens(calibration.projector), rotation, translation);
            world.SetPhaseScale(2 * CV_PI, 0, 1, fromRows ? World::eRow : World::eColumn);
        });
    } catch (const Error& error) {
        throw InputError(error.what());
    }
    return world;
}

double DepthSensitivity(const Calibration& calibration, bool ofRows) {
    // The place of a ray's point moves in the projector's picture by the cross product of the ray's two ends.
    const cv::Vec3d along = calibration.rotation * cv::Vec3d(0, 0, 1), from = calibration.translation;
    const int k = ofRows ? 1 : 0;
    return std::abs(from[2] * along[k] - from[k] * along[2]) / std::max(cv::norm(from), 1e-300) *
           (ofRows ? calibration.projector.fy : calibration.projector.fx);
}

}  // namespace measure
