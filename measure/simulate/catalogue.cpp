#include <algorithm>
#include <cmath>

#include "measure/simulate.h"

namespace measure::simulate {
namespace {

cv::Matx33d Turn(double aboutY, double aboutX) {
    const double a = aboutY * CV_PI / 180, b = aboutX * CV_PI / 180;
    const cv::Matx33d y(std::cos(a), 0, std::sin(a), 0, 1, 0, -std::sin(a), 0, std::cos(a));
    const cv::Matx33d x(1, 0, 0, 0, std::cos(b), -std::sin(b), 0, std::sin(b), std::cos(b));
    return x * y;
}

// A sphere and a box before a wall.
Scene ObjectsBeforeWall(const Rig& rig, const Material& sphere, const Material& box, const Material& wall) {
    Scene scene{rig, {{Sphere{{-62, -12, 440}, 36}, sphere}, {Facing({0, 0, 520}, 3, 2), wall}}};
    for (const Object& side : Box({55, 8, 415}, {60, 80, 40}, 20, -10, box)) scene.objects.push_back(side);
    return scene;
}

Scene PlaneScene(const Rig& rig) { return {rig, {{Facing({0, 0, 420}, 8, -5)}}}; }
Scene SphereScene(const Rig& rig) { return {rig, {{Sphere{{0, 0, 420}, 40}}}}; }

Scene StepScene(const Rig& rig) {
    Plane upper = Facing({-20, 0, 410});
    upper.right = 0;
    return {rig, {{upper}, {Facing({0, 0, 430})}, {Facing({-20, 0, 420}, 90, 0, 10)}}};
}

Scene StairsScene(const Rig& rig) {
    Scene scene{rig, {}};
    for (int i = 0; i < 7; ++i) {
        const double left = -105 + 30.0 * i, z = 440 - 12 * std::abs(i - 3.0);
        scene.objects.push_back({Facing({left + 15, 0, z}, 0, 0, 15, 70)});
    }
    for (int i = 1; i < 7; ++i) {
        const double z = 440 - 12 * std::abs(i - 3.5);
        scene.objects.push_back({Facing({-105 + 30.0 * i, 0, z}, 90, 0, 6, 70)});
    }
    return scene;
}

Scene TwoObjects(const Rig& rig) { return ObjectsBeforeWall(rig, {}, {}, {}); }

Scene DarkScene(const Rig& rig) { return ObjectsBeforeWall(rig, {0.12}, {0, Stripes(14, 0.5, 0.1)}, {0.85}); }

Scene GlossyScene(const Rig& rig) {
    return ObjectsBeforeWall(rig, {0.35, {}, 2.5, 80}, {0.25, {}, 3, 40}, {0, Checks(18, 0.85, 0.3)});
}

Scene NarrowScene(const Rig& rig) {
    return {rig,
            {{Facing({-50, 0, 400}, 0, 0, 2.5, 60)},
             {Facing({0, 0, 405}, 0, 0, 1.2, 60)},
             {Cylinder{{30, -60, 400}, {70, 60, 430}, 2}},
             {Facing({0, 0, 480}, -6, 0)}}};
}

Scene TiltedScene(const Rig& rig) {
    Scene scene{rig, {{Facing({0, 0, 470}, -40, 0)}}};
    for (const Object& side : Box({20, 0, 400}, {50, 70, 50}, -20, 5)) scene.objects.push_back(side);
    return scene;
}

Scene TexturedScene(const Rig& rig) {
    return ObjectsBeforeWall(rig, {0, Grains(2, 0.9, 0.1, 7)}, {0, Checks(5, 0.9, 0.1)}, {0, Grains(9, 0.9, 0.06, 3)});
}

Scene WiresScene(const Rig& rig) {
    Scene scene{rig, {{Facing({0, 0, 520})}, {Facing({20, 0, 460}, 12, 0, 80, 55), {0, Perforated(22, 12, 0.7)}}}};
    for (int i = 0; i < 4; ++i) {
        const double x = -110 + 60.0 * i, radius = 0.5 + 0.4 * i;
        scene.objects.push_back({Cylinder{{x, -90, 410}, {x + 25, 90, 440}, radius}});
        scene.objects.push_back({Cylinder{{-130, -60 + 40.0 * i, 425}, {130, -50 + 40.0 * i, 405}, radius}});
    }
    return scene;
}

Scene SteepScene(const Rig& rig) {
    return {rig,
            {{Facing({-50, 0, 420}, 48, 0, 50, 45)},
             {Facing({45, 0, 420}, -68, 0, 70, 45)},
             {Facing({0, 75, 420}, 0, 60, 90, 35)},
             {Facing({0, -75, 420}, 0, -65, 90, 35)}}};
}

Scene PartialScene(const Rig& rig) {
    Scene scene = TwoObjects(rig);
    scene.rig.projector.fx *= 2.2;  // lights a part of the camera's picture
    scene.rig.projector.fy *= 2.2;
    return scene;
}

Scene IslandsScene(const Rig& rig) {
    return {rig,
            {{Facing({-70, 10, 400}, 12, -8, 30, 45)},
             {Sphere{{15, -20, 440}, 28}},
             {Facing({75, 20, 460}, -10, 5, 22, 40), {0.4}}}};
}

}  // namespace

Plane Facing(cv::Vec3d centre, double aboutY, double aboutX, double halfWidth, double halfHeight) {
    return {{Turn(aboutY, aboutX), centre}, -halfWidth, halfWidth, -halfHeight, halfHeight};
}

std::vector<Object> Box(cv::Vec3d centre, cv::Vec3d size, double aboutY, double aboutX, const Material& material) {
    const cv::Matx33d turn = Turn(aboutY, aboutX);
    const cv::Vec3d half = 0.5 * size;
    std::vector<Object> sides;
    for (int axis = 0; axis < 3; ++axis)
        for (const double sign : {-1.0, 1.0}) {
            // The side's own x and y are the box's next two axes.
            const int right = (axis + 1) % 3, down = (axis + 2) % 3;
            Plane side;
            for (int i = 0; i < 3; ++i) {
                side.pose.rotation(i, 0) = turn(i, right);
                side.pose.rotation(i, 1) = turn(i, down);
                side.pose.rotation(i, 2) = turn(i, axis);
                side.pose.translation[i] = centre[i] + sign * half[axis] * turn(i, axis);
            }
            side.left = -half[right];
            side.right = half[right];
            side.top = -half[down];
            side.bottom = half[down];
            sides.push_back({side, material});
        }
    return sides;
}

Rig StandardRig(cv::Size picture) {
    const double scale = std::max(picture.width / 1936.0, picture.height / 1216.0);
    Rig rig;
    rig.cameraSize = picture;
    rig.camera = {2600 * scale,
                  2604 * scale,
                  (picture.width - 1) / 2.0 + 6 * scale,
                  (picture.height - 1) / 2.0 - 4 * scale,
                  -0.09,
                  0.06,
                  4e-4,
                  -3e-4,
                  0};
    rig.projectorSize = {1920, 1080};
    rig.projector = {2200, 2197, 963, 546, -0.045, 0.02, -2e-4, 3e-4, 0};

    const cv::Vec3d centre(170, 4, -10), target(0, 0, 440);
    const cv::Vec3d ahead = cv::normalize(target - centre);
    const cv::Vec3d right = cv::normalize(cv::Vec3d(0.01, 1, 0).cross(ahead)), down = ahead.cross(right);
    rig.toProjector.rotation = {right[0], right[1], right[2], down[0], down[1], down[2], ahead[0], ahead[1], ahead[2]};
    rig.toProjector.translation = -(rig.toProjector.rotation * centre);
    return rig;
}

const std::vector<StandardScene>& StandardScenes() {
    static const std::vector<StandardScene> scenes = {
        {"plane", "a plane, slightly tilted", PlaneScene},
        {"sphere", "a sphere and nothing behind it", SphereScene},
        {"step", "two planes 20 mm apart and the riser between them", StepScene},
        {"stairs", "steps of 12 mm down and up again", StairsScene},
        {"two-objects", "a sphere and a box at different depths before a wall", TwoObjects},
        {"dark", "the same; the sphere dark, the box in dark and bright stripes", DarkScene},
        {"glossy", "the same with highlights that saturate, the wall in checks", GlossyScene},
        {"narrow", "bars 5 and 2.4 mm wide and a rod before a wall", NarrowScene},
        {"tilted", "a box before a wall that is tilted by 40 degrees, with a deep shadow", TiltedScene},
        {"textured", "a sphere, a box and a wall with grains and checks of high contrast", TexturedScene},
        {"wires", "wires of 1 to 3.4 mm before a perforated plate and a wall", WiresScene},
        {"steep", "planes tilted by 48 to 68 degrees, with nothing between them", SteepScene},
        {"partial", "a sphere and a box before a wall, of which the projector lights a part", PartialScene},
        {"islands", "a plate, a sphere and a darker plate with nothing between or behind them", IslandsScene},
    };
    return scenes;
}

Scene MakeScene(const std::string& name, const Rig& rig) {
    std::string names;
    for (const StandardScene& scene : StandardScenes()) {
        if (name == scene.name) return scene.make(rig);
        names += (names.empty() ? "" : ", ") + std::string(scene.name);
    }
    throw InputError("there is no scene \"" + name + "\"; there are " + names);
}

}  // namespace measure::simulate
