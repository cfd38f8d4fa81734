// The simulator against closed forms: what it calls the truth judges everything else.
#include "measure/simulate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <opencv2/core.hpp>

#include "measure/io.h"
#include "measure/simulatescan.h"
#include "tests/support/refusal.h"

namespace {

using namespace measure::simulate;

Rig SmallRig() { return StandardRig({160, 120}); }

cv::Vec3d PointAt(const Truth& t, int x, int y) { return {t.x(y, x), t.y(y, x), t.z(y, x)}; }

template <class F>
void ForEachPixel(cv::Size size, const F& function) {
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) function(x, y);
}

TEST(Simulate, LensesGoThereAndBack) {
    const Lens lenses[] = {{2200, 2210, 960, 600},
                           StandardRig().projector,
                           {2600, 2590, 970, 610, -0.3, 0.1, 1e-3, -2e-3, 0.02},
                           {900, 900, 320, 240, 0.25, 0.05, -3e-3, 1e-3, 0.1}};
    for (const Lens& lens : lenses)
        for (double y = 0; y < 1216; y += 151)
            for (double x = 0; x < 1936; x += 121) {
                const cv::Point2d back = lens.Project(lens.Direction({x, y}));
                EXPECT_NEAR(back.x, x, 1e-10);
                EXPECT_NEAR(back.y, y, 1e-10);
                const cv::Point2d direction(x / 3000 - 0.3, y / 3000 - 0.2);
                const cv::Point2d again = lens.Direction(lens.Project(direction));
                EXPECT_LT(std::hypot(again.x - direction.x, again.y - direction.y), 1e-12);
            }
    // The model written out, at one direction.
    const Lens l = lenses[2];
    const double x = 0.2, y = -0.1, r2 = 0.05, radial = 1 - 0.3 * r2 + 0.1 * r2 * r2 + 0.02 * r2 * r2 * r2;
    EXPECT_NEAR(l.Project({x, y}).x, l.cx + l.fx * (x * radial + 2 * l.p1 * x * y + l.p2 * (r2 + 2 * x * x)), 1e-10);
    EXPECT_NEAR(l.Project({x, y}).y, l.cy + l.fy * (y * radial + l.p1 * (r2 + 2 * y * y) + 2 * l.p2 * x * y), 1e-10);
    // Strong barrel distortion sees no further than its fold.
    EXPECT_TRUE(std::isnan(Lens({100, 100, 0, 0, -1}).Direction({100, 0}).x));
}

// Each shape alone: every point that is seen lies on it, on the ray, on the near side; every miss misses.
TEST(Simulate, PointsLieOnTheShapes) {
    const Rig rig = SmallRig();
    const cv::Vec3d centre(5, -3, 420), from(-60, -40, 400), to(50, 45, 440), axis = cv::normalize(to - from);
    const Plane plane = Facing(centre, 30, -20, 60, 40);
    const cv::Vec3d normal(plane.pose.rotation(0, 2), plane.pose.rotation(1, 2), plane.pose.rotation(2, 2));
    struct {
        Object object;
        std::function<double(cv::Vec3d)> off;     // millimetres off the surface
        std::function<double(cv::Vec3d)> misses;  // of a ray, above 0: by how much it misses
    } const rows[] = {
        {{plane}, [&](cv::Vec3d p) { return normal.dot(p - centre); }, {}},
        {{Sphere{centre, 40}},
         [&](cv::Vec3d p) { return cv::norm(p - centre) - 40; },
         [&](cv::Vec3d d) { return cv::norm(centre.cross(d)) - 40; }},
        {{Cylinder{from, to, 12}}, [&](cv::Vec3d p) { return cv::norm((p - from).cross(axis)) - 12; }, {}},
    };
    for (const auto& row : rows) {
        const Simulation simulation({rig, {row.object}}, 1);
        const Truth& truth = simulation.GetTruth();
        int hits = 0;
        ForEachPixel(rig.cameraSize, [&](int x, int y) {
            const cv::Point2d d = rig.camera.Direction({double(x), double(y)});
            const cv::Vec3d ray = cv::normalize(cv::Vec3d(d.x, d.y, 1)), p = PointAt(truth, x, y);
            if (row.misses) EXPECT_EQ(truth.object(y, x) != 0, row.misses(ray) < 0);
            if (truth.object(y, x) == 0) {
                EXPECT_TRUE(std::isnan(p[2]) && truth.lit(y, x) == 0);
                return;
            }
            ++hits;
            EXPECT_NEAR(row.off(p), 0, 1e-10);
            EXPECT_NEAR(cv::norm(p.cross(ray)), 0, 1e-10);
            if (row.misses) EXPECT_LE((p - centre).dot(ray), 0);
        });
        EXPECT_GT(hits, 1000);
        EXPECT_LT(hits, 160 * 120 - 1000);
    }
}

TEST(Simulate, ProjectorCoordinatesAndShadowOfASphere) {
    const Rig rig = SmallRig();
    const Sphere sphere{{-20, 0, 410}, 25};
    const double wall = 470;
    const Simulation simulation({rig, {{sphere}, {Facing({0, 0, wall})}}}, 1);
    const Truth& truth = simulation.GetTruth();
    const cv::Vec3d projector = -(rig.toProjector.rotation.t() * rig.toProjector.translation);
    int shadows = 0;
    ForEachPixel(rig.cameraSize, [&](int x, int y) {
        const cv::Vec3d p = PointAt(truth, x, y), q = rig.toProjector.rotation * p + rig.toProjector.translation;
        const cv::Point2d pixel = rig.projector.Project({q[0] / q[2], q[1] / q[2]});
        const bool inside = pixel.x >= -0.5 && pixel.x < 1919.5 && pixel.y >= -0.5 && pixel.y < 1079.5;
        bool blocked = false;
        if (truth.object(y, x) == 2) {
            const cv::Vec3d along = cv::normalize(p - projector);
            blocked = cv::norm((sphere.centre - projector).cross(along)) < sphere.radius;
            shadows += blocked ? 1 : 0;
        } else {
            blocked = (p - sphere.centre).dot(projector - p) <= 0;  // turned away from the light
        }
        ASSERT_EQ(truth.lit(y, x) != 0, inside && !blocked) << x << ", " << y;
        EXPECT_EQ(truth.light(y, x) > 0, truth.lit(y, x) != 0);
        EXPECT_EQ(std::isnan(truth.column(y, x)), truth.lit(y, x) == 0);
        if (truth.lit(y, x) == 0) return;
        EXPECT_NEAR(truth.column(y, x), pixel.x, 1e-9);
        EXPECT_NEAR(truth.row(y, x), pixel.y, 1e-9);
    });
    EXPECT_GT(shadows, 300);
}

// A perfect plane of one brightness in front of a camera and a projector at one place: all levels are known.
Scene FlatScene(cv::Size size, double white = 200) {
    Rig rig;
    rig.cameraSize = size;
    rig.projectorSize = {1024, 1024};
    rig.camera = {1e7, 1e7, (size.width - 1) / 2.0, (size.height - 1) / 2.0};
    rig.projector = {1e7, 1e7, 511.25, 511.25};
    return {rig, {{Plane{{cv::Matx33d::eye(), {0, 0, 100}}}, {1}}}, {white, 100, 0, 0, 0}};
}

TEST(Simulate, PatternsAreWhatTheySay) {
    const Simulation simulation(FlatScene({400, 3}));
    const auto column = [&](int x) { return simulation.GetTruth().column(1, x); };
    EXPECT_NEAR(column(1) - column(0), 1, 1e-9);
    const Capture deep{16};
    const cv::Mat1w white = simulation.Render(White(), deep), black = simulation.Render(Black(), deep);
    const cv::Mat1w sine = simulation.Render(Sine(31.5, 77, Axis::eColumns, 12, -1), deep);
    const cv::Mat1w rows = simulation.Render(Sine(31.5, 77, Axis::eRows), deep);
    const cv::Mat1w bit = simulation.Render(GrayBit(3, 6, 20, -10), deep);
    const cv::Mat1w inverse = simulation.Render(GrayBit(3, 6, 20, -10, true), deep);
    for (int x = 0; x < 400; ++x) {
        EXPECT_EQ(white(1, x), 51400);
        EXPECT_EQ(black(1, x), 0);
        const double angle = -2 * CV_PI * (column(x) - 12) / 31.5 + 77 * CV_PI / 180;
        EXPECT_NEAR(sine(1, x), 25700 * (1 + std::cos(angle)), 0.51);
        EXPECT_EQ(rows(1, x), rows(1, 0));
        const auto cell = static_cast<int>(std::floor((column(x) + 10.5) / 20));
        EXPECT_EQ(bit(1, x), ((cell ^ (cell >> 1)) & 4) != 0 ? 51400 : 0) << x;
        EXPECT_EQ(inverse(1, x), 51400 - bit(1, x));
    }
    const cv::Mat1d phase = simulation.Phase(31.5, Axis::eColumns, 12, -1);
    EXPECT_NEAR(phase(1, 200), -2 * CV_PI * (column(200) - 12) / 31.5, 1e-12);
}

TEST(Simulate, GammaBitsBlurAndClipping) {
    const Simulation simulation(FlatScene({300, 4}));
    // First harmonic of ((1 + cos φ) / 2)^γ: γ = 2 gives mean 3/8 and amplitude 1/2, and the second harmonic 1/8.
    const Signal signal = Projected(Sine(40, 0), {8, 1, 2.0});
    EXPECT_NEAR(signal.mean, 0.375, 1e-6);
    EXPECT_NEAR(signal.amplitude, 0.5, 1e-6);
    const cv::Mat1b squared = simulation.Render(Sine(40, 0), {8, 1, 2.0});
    const cv::Mat1w twelve = simulation.Render(White(), {12});
    const cv::Mat1b bright = simulation.Render(White(), {8, 2});
    for (int x = 0; x < 300; ++x) {
        const double value = 0.5 + 0.5 * std::cos(2 * CV_PI * simulation.GetTruth().column(1, x) / 40);
        EXPECT_NEAR(squared(1, x), 200 * value * value, 0.501);
        EXPECT_EQ(twelve(1, x), std::lround(200 * 4095 / 255.0));
        EXPECT_EQ(bright(1, x), 255);
    }
    // Blur of σ pixels leaves exp(-2 π² σ² / p²) of a sine, in the projector and (rows alike) in the camera.
    Capture soft;
    soft.projectorBlur = 5;
    const double left = std::exp(-2 * CV_PI * CV_PI * 25 / 1600);
    EXPECT_NEAR(Projected(Sine(40, 0), soft).amplitude, 0.5 * left, 1e-5);
    EXPECT_NEAR(simulation.Modulation(Sine(40, 0), soft)(1, 5), 100 * left, 1e-3);
    Capture defocus{16};
    defocus.cameraBlur = 5;
    const cv::Mat1w seen = simulation.Render(Sine(40, 0), defocus);
    const double angle = 2 * CV_PI * simulation.GetTruth().column(1, 150) / 40;
    EXPECT_NEAR(seen(1, 150), 25700 * (1 + left * std::cos(angle)), 60);
    // A blurred edge is half way up where the sharp one is.
    soft.bits = 16;
    const cv::Mat1w edge = simulation.Render(GrayBit(5, 6, 64, 0.5 + simulation.GetTruth().column(1, 150) - 320), soft);
    EXPECT_NEAR(edge(1, 150), 25700, 300);
    EXPECT_GT(std::abs(edge(1, 160) - edge(1, 140)), 0.9 * 51400);
}

// A period of three camera pixels is too fine to be judged, in any pixel.
TEST(Simulate, CountsWhereFringesAreResolved) {
    const Simulation simulation(FlatScene({24, 18}), 1);
    for (const double period : {8, 3})
        for (const Axis axis : {Axis::eColumns, Axis::eRows}) {
            const auto coding = SineAxis(1024, {period}, 3);
            const Reference reference = ReferenceOf(simulation, axis, coding, {}, RenderAxis(simulation, axis, coding));
            EXPECT_EQ(cv::countNonZero(reference.counted), period > 3 ? 24 * 18 : 0);
        }
}

// Across the picture the brightness, and with it the modulation, rises from 0 to 10 grey levels.
TEST(Simulate, CountsWhereFringesStandOutFromNoise) {
    Scene scene = FlatScene({1000, 3});
    scene.objects[0].material.texture = [](cv::Point2d p) { return p.x * 10 + 0.05; };
    const Simulation simulation(scene, 1);
    const measure::CodedAxis coding = SineAxis(1024, {32}, 3);
    struct {
        Capture capture;
        double least;  // modulation, grey levels; five deviations of the noise, of which rounding makes some
    } rows[] = {{{16}, 255 * measure::FringeLimits().minModulation},
                {{8}, 5 * std::sqrt(1 + 1 / 12.0)},
                {{16}, 8},
                {{16}, 7.5},
                {{16}, 8 / std::sqrt(0.75)}};
    rows[1].capture.noise = 1;
    rows[2].capture.noise = rows[4].capture.noise = 1.6;
    rows[3].capture.shotNoise = 0.3;
    rows[4].capture.speckle = 0.1;
    measure::AxisPictures pictures;
    pictures.sines = {{cv::Mat1w(3, 1000, std::uint16_t{0})}};
    for (const auto& row : rows) {
        const Reference reference = ReferenceOf(simulation, Axis::eColumns, coding, row.capture, pictures);
        EXPECT_NEAR(cv::countNonZero(reference.counted.row(1)), 1000 - 100 * row.least, 0.6) << row.least;
    }
    // A pixel that is full in one frame is not counted, one that is nearly so is.
    pictures.sines[0].push_back(cv::Mat1b(3, 1000, uchar{253}));
    pictures.sines[0][1].at<uchar>(1, 900) = 254;
    const cv::Mat1b counted = ReferenceOf(simulation, Axis::eColumns, coding, rows[1].capture, pictures).counted;
    EXPECT_TRUE(counted(1, 900) == 0 && counted(1, 901) != 0);
}

TEST(Simulate, NoiseHasTheStatedStatistics) {
    const Simulation simulation(FlatScene({512, 512}, 100));
    struct {
        Capture capture;
        double deviation;
    } rows[3] = {{{16}, 4}, {{16}, std::sqrt(100 * 0.09)}, {{16}, 100 * 0.1}};
    rows[0].capture.noise = 4;
    rows[1].capture.shotNoise = 0.09;
    rows[2].capture.speckle = 0.1;
    for (const auto& row : rows) {
        const cv::Mat first = simulation.Render(White(), row.capture, 1),
                      same = simulation.Render(White(), row.capture, 1);
        EXPECT_EQ(cv::norm(first, same, cv::NORM_INF), 0);
        cv::Mat1d a, b;
        first.convertTo(a, CV_64F, 1 / 257.0);
        simulation.Render(White(), row.capture, 2).convertTo(b, CV_64F, 1 / 257.0);
        cv::Scalar mean, deviation;
        cv::meanStdDev(a, mean, deviation);
        EXPECT_NEAR(mean[0], 100, 6 * row.deviation / 512 + 0.02);
        EXPECT_NEAR(deviation[0], row.deviation, 0.02 * row.deviation);
        // Neither pictures nor rows repeat.
        EXPECT_LT(std::abs((a - mean[0]).dot(b - mean[0])), 6 * 512 * row.deviation * row.deviation * 2);
        const cv::Mat1d upper(a.rowRange(0, 508) - mean[0]), lower(a.rowRange(4, 512) - mean[0]);
        EXPECT_LT(std::abs(upper.dot(lower)), 6 * 512 * row.deviation * row.deviation * 3);
    }
}

// A pixel on an edge has the mean of what it covers.
TEST(Simulate, EdgesMix) {
    Scene scene = FlatScene({40, 40}, 200);
    const double pixel = 100.0 / 1e7;  // millimetres
    scene.objects[0].material.texture = [=](cv::Point2d p) { return p.x < 3.3 * pixel ? 1.0 : 0.25; };
    const cv::Mat1w picture = Simulation(scene, 32).Render(White(), {16});
    const double centre = 19.5, bright = 3.3 + centre - 22.5;  // the share of pixel 23 that is bright
    EXPECT_EQ(picture(20, 22), 51400);
    EXPECT_NEAR(picture(20, 23), 51400 * (bright + (1 - bright) * 0.25), 51400 * 0.75 / 64);
    EXPECT_EQ(picture(20, 24), 12850);
    EXPECT_EQ(Simulation(scene, 1).Render(White(), {16}).at<unsigned short>(20, 23), 51400 / 4);
}

TEST(Simulate, StandardScenesShowSomething) {
    for (const StandardScene& standard : StandardScenes()) {
        const Simulation simulation(MakeScene(standard.name, SmallRig()), 2);
        const Truth& truth = simulation.GetTruth();
        EXPECT_GT(cv::countNonZero(truth.lit), 160 * 120 / 12) << standard.name;
        const cv::Mat1b white = simulation.Render(White());
        EXPECT_GT(cv::mean(white, truth.lit)[0], 40) << standard.name;
        EXPECT_LT(cv::mean(white, truth.lit == 0)[0], 60) << standard.name;
    }
}

// Boards go to the middle of the field and around it, each tilted by half of what is given at the least.
TEST(Simulate, BoardsGoAroundTheField) {
    const Board board = Chessboard({9, 6}, 14);
    const std::vector<Pose> poses = BoardPoses(StandardRig({640, 480}), board, 9);
    const cv::Point2d middle = 0.5 * (board.outline.tl() + board.outline.br());
    const cv::Point ways[] = {{0, 0}, {-1, -1}, {1, 1}, {1, -1}, {-1, 1}, {1, 0}, {-1, 0}, {0, 1}, {0, -1}};
    for (std::size_t i = 0; i < 9; ++i) {
        const cv::Vec3d at = poses[i].rotation * cv::Vec3d(middle.x, middle.y, 0) + poses[i].translation;
        const double out = std::max(std::abs(at[0]), std::abs(at[1]) / 0.7);
        EXPECT_NEAR(at[0], out * ways[i].x, 1e-9) << i;
        EXPECT_NEAR(at[1], 0.7 * out * ways[i].y, 1e-9) << i;
        EXPECT_EQ(out > 5, i > 0) << out;
        const double tilt = std::acos(std::min(1.0, poses[i].rotation(2, 2))) * 180 / CV_PI;
        EXPECT_NEAR(tilt, i > 0 ? 22.5 : 0, i > 0 ? 7.6 : 1e-5) << i;
    }
}

// What is written can be read.
TEST(Simulate, WrittenScansDescribeThemselves) {
    const Simulation simulation(MakeScene("two-objects", StandardRig({320, 240})));
    measure::Scan scan;
    scan.columns = SineAxis(1920, {1920.0 / 24}, 4);
    scan.columns->origin = 7.5;
    scan.columns->direction = -1;
    AddGrayCode(*scan.columns, 1, -3);
    scan.rows = SineAxis(1080, {90, 1080}, 3);
    NamePictures(scan, true);
    const auto folder = std::filesystem::path(testing::TempDir()) / "vorip-simulated-scan";
    WriteScan(folder, simulation, scan, {16});

    const measure::Scan read = measure::ReadScan(folder / "scan.json");
    ASSERT_TRUE(read.columns && read.rows && read.columns->gray);
    EXPECT_EQ(read.columns->origin, 7.5);
    EXPECT_EQ(read.columns->direction, -1);
    EXPECT_EQ(read.columns->gray->offset, -3);
    EXPECT_EQ(read.columns->gray->frames.size(), 11U);
    EXPECT_EQ(read.rows->sines[1].period, 1080);
    const cv::Mat white = measure::ReadPicture(read.columns->white.string());
    EXPECT_EQ(cv::norm(white, RenderAxis(simulation, Axis::eColumns, *scan.columns, {16}).white, cv::NORM_INF), 0);
    scan.rows->sines[1].frames[2] = "r\xe9sum\xe9.png";
    test::ExpectRefusal([&] { WriteScan(folder / "more", simulation, scan, {16}); }, "sum\xef\xbf\xbd.png");
    EXPECT_FALSE(std::filesystem::exists(folder / "more"));
    // A projector without pixels has no scan.
    std::ofstream(folder / "scan.json") << R"({"columns": {"length": 0, "sines": []}})";
    test::ExpectRefusal([&] { measure::ReadScan(folder / "scan.json"); }, "0 is given, it must be above 0");
    std::filesystem::remove_all(folder);
}

TEST(Simulate, RefusesWhatCannotBe) {
    const Rig rig = SmallRig();
    Rig folded = rig;
    folded.projector.k1 = -3;
    EXPECT_THROW(Simulation({folded, {}}), measure::InputError);
    EXPECT_THROW(Simulation({rig, {{Sphere{{0, 0, 400}, 0}}}}), measure::InputError);
    EXPECT_THROW(Simulation({rig, {}}, 2, [](const char*, double) { return false; }), measure::Stopped);
    EXPECT_THROW(BoardPoses(rig, Chessboard({30, 20}, 40), 1), measure::InputError);
    const Simulation nothing({rig, {}});
    EXPECT_EQ(cv::countNonZero(nothing.GetTruth().lit), 0);
    EXPECT_EQ(nothing.Render(White()).at<unsigned char>(0, 0), 2);
}

}  // namespace
