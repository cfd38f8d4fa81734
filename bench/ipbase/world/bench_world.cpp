// Points in space: what a pixel costs, beside a memory copy of the same traffic and OpenCV's reprojection of a
// disparity (one thread each), what files of points cost, and the way from pictures to points.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <opencv2/calib3d.hpp>
#include <vector>

#include "ipbase/ipLWorld.h"
#include "measure/cloud.h"
#include "measure/image.h"
#include "measure/simulatescan.h"
#include "tests/support/truecalibration.h"

namespace measure::bench {
namespace {

using simulate::Axis;

constexpr int kRounds = 15;
const cv::Size kSize(1936, 1216);

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double Seconds(const std::function<void()>& work) {  // of processor time
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Everything in turns, so that what else the machine does meets all.
struct Work {
    const char* name;
    double bytes;  // that a pixel reads and writes
    std::function<void()> run;
};

void Compare(const std::vector<Work>& works, const Work& theirs) {
    const auto pixels = static_cast<double>(kSize.area());
    std::printf("| operation | ns per pixel | to memory copy | to %s |\n|---|---:|---:|---:|\n", theirs.name);
    std::vector<char> from(64 << 20, 1), to(64 << 20);
    for (const Work& work : works) {
        std::vector<double> times, copies, others;
        work.run();
        for (int i = 0; i < kRounds; ++i) {
            times.push_back(Seconds(work.run) / pixels * 1e9);
            others.push_back(times.back() / (Seconds(theirs.run) / pixels * 1e9));
            const auto bytes = static_cast<std::size_t>(work.bytes / 2 * pixels);
            copies.push_back(times.back() /
                             (Seconds([&] { std::memcpy(to.data(), from.data(), bytes); }) / pixels * 1e9));
            from[static_cast<std::size_t>(i)] = to[static_cast<std::size_t>(i) + 1];  // so that no copy can be left out
        }
        std::printf("| %s | %.2f | %.1f | %.2f |\n", work.name, Median(times), Median(copies), Median(others));
    }
}

KrN::SrLens ToLens(const Lens& l) { return {l.fx, l.fy, l.cx, l.cy, l.k1, l.k2, l.p1, l.p2, l.k3, false}; }

void MeasurePoints(const simulate::Rig& rig, const cv::Mat1f& columns, const cv::Mat1d& truth) {
    KrN::KrLPixelToWorld::Rotation rotation;
    for (std::size_t i = 0; i < 9; ++i) rotation[i] = rig.toProjector.rotation.val[i];
    const cv::Vec3d t = rig.toProjector.translation;
    const KrN::KrTSize<short> size(static_cast<short>(kSize.width), static_cast<short>(kSize.height));
    KrN::KrLPixelToWorld stereo;
    stereo.SetCamera(ToLens(rig.camera));
    stereo.SetProjector(ToLens(rig.projector), rotation, {t[0], t[1], t[2]});
    stereo.Prepare(size);
    KrN::KrLPixelToWorld plain = stereo, telecentric = stereo, rational = stereo, cubic = stereo;
    plain.SetProjector({2200, 2197, 963, 546}, rotation, {t[0], t[1], t[2]});
    telecentric.SetCamera({5.9, 5.9, 968, 608, 0, 0, 0, 0, 0, true});
    telecentric.Prepare(size);
    const cv::Mat1d coefficient(kSize, 1e-3);
    const auto k = ViewOf(coefficient);
    rational.SetRational(k, k, k);
    cubic.SetCubic(k, k, k, k);

    cv::Mat1f x(kSize), y(kSize), z(kSize), noise(kSize, 0.01f);
    cv::Mat3f points(kSize);
    const auto phase = ViewOf(columns), deviation = ViewOf(std::as_const(noise));
    const auto precise = ViewOf(truth);
    auto toX = ViewOf(x), toY = ViewOf(y), toZ = ViewOf(z);
    const auto execute = [&](KrN::KrLPixelToWorld& world) {
        return [&] { world.Execute(&phase, nullptr, &toX, &toY, &toZ); };
    };
    const cv::Mat1d q = (cv::Mat1d(4, 4) << 1, 0, 0, -968, 0, 1, 0, -608, 0, 0, 0, 2600, 0, 0, 1 / 170.0, 0);
    Compare({{"Execute, two lenses with distortion", 16, execute(stereo)},
             {"Execute, double phase", 20, [&] { stereo.Execute(&precise, nullptr, &toX, &toY, &toZ); }},
             {"Execute, projector without distortion", 16, execute(plain)},
             {"Execute, telecentric camera", 16, execute(telecentric)},
             {"Execute, rational", 16, execute(rational)},
             {"Execute, cubic", 16, execute(cubic)},
             {"PredictRow", 8, [&] { stereo.PredictRow(&phase, nullptr, &toX); }},
             {"PredictNoise", 12, [&] { stereo.PredictNoise(&phase, &deviation, nullptr, &toX); }},
             {"Prepare, 20 iterations", 16, [&] { KrN::KrLPixelToWorld(plain).Prepare(size); }}},
            {"reprojectImageTo3D", 16, [&] { cv::reprojectImageTo3D(columns, points, q, false); }});
}

void Time(const char* name, double bytes, const std::function<void()>& run) {
    std::vector<double> times;
    for (int i = 0; i < 5; ++i) {
        const std::int64_t start = cv::getTickCount();
        run();
        times.push_back(static_cast<double>(cv::getTickCount() - start) / cv::getTickFrequency() * 1e3);
    }
    if (bytes > 0)
        std::printf("| %s | %.0f | %.0f MB |\n", name, Median(times), bytes / 1e6);
    else
        std::printf("| %s | %.0f | |\n", name, Median(times));
}

void Run() {
    const simulate::Rig rig = simulate::StandardRig(kSize);
    const simulate::Simulation scene(simulate::MakeScene("two-objects", rig), 1);
    const simulate::Truth& truth = scene.GetTruth();
    cv::Mat1f columns, rows;
    truth.column.convertTo(columns, CV_32F);
    truth.row.convertTo(rows, CV_32F);
    std::printf("%d x %d pixels, one thread\n\n", kSize.width, kSize.height);
    cv::setNumThreads(1);
    MeasurePoints(rig, columns, truth.column);

    cv::setNumThreads(-1);
    const Calibration calibration = test::CalibrationOf(rig);
    const Cloud cloud = MakeCloud({columns, rows}, calibration).cloud;
    PlyOptions ply;
    ply.grey = cv::Mat1b(kSize, 99);
    const CodedAxis coding = simulate::SineAxis(1920, {30, 120, 1920}, 4);
    simulate::Capture capture;
    capture.noise = 1;
    const AxisPictures pictures = RenderAxis(scene, Axis::eColumns, coding, capture);
    std::printf("\nAll processors, wall clock\n\n| operation | ms | |\n|---|---:|---:|\n");
    Time("cloud of the columns", 0, [&] { MakeCloud({columns, {}}, calibration); });
    Time("cloud and residuals of both directions", 0, [&] { MakeCloud({columns, rows}, calibration); });
    Time("from 12 pictures to points", 0, [&] {
        MakeCloud({DecodeAxis(coding, pictures).coordinate, {}}, calibration);
    });
    const auto plyBytes = static_cast<double>(EncodePly(cloud, ply).size());
    const auto xyzBytes = static_cast<double>(EncodeXyz(cloud).size());
    Time("PLY with grey values and triangles", plyBytes, [&] { EncodePly(cloud, ply); });
    Time("XYZ", xyzBytes, [&] { EncodeXyz(cloud); });
    Time("PLY into a file", plyBytes, [&] { WriteCloud("/tmp/bench_world.ply", cloud, ply); });
    std::remove("/tmp/bench_world.ply");
}

}  // namespace
}  // namespace measure::bench

int main() {
    measure::bench::Run();
    return 0;
}
