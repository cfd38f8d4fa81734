// Clouds of simulated scans, whose truth is known in every pixel, and their files.
#include "measure/cloud.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "measure/error.h"
#include "measure/simulatescan.h"
#include "tests/support/refusal.h"
#include "tests/support/truecalibration.h"

namespace {

using namespace measure;
using simulate::Axis;
using simulate::Capture;

constexpr double kPeriod = 20;

using test::CalibrationOf;

// A scene with its truth.
struct Simulated {
    simulate::Simulation simulation;
    Calibration calibration = CalibrationOf(simulation.GetScene().rig);

    explicit Simulated(const std::string& scene)
        : simulation(simulate::MakeScene(scene, simulate::StandardRig({320, 240})), 2) {}
    const simulate::Truth& Truth() const { return simulation.GetTruth(); }

    ProjectorCoordinates True() const {
        ProjectorCoordinates seen;
        Truth().column.convertTo(seen.columns, CV_32F);
        Truth().row.convertTo(seen.rows, CV_32F);
        return seen;
    }
    // Decodes what was projected along an axis.
    AbsolutePhase Decode(Axis axis, const Capture& capture) const {
        const double length = axis == Axis::eColumns ? 1920 : 1080;
        const CodedAxis coding = simulate::SineAxis(length, {kPeriod, 7 * kPeriod, length}, 4);
        return DecodeAxis(coding, simulate::RenderAxis(simulation, axis, coding, capture));
    }
    // Calls `use(x, y, z error of the cloud)` for the points that see one surface.
    void ForErrors(const Cloud& cloud, const std::function<void(int, int, double)>& use) const {
        for (int y = 0; y < cloud.z.rows; ++y)
            for (int x = 0; x < cloud.z.cols; ++x)
                if (std::isfinite(cloud.z(y, x)) && Truth().lit(y, x) != 0 && Truth().mixed(y, x) == 0)
                    use(x, y, static_cast<double>(cloud.z(y, x)) - Truth().z(y, x));
    }
};

const Simulated& SceneOf(const std::string& name) {
    static const Simulated plane("plane"), sphere("sphere"), objects("two-objects");
    return name == "plane" ? plane : name == "sphere" ? sphere : objects;
}

// From 16-bit pictures without noise to points by way of both decoders.
TEST(Cloud, IsExactWithoutNoise) {
    Capture capture;
    capture.bits = 16;
    for (const char* name : {"plane", "sphere", "two-objects"}) {
        SCOPED_TRACE(name);
        const Simulated& scene = SceneOf(name);
        const ProjectorCoordinates seen = {scene.Decode(Axis::eColumns, capture).coordinate,
                                           scene.Decode(Axis::eRows, capture).coordinate};
        const CloudResult result = MakeCloud(seen, scene.calibration);
        EXPECT_TRUE(result.warnings.empty());
        EXPECT_FALSE(result.isFromRows);
        double squares = 0, greatest = 0, sideways = 0, residual = 0;
        int count = 0;
        scene.ForErrors(result.cloud, [&](int x, int y, double error) {
            squares += error * error;
            greatest = std::max(greatest, std::abs(error));
            const double dx = static_cast<double>(result.cloud.x(y, x)) - scene.Truth().x(y, x);
            const double dy = static_cast<double>(result.cloud.y(y, x)) - scene.Truth().y(y, x);
            sideways = std::max(sideways, std::hypot(dx, dy));
            if (std::isfinite(result.cloud.rowResidual(y, x)))
                residual = std::max(residual, static_cast<double>(std::abs(result.cloud.rowResidual(y, x))));
            ++count;
        });
        EXPECT_GT(count, 5000);
        EXPECT_LT(std::sqrt(squares / count), 1e-4);
        EXPECT_LT(greatest, 4e-4);
        EXPECT_LT(sideways, 4e-4);
        EXPECT_LT(residual, 2e-3);
    }
}

// σ_z by propagation of the phase noise, against errors of noisy pictures.
TEST(Cloud, NoiseIsThatPredicted) {
    Capture capture;
    capture.noise = 1;
    const Simulated& scene = SceneOf("plane");
    const AbsolutePhase phase = scene.Decode(Axis::eColumns, capture);
    const ProjectorCoordinates seen = {phase.coordinate, {}};
    const Cloud cloud = MakeCloud(seen, scene.calibration).cloud;
    // Quantisation adds 1/12 to the variance of a grey level.
    const double grey = std::sqrt(1 + 1 / 12.0);
    cv::Mat1f noise;
    cv::divide(std::sqrt(2.0 / 4) * grey * kPeriod / (2 * CV_PI), phase.modulation, noise);
    const cv::Mat1f predicted = PredictDepthNoise(seen, noise, scene.calibration);
    double ratio = 0;
    int count = 0;
    scene.ForErrors(cloud, [&](int x, int y, double error) {
        ratio += error * error / std::pow(static_cast<double>(predicted(y, x)), 2);
        ++count;
    });
    ratio = std::sqrt(ratio / count);
    EXPECT_GT(ratio, 1 / 1.3);
    EXPECT_LT(ratio, 1.3);
}

void Flip(ProjectorCoordinates& seen, int code) {
    for (cv::Mat1f* image : {&seen.columns, &seen.rows}) {
        cv::Mat1f flipped;
        cv::flip(*image, flipped, code);
        *image = flipped;
    }
}

// What is likely to be meant when something does not fit.
TEST(Cloud, NamesTheLikelyConvention) {
    struct Row {
        const char* words;
        std::function<void(ProjectorCoordinates&, Calibration&)> change;
        bool both = true, one = true;  // whether it shows with both directions, and with columns alone
    };
    const auto invert = [](Calibration& c) {
        c.rotation = c.rotation.t();
        c.translation = -(c.rotation * c.translation);
    };
    const Row rows[] = {
        {"\"direction\"", [](auto& seen, auto&) { seen.columns = 1919 - seen.columns; }},
        {"\"direction\"", [](auto& seen, auto&) { seen.columns = -seen.columns; }},
        {"second direction runs the other way", [](auto& seen, auto&) { seen.rows = 1079 - seen.rows; }, true, false},
        {"mirrored left to right", [](auto& seen, auto&) { Flip(seen, 1); }, true, false},
        {"turned by 180 degrees", [](auto& seen, auto&) { Flip(seen, -1); }, true, false},
        {"cut or reduced", [](auto&, Calibration& c) { c.cameraSize = {}, c.camera.cx *= 2; }},
        {"farther than", [](auto& seen, auto&) { seen.columns.rowRange(0, 6).colRange(0, 160) = 1900; }, false},
        {"\"origin\"", [](auto& seen, auto&) { seen.columns -= 960, seen.rows -= 540; }, true, false},
        {"columns and rows are exchanged", [](auto& seen, auto&) { std::swap(seen.columns, seen.rows); }, true, false},
        {"X_projector = R X_camera + T", [&](auto&, Calibration& c) { invert(c); }, true, false},
        {"wrong sign", [](auto&, Calibration& c) { c.translation = -c.translation; }},
        {"camera and projector are exchanged",
         [&](auto&, Calibration& c) {
             invert(c);
             std::swap(c.camera, c.projector);
             std::swap(c.cameraSize, c.projectorSize);
             c.cameraSize = {};
         },
         true, false},
        {"do not stand as they were calibrated", [](auto& seen, auto&) { seen.rows += 0.7; }, true, false},
        {"another set-up", [](auto& seen, auto&) { seen.columns *= 1.5, seen.rows *= 1.5; }},
    };
    for (const char* name : {"plane", "two-objects"})
        for (const Row& row : rows)
            for (const bool both : {true, false}) {
                if (!(both ? row.both : row.one)) continue;
                SCOPED_TRACE(std::string(name) + ": " + row.words + (both ? ", both directions" : ", columns"));
                ProjectorCoordinates seen = SceneOf(name).True();
                Calibration calibration = SceneOf(name).calibration;
                row.change(seen, calibration);
                if (!both) seen.rows.release();
                std::string text;
                try {
                    for (const std::string& warning : MakeCloud(seen, calibration).warnings) text += warning;
                } catch (const InputError& error) {
                    text = error.what();
                }
                const std::size_t found = text.find(row.words);
                EXPECT_NE(found, std::string::npos) << "[" << text << "]";
                EXPECT_EQ(text.find(row.words, found + 1), std::string::npos) << "said twice [" << text << "]";
            }
}

TEST(Cloud, RefusesWhatDoesNotFit) {
    const Simulated& scene = SceneOf("plane");
    const ProjectorCoordinates good = scene.True();
    const struct {
        const char* words;
        std::function<void(ProjectorCoordinates&, Calibration&)> change;
    } rows[] = {
        {"neither columns nor rows", [](auto& seen, auto&) { seen = {}; }},
        {"same size", [](auto& seen, auto&) { seen.rows = seen.rows.rowRange(0, 20).clone(); }},
        {"calibrated camera has",
         [](auto&, Calibration& c) {
             c.cameraSize = {1936, 1216};
         }},
        {"1 x 40000 pixels, a side may have 32767",
         [](auto& seen, Calibration& c) {
             seen = {cv::Mat1f(40000, 1, 900.0f), {}};
             c.cameraSize = {};
         }},
        {"rotation", [](auto&, Calibration& c) { c.rotation = cv::Matx33d::zeros(); }},
        {"decode the other direction", [](auto& seen, auto&) { seen.columns.release(); }},
    };
    for (const auto& row : rows) {
        ProjectorCoordinates seen = good;
        Calibration calibration = scene.calibration;
        row.change(seen, calibration);
        test::ExpectRefusal([&] { MakeCloud(seen, calibration); }, row.words);
    }
    ProjectorCoordinates none = good;
    none.columns = std::nan("");
    EXPECT_THROW(MakeCloud(none, scene.calibration), NothingUsable);
    EXPECT_THROW(MakeCloud(good, scene.calibration, {}, [](const char*, double) { return false; }), Stopped);
    EXPECT_FLOAT_EQ(CoordinatesOf(cv::Mat1f(1, 1, 3.14159265f), 18, 5, -1)(0), 5 - 9);
}

TEST(Cloud, DropsWhatCannotBe) {
    const Simulated& scene = SceneOf("two-objects");
    ProjectorCoordinates seen = scene.True();
    cv::Mat1f columns = seen.columns(cv::Rect(100, 100, 20, 20)), rows = seen.rows(cv::Rect(200, 100, 10, 10));
    columns += 5000;  // beyond the projector
    rows += 40;
    const int wrong = cv::countNonZero(columns == columns), doubtful = cv::countNonZero(rows == rows);
    ASSERT_GT(std::min(wrong, doubtful), 0);
    CloudOptions options;
    options.maxResidual = 2;
    const CloudResult all = MakeCloud(seen, scene.calibration), some = MakeCloud(seen, scene.calibration, options);
    EXPECT_EQ(all.outside, wrong);
    EXPECT_EQ(all.points, all.seen - wrong);
    EXPECT_EQ(some.points, all.points - doubtful);
    EXPECT_EQ(some.dropped, doubtful);
    EXPECT_TRUE(std::isnan(some.cloud.z(105, 205)));
}

// The baseline runs along the rows of a rig that lies on its side.
TEST(Cloud, FindsDepthsFromRows) {
    simulate::Rig rig = simulate::StandardRig({160, 120});
    const cv::Matx33d turn(0, 1, 0, -1, 0, 0, 0, 0, 1);
    rig.toProjector.rotation = turn * rig.toProjector.rotation;
    rig.toProjector.translation = turn * rig.toProjector.translation;
    rig.projectorSize = {1080, 1920};
    std::swap(rig.projector.cx, rig.projector.cy);
    rig.projector.cy = 963;
    const simulate::Simulation simulation(simulate::MakeScene("plane", rig), 1);
    ProjectorCoordinates seen;
    simulation.GetTruth().column.convertTo(seen.columns, CV_32F);
    simulation.GetTruth().row.convertTo(seen.rows, CV_32F);
    const CloudResult result = MakeCloud(seen, CalibrationOf(rig));
    EXPECT_TRUE(result.isFromRows);
    ASSERT_GT(result.points, 1000);
    cv::Mat1f z;
    simulation.GetTruth().z.convertTo(z, CV_32F);
    EXPECT_LT(cv::norm(z, result.cloud.z, cv::NORM_INF, result.cloud.z == result.cloud.z), 4e-4);
}

// --- Files

// 4 x 3 points a millimetre apart; one is missing, the last column lies deeper.
Cloud SmallCloud() {
    Cloud cloud{cv::Mat1f(3, 4), cv::Mat1f(3, 4), cv::Mat1f(3, 4), {}};
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) {
            cloud.x(y, x) = static_cast<float>(x) - 0.5f;
            cloud.y(y, x) = static_cast<float>(y);
            cloud.z(y, x) = x == 3 ? 500 : 400;
        }
    cloud.x(0, 0) = cloud.y(0, 0) = cloud.z(0, 0) = std::nanf("");
    return cloud;
}

TEST(Cloud, PlyHoldsPointsAndTriangles) {
    const struct {
        bool grey, faces;
        double maxStep;
        int triangles;
    } rows[] = {{false, true, 0, 7}, {true, true, 200, 11}, {true, true, 99, 7}, {true, false, 0, 0}};
    for (const auto& row : rows) {
        PlyOptions options;
        if (row.grey) options.grey = cv::Mat1b(3, 4, 77);
        options.faces = row.faces;
        options.maxDepthStep = row.maxStep;
        const auto bytes = EncodePly(SmallCloud(), options);
        const std::string text(bytes.begin(), bytes.end());
        const std::string counts = "element vertex 11\n";
        EXPECT_NE(text.find(counts), std::string::npos);
        EXPECT_EQ(text.find("element face " + std::to_string(row.triangles) + "\n") != std::string::npos, row.faces);
        const std::size_t body = text.find("end_header\n") + 11, vertex = row.grey ? 15 : 12;
        ASSERT_EQ(bytes.size(), body + 11 * vertex + 13 * static_cast<std::size_t>(row.triangles));
        float first[3];
        std::memcpy(first, &bytes[body], sizeof first);
        EXPECT_EQ(first[0], 0.5f);
        EXPECT_EQ(first[2], 400);
        EXPECT_TRUE(!row.grey || bytes[body + 12] == 77);
        // Fronts look at the camera: their normals point towards it.
        const auto point = [&](int number) {
            cv::Vec3f p;
            std::memcpy(p.val, &bytes[body + vertex * static_cast<std::size_t>(number)], sizeof p.val);
            return p;
        };
        for (int i = 0; i < row.triangles; ++i) {
            int corners[3];
            std::memcpy(corners, &bytes[body + 11 * vertex + 13 * static_cast<std::size_t>(i) + 1], sizeof corners);
            const cv::Vec3f a = point(corners[0]), b = point(corners[1]), c = point(corners[2]);
            EXPECT_LT((b - a).cross(c - a)[2], 0);
        }
    }
    EXPECT_THROW(WriteCloud("cloud.obj", SmallCloud()), InputError);
    for (const char* name : {"/nowhere/cloud.ply", "/nowhere/CLOUD.PLY"})
        EXPECT_THROW(WriteCloud(name, SmallCloud()), OutputError);
}

TEST(Cloud, XyzIsText) {
    Cloud cloud{cv::Mat1f(1, 3), cv::Mat1f(1, 3), cv::Mat1f(1, 3), {}};
    const float values[3][3] = {{-0.00004f, 12.34567f, 400}, {-1.5f, 0, 1e12f}, {0, 0, std::nanf("")}};
    for (int i = 0; i < 3; ++i) {
        cloud.x(i) = values[i][0];
        cloud.y(i) = values[i][1];
        cloud.z(i) = values[i][2];
    }
    const auto bytes = EncodeXyz(cloud);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "0.0000 12.3457 400.0000\n-1.5000 0.0000 1e+12\n");
}

}  // namespace
