// From phases to points in space, against geometry written out in long double.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "ipbase/ipLWorld.h"
#include "ipbase/world/operations.h"
#include "tests/support/harness.h"

namespace {

using namespace test;
using Real = long double;
using World = KrLPixelToWorld;

constexpr Real kTwoPi = 6.283185307179586476925286766559L;

struct Normal {
    Real x, y;
};
Normal Distort(const SrLens& l, Normal p) {
    const Real r2 = p.x * p.x + p.y * p.y, f = 1 + r2 * (l.k1 + r2 * (l.k2 + r2 * l.k3));
    return {p.x * f + 2 * l.p1 * p.x * p.y + l.p2 * (r2 + 2 * p.x * p.x),
            p.y * f + l.p1 * (r2 + 2 * p.y * p.y) + 2 * l.p2 * p.x * p.y};
}
// By steps of what is missing, until nothing changes.
Normal Undistort(const SrLens& l, Normal seen) {
    Normal p = seen;
    for (int i = 0; i < 80; ++i) {
        const Normal d = Distort(l, p);
        p = {p.x + (seen.x - d.x) * 0.8L, p.y + (seen.y - d.y) * 0.8L};
    }
    return p;
}

// About the vertical axis, and then the horizontal one.
World::Rotation Turn(double a, double b) {
    return {std::cos(a),  std::sin(a) * std::sin(b), std::sin(a) * std::cos(b), 0, std::cos(b), -std::sin(b),
            -std::sin(a), std::cos(a) * std::sin(b), std::cos(a) * std::cos(b)};
}

// A camera, a projector, and how the phase runs.
struct Rig {
    const char* name;
    SrLens camera, projector;
    double period, origin;
    int direction;
    World::Coordinate along;
    World::Rotation rotation = Turn(0.3786, -0.0251);
    World::Vector translation = {-154.2, -3.75, 72};

    Rig(const char* name_, const SrLens& camera_, const SrLens& projector_, double period_ = 18, double origin_ = 0,
        int direction_ = 1, World::Coordinate along_ = World::eColumn)
        : name(name_),
          camera(camera_),
          projector(projector_),
          period(period_),
          origin(origin_),
          direction(direction_),
          along(along_) {
        if (along == World::eRow) std::swap(translation[0], translation[1]);
    }
    World Make() const {
        World world;
        world.SetCamera(camera);
        world.SetProjector(projector, rotation, translation);
        world.SetPhaseScale(period, origin, direction, along);
        return world;
    }
    std::array<Real, 3> PointOf(Real column, Real row, Real z) const {
        const Normal d = Undistort(camera, {(column - camera.cx) / camera.fx, (row - camera.cy) / camera.fy});
        const Real spread = camera.telecentric ? 1 : z;
        return {d.x * spread, d.y * spread, z};
    }
    // Projector pixel of a point.
    std::array<Real, 2> Project(const std::array<Real, 3>& p) const {
        Real q[3];
        for (std::size_t i = 0; i < 3; ++i)
            q[i] = rotation[3 * i] * p[0] + rotation[3 * i + 1] * p[1] + rotation[3 * i + 2] * p[2] + translation[i];
        const Real depth = projector.telecentric ? 1 : q[2];
        const Normal d = Distort(projector, {q[0] / depth, q[1] / depth});
        return {projector.fx * d.x + projector.cx, projector.fy * d.y + projector.cy};
    }
    Real PhaseOf(const std::array<Real, 3>& p) const {
        return direction * (Project(p)[along] - origin) * kTwoPi / period;
    }
    // z at which the camera's pixel sees a phase, by bisection between 200 and 900 mm.
    Real DepthOf(Real column, Real row, Real phase) const {
        Real near = 200, far = 900;
        const bool rises = PhaseOf(PointOf(column, row, far)) > PhaseOf(PointOf(column, row, near));
        for (int i = 0; i < 80; ++i) {
            const Real middle = (near + far) / 2;
            ((PhaseOf(PointOf(column, row, middle)) < phase) == rises ? near : far) = middle;
        }
        return near;
    }
};

constexpr int kWidth = 37, kHeight = 23;  // of a camera whose pixels are large

SrLens Camera(double k1 = -0.09) { return {48, 48.1, 18.4, 10.9, k1, 0.06, 4e-4, -3e-4, 0}; }
SrLens Projector(double k1 = -0.045) { return {2200, 2197, 963, 546, k1, 0.02, -2e-4, 3e-4, 0}; }
SrLens Telecentric(SrLens l, double scale) {
    l.fx *= scale;
    l.fy *= scale;
    l.k1 = -1e-7;  // per square millimetre
    l.k2 = l.p1 = l.p2 = 0;
    l.telecentric = true;
    return l;
}

const std::vector<Rig>& Rigs() {
    static const std::vector<Rig> setups = {
        {"two lenses", Camera(), Projector()},
        {"phase falls, origin", Camera(), Projector(), 31.5, 107.25, -1},
        {"coordinates", Camera(), Projector(), 6.283185307179586, 0, 1},
        {"strong distortion", Camera(-0.3), Projector(-0.25), 18, -3, 1},
        {"no distortion", {48, 48.1, 18.4, 10.9}, {2200, 2197, 963, 546}},
        {"phase along rows", Camera(), Projector(), 18, 2, -1, World::eRow},
        {"telecentric camera", Telecentric(Camera(), 1 / 420.0), Projector()},
        {"telecentric projector", Camera(), Telecentric(Projector(), 1 / 330.0)},
    };
    return setups;
}

TEST(World, WhatNoPointExplainsIsLeftOut) {
    const Rig& setup = Rigs()[0];
    World world = setup.Make();
    const std::vector<double> bad = {std::nan(""), INFINITY, -INFINITY, 1e300, -1e300, 1e30};
    GuardedImage phase(eDev64Double, bad), x(eDev32Float, bad), y(eDev32Float, bad), z(eDev32Float, bad);
    GuardedImage result(eDev8, {0, 0, 0, 0, 0, 0});
    world.Execute(phase.image.get(), nullptr, x.image.get(), y.image.get(), z.image.get(),
                  static_cast<KrAOI8*>(result.image.get()));
    for (int i = 0; i < static_cast<int>(bad.size()); ++i) {
        EXPECT_TRUE(std::isnan(x.Get(i)) && std::isnan(y.Get(i)) && std::isnan(z.Get(i))) << bad[std::size_t(i)];
        EXPECT_EQ(255, result.Get(i));
    }
    EXPECT_TRUE(std::isnan(world.WorldPoint(1e9, 0, 1).z));
    EXPECT_TRUE(std::isnan(world.WorldPoint(std::nan(""), 0, 1).z));
    // Nor are there coefficients where one of them is beyond all numbers.
    for (int plane = 0; plane < 4; ++plane) {
        phase.Fill([&](int px, int) { return plane * (px == 0 ? 1 : 1e-160); });
        world.AddPlane(phase.image.get(), 300 + plane * plane);
    }
    world.FitCubic();
    for (int i = 0; i < 4; ++i) {
        KrBufferAOI64Double coefficient({2, 1});
        world.GetCoefficient(i, coefficient);
        EXPECT_NEAR(coefficient.ReadPixel({0, 0}), i == 0 ? 300 : i == 2 ? 1 : 0, 1e-9);
        EXPECT_TRUE(std::isnan(coefficient.ReadPixel({1, 0})));
    }
    // Beyond where the lens folds over there is no ray.
    world.SetCamera(Camera(-3));
    EXPECT_TRUE(std::isnan(world.WorldPoint(0, 0, 100).z));
}

// Camera and projector side by side at the distance L, fringes of constant width on the plane.
TEST(World, HeightAboveReferencePlane) {
    constexpr double L = 500, B = 120, f = 0.2;
    for (const bool telecentric : {false, true})
        for (const bool absolute : {false, true}) {
            const SrLens camera =
                telecentric ? SrLens{0.5, 0.5, 18, 11, 0, 0, 0, 0, 0, true} : SrLens{250, 250, 18, 11};
            GuardedImage phase(eDev64Double, kWidth, kHeight, 1), plane(eDev64Double, kWidth, kHeight, 2);
            GuardedImage x(eDev32Float, kWidth, kHeight, 3), y(eDev32Float, kWidth, kHeight, 4);
            GuardedImage z(eDev32Float, kWidth, kHeight, 5);
            const auto height = [](int px, int py) { return 0.8 * px - 0.3 * py; };
            const auto phaseAt = [&](int px, double h) {
                const double d = (px - 18) / camera.fx, at = telecentric ? d : d * (L - h);
                return 6.283185307179586 * f * (B + (at - B) * L / (L - h));
            };
            plane.Fill([&](int px, int) { return absolute ? phaseAt(px, 0) : 0; });
            phase.Fill([&](int px, int py) { return phaseAt(px, height(px, py)) - (absolute ? 0 : phaseAt(px, 0)); });
            World world;
            world.SetCamera(camera);
            world.SetReferencePlane({L, B, f}, absolute ? static_cast<KrAOI64Double*>(plane.image.get()) : nullptr);
            world.SetPhaseScale(18, 0, -1);
            // A telecentric camera sees another place of the plane beside the projector's axis.
            if (telecentric) world.SetReferencePlane({L, B, f}, static_cast<KrAOI64Double*>(plane.image.get()));
            world.Execute(phase.image.get(), nullptr, x.image.get(), y.image.get(), z.image.get());
            for (int py = 0; py < kHeight; ++py)
                for (int px = 0; px < kWidth; ++px) {
                    if (telecentric && px != 18) continue;  // the law holds on the axis only
                    const double h = height(px, py), spread = telecentric ? 1 : L - h;
                    ASSERT_NEAR(h, z.Get(px, py), 1e-4) << px << ' ' << py;
                    ASSERT_NEAR((px - 18) / camera.fx * spread, x.Get(px, py), 1e-4);
                    ASSERT_NEAR((py - 11) / camera.fy * spread, y.Get(px, py), 1e-4);
                }
            EXPECT_NEAR(height(18, 2), world.WorldPoint(18, 2, phase.Get(18, 2)).z, 1e-4);
        }
}

TEST(World, CoefficientsFromPlanes) {
    struct Row {
        bool rational;
        double k1, tolerance;
    };
    for (const Row& row : {Row{true, 0, 2e-5}, {true, -0.045, 3e-3}, {false, 0, 0.03}, {false, -0.045, 0.03}}) {
        SrLens projector = {2200, 2197, 963, 546, row.k1};
        const Rig setup("", Camera(), projector);
        World world;
        world.SetCamera(setup.camera);
        GuardedImage phase(eDev64Double, kWidth, kHeight, 1), mask(eDev8, kWidth, kHeight, 2);
        GuardedImage x(eDev32Float, kWidth, kHeight, 3), y(eDev32Float, kWidth, kHeight, 4);
        GuardedImage z(eDev32Float, kWidth, kHeight, 5), noise(eDev32Float, kWidth, kHeight, 5);
        for (int plane = 0; plane < 6; ++plane) {
            const double at = 330 + 20 * plane;
            phase.Fill([&](int px, int py) { return static_cast<double>(setup.PhaseOf(setup.PointOf(px, py, at))); });
            mask.Fill([&](int px, int py) { return px == 3 && (py == 5 || plane < 2) && plane < 4 ? 255 : 0; });
            world.AddPlane(phase.image.get(), at, static_cast<KrAOI8*>(mask.image.get()));
        }
        EXPECT_EQ(0, world.GetCoefficientCount());
        row.rational ? world.FitRational() : world.FitCubic();
        const auto check = [&](World& w) {
            const double at = 371;
            phase.Fill([&](int px, int py) { return static_cast<double>(setup.PhaseOf(setup.PointOf(px, py, at))); });
            noise.Fill([](int, int) { return 1; });
            w.Execute(phase.image.get(), nullptr, x.image.get(), y.image.get(), z.image.get());
            w.PredictNoise(phase.image.get(), noise.image.get(), nullptr, noise.image.get());
            for (int py = 0; py < kHeight; ++py)
                for (int px = 0; px < kWidth; ++px) {
                    if (px == 3 && py == 5) {  // two planes are too few
                        ASSERT_TRUE(std::isnan(z.Get(px, py)) && std::isnan(noise.Get(px, py)));
                        continue;
                    }
                    ASSERT_NEAR(at, z.Get(px, py), row.tolerance) << px << ' ' << py;
                    ASSERT_NEAR(static_cast<double>(setup.PointOf(px, py, at)[0]), x.Get(px, py), row.tolerance);
                }
            const double rise = w.WorldPoint(7, 7, phase.Get(7, 7) + 0.01).z - w.WorldPoint(7, 7, phase.Get(7, 7)).z;
            EXPECT_NEAR(std::abs(rise) / 0.01, noise.Get(7, 7), 0.01 * noise.Get(7, 7));
        };
        check(world);
        // The coefficients may be kept and set again.
        std::vector<KrBufferAOI64Double> kept(4, KrBufferAOI64Double({kWidth, kHeight}));
        ASSERT_EQ(row.rational ? 3 : 4, world.GetCoefficientCount());
        for (int i = 0; i < world.GetCoefficientCount(); ++i) world.GetCoefficient(i, kept[std::size_t(i)]);
        World again;
        again.SetCamera(setup.camera);
        row.rational ? again.SetRational(kept[0], kept[1], kept[2])
                     : again.SetCubic(kept[0], kept[1], kept[2], kept[3]);
        check(again);
    }
}

World stereo = Rigs()[0].Make();

const std::vector<OpCase> kCases = {
    {L"Execute( %s, %s, %s, %s )", 120, "8888 a888", [](I i, C) { stereo.Execute(i[0], nullptr, i[1], i[2], i[3]); }},
    {L"PredictRow( %s, %s )", 160, "88 a8", [](I i, C) { stereo.PredictRow(i[0], nullptr, i[1]); }},
    {L"PredictNoise( %s, %s, %s )", 200, "888 a88", [](I i, C) { stereo.PredictNoise(i[0], i[1], nullptr, i[2]); }},
    {L"AddPlane( %s, %g )", 240, "8 a", [](I i, C c) { stereo.AddPlane(i[0], c[0]); }, nullptr, {{300}}},
};

TEST(World, DispatchAndErrors) {
    CheckDispatch(kCases, WorldOperations(), L"C\\ipLWorld");
    const Rig& good = Rigs()[0];
    const double nan = std::nan("");
    SrLens flat = Camera(), none = Camera();
    flat.fy = 0;
    none.k2 = nan;
    World::Rotation mirrored = good.rotation, singular = good.rotation;
    for (std::size_t i = 0; i < 3; ++i) {
        mirrored[i] = -mirrored[i];
        singular[i] = singular[i + 3];
    }
    World turned;  // axes exchanged: rotations, too
    for (const World::Rotation& axes :
         {World::Rotation{0, 1, 0, 0, 0, 1, 1, 0, 0}, {0, 0, 1, 1, 0, 0, 0, 1, 0}, {0, 0, 1, 0, 1, 0, -1, 0, 0}})
        EXPECT_NO_THROW(turned.SetProjector(Projector(), axes, good.translation));
    const KrBufferAOI64Double small({3, 3}), large({40, 40});
    KrBufferAOI64Double target({3, 3});
    GuardedImage image(eDev32Float, 9, 9, 1), other(eDev32Float, 9, 9, 2), third(eDev32Float, 9, 9, 3);
    KrAOI *const a = image.image.get(), *const b = other.image.get(), *const c = third.image.get();
    const SrReferencePlane plane = {500, 120, 0.2}, noBaseline = {500, 0, 0.2};
    const KrTSize<short> one = {1, 1};
    const World::Vector nowhere = {0, nan, 0};
    const std::pair<int, std::function<void(World&)>> rows[] = {
        {40, [&](World& w) { w.SetCamera(flat); }},
        {41, [&](World& w) { w.SetProjector(none, good.rotation, good.translation); }},
        {42, [&](World& w) { w.SetProjector(Projector(), mirrored, good.translation); }},
        {42, [&](World& w) { w.SetProjector(Projector(), singular, good.translation); }},
        {42, [&](World& w) { w.SetProjector(Projector(), good.rotation, nowhere); }},
        {43, [&](World& w) { w.SetPhaseScale(0); }},
        {43, [&](World& w) { w.SetPhaseScale(18, nan); }},
        {43, [&](World& w) { w.SetPhaseScale(18, 0, 2); }},
        {44, [&](World& w) { w.SetReferencePlane(noBaseline); }},
        {45, [&](World& w) { w.SetRational(small, small, large); }},
        {46, [&](World& w) { w.AddPlane(a, nan); }},
        {46, [&](World& w) { w.AddPlane(&large, 1), w.AddPlane(a, 1); }},
        {47, [&](World& w) { w.FitRational(); }},
        {48, [&](World& w) { w.SetReferencePlane(plane), w.PredictRow(a, nullptr, b); }},
        {49, [&](World& w) { World().Execute(a, nullptr, a, b, c), w.Prepare(one); }},
        {49, [&](World& w) { w.SetRational(small, small, small), w.Execute(a, nullptr, a, b, c); }},
        {50, [&](World& w) { w.Execute(a, nullptr, b, c, b); }},
        {51, [&](World& w) { w.GetCoefficient(0, target); }},
    };
    const std::vector<unsigned char> before = other.memory;
    for (const auto& [line, run] : rows) {
        World world = good.Make();
        const auto error = ExpectError([&, run = run] { run(world); }, L"C\\ipLWorld", line);
        EXPECT_TRUE(error && KrString(error->GetText()).ToUtf8().find("Error in KrLPixelToWorld: ") == 0);
    }
    EXPECT_EQ(before, other.memory);
}

// A part of the camera's picture; phases of a surface, of which the points are known, or any numbers.
DRAWN_TEST(World, PartsOfPicturesAgreeWithGeometryOnEveryTarget, 600) {
    const Rig& setup = Drawn(draw, Rigs());
    const int left = static_cast<int>(draw(kWidth)), top = static_cast<int>(draw(kHeight));
    const int w = 1 + static_cast<int>(draw(std::min(12U, static_cast<std::uint32_t>(kWidth - left))));
    const int h = 1 + static_cast<int>(draw(std::min(4U, static_cast<std::uint32_t>(kHeight - top))));
    const bool isSurface = draw(4) != 0, masked = draw(2) != 0;
    const DeviceType type = isSurface && draw(4) ? eDev64Double : draw(2) ? eDev64Double : eDev32Float;
    const auto form = [&] { return static_cast<Form>(draw(3)); };
    const DirectAccess access(draw(4) != 0);
    const double near = 300 + draw(200), slope = static_cast<int>(draw(21)) - 10, bend = draw(30);
    GuardedImage phase(type, w, h, draw(1 << 16), form()), mask(eDev8, w, h, draw(1 << 16), form());
    const int wider = static_cast<int>(draw(3)), lower = static_cast<int>(draw(2));  // than the common region
    GuardedImage x(eDev32Float, w + wider, h, 2, form()), y(eDev32Float, w, h, 3),
        z(eDev32Float, w, h + lower, 4, form());
    GuardedImage noise(eDev32Float, w, h, 5), row(eDev32Float, w, h, 6, form()), result(eDev8, w + wider, h, 7, form());
    mask.Fill([&](int px, int py) { return static_cast<int>(mask.Get(px, py)) % 3 ? 63 : 64; });
    const auto depth = [&](int px, int py) { return near + slope * px + 5 * py + bend * std::sin(px * 0.7L); };
    const auto point = [&](int px, int py) { return setup.PointOf(left + px, top + py, depth(px, py)); };
    if (isSurface)
        phase.Fill([&](int px, int py) { return static_cast<double>(setup.PhaseOf(point(px, py))); });
    else
        FillRandom(type, phase.memory, draw(1 << 16), true);
    World world = setup.Make();
    if (left > 0 || top > 0 || draw(2))
        world.Prepare({static_cast<short>(w), static_cast<short>(h)},
                      {static_cast<short>(left), static_cast<short>(top)});
    const auto* const admitted = masked ? static_cast<const KrAOI8*>(mask.image.get()) : nullptr;
    auto* const missing = static_cast<KrAOI8*>(result.image.get());
    std::vector<std::vector<unsigned char>> first;
    ForEachTarget([&](std::int64_t) {
        noise.Fill([](int, int) { return 0.01; });
        world.PredictRow(phase.image.get(), admitted, row.image.get());
        world.PredictNoise(phase.image.get(), noise.image.get(), admitted, noise.image.get());
        world.Execute(phase.image.get(), admitted, x.image.get(), y.image.get(), z.image.get(), missing);
        const std::vector<std::vector<unsigned char>> found = {x.memory,   y.memory,     z.memory,
                                                               row.memory, noise.memory, result.memory};
        if (first.empty()) first = found;
        ASSERT_EQ(first, found) << "another result on another CPU target";
    });
    SCOPED_TRACE(setup.name);
    for (const auto& [image, seed] : {std::pair(&x, 2U), {&result, 7U}})
        for (int k = 0; k < wider * h; ++k) {
            const GuardedImage before(image->place.type, w + wider, h, seed);
            ASSERT_EQ(before.Get(w + k / h, k % h), image->Get(w + k / h, k % h));
        }
    for (int k = 0; k < w * lower; ++k) ASSERT_EQ(GuardedImage(eDev32Float, w, h + 1, 4).Get(k, h), z.Get(k, h));
    for (int py = 0; py < h; ++py)
        for (int px = 0; px < w; ++px) {
            const bool isMasked = masked && mask.Get(px, py) >= 64, isMissing = result.Get(px, py) == 255;
            for (const GuardedImage* image : {&x, &y, &z, &row}) ASSERT_EQ(isMissing, std::isnan(image->Get(px, py)));
            ASSERT_TRUE(!isMasked || isMissing);
            if (isMasked || !isSurface || type != eDev64Double) continue;
            const auto p = point(px, py);
            // Half a unit of the last place, and what is left of the distortion.
            ASSERT_NEAR(static_cast<double>(p[0]), x.Get(px, py), 2e-5);
            ASSERT_NEAR(static_cast<double>(p[1]), y.Get(px, py), 2e-5);
            ASSERT_NEAR(static_cast<double>(p[2]), z.Get(px, py), 4e-5);
            ASSERT_NEAR(static_cast<double>(setup.Project(p)[1 - setup.along]), row.Get(px, py), 5e-4);
            if (px != w / 2 || py != h / 2) continue;
            const Real u = left + px, v = top + py, seen = phase.Get(px, py);
            const Real rise = setup.DepthOf(u, v, seen + 1e-3L) - setup.DepthOf(u, v, seen - 1e-3L);
            const double sigma = static_cast<double>(std::abs(rise) / 2e-3L) * 0.01;
            ASSERT_NEAR(1, noise.Get(px, py) / sigma, 5e-4);
            const Real between = setup.PhaseOf(setup.PointOf(9.25L, 7.5L, near));
            ASSERT_NEAR(near, world.WorldPoint(9.25, 7.5, static_cast<double>(between)).z, 2e-5);
        }
}

// Into the phase itself, and into a view that overlaps it partly.
TEST(World, ReadsPhasesBeforeItWritesOverThem) {
    const Rig& setup = Rigs()[0];
    GuardedImage x(eDev32Float, kWidth, kHeight, 2), y(eDev32Float, kWidth, kHeight, 3),
        z(eDev32Float, kWidth, kHeight, 4);
    World world = setup.Make();
    for (const int shift : {0, 2}) {
        GuardedImage phase(eDev32Float, kWidth, kHeight, 1);
        phase.Fill([&](int px, int py) {
            return static_cast<double>(setup.PhaseOf(setup.PointOf(px, py, 420 + 30 * std::sin(px + py))));
        });
        const auto shifted = phase.View(shift, shift);
        world.Execute(phase.image.get(), nullptr, x.image.get(), y.image.get(), z.image.get());
        world.Execute(phase.image.get(), nullptr, x.image.get(), y.image.get(), shifted.get());
        for (short v = 0; v < kHeight; ++v)
            for (short u = 0; u < kWidth; ++u)
                ASSERT_EQ(z.Get(u, v), static_cast<const KrAOI32Float&>(*shifted).ReadPixel({u, v}));
    }
}

}  // namespace
