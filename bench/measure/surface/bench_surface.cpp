// What is measured on a height map of 2.35 megapixels with noise and holes, beside a copy of the map.
#include <benchmark/benchmark.h>

#include <cmath>
#include <limits>

#include "measure/compare.h"
#include "measure/roughness.h"
#include "measure/surface.h"
#include "measure/systemcheck.h"
#include "measure/writesurface.h"

namespace measure::bench {
namespace {

constexpr int kWidth = 1936, kHeight = 1216;
constexpr double kPitch = 0.1;

const HeightMap& Map() {
    static const HeightMap map = [] {
        HeightMap made;
        made.pitch = kPitch;
        made.z.create(kHeight, kWidth);
        cv::RNG random(1);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const double z = 3 * std::sin(0.01 * x) * std::cos(0.013 * y) + 0.001 * x + random.gaussian(0.005);
                const bool hole = random.uniform(0, 50) == 0;
                made.z(y, x) = hole ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(z);
            }
        }
        return made;
    }();
    return map;
}

// As a camera sees it: neither on a grid nor parallel to one.
const Cloud& Points() {
    static const Cloud cloud = [] {
        Cloud points = PointsOf(Map());
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const float u = points.x(y, x), v = points.y(y, x);
                points.x(y, x) = 0.999f * u + 0.03f * v;
                points.y(y, x) = 0.999f * v - 0.03f * u;
            }
        }
        return points;
    }();
    return cloud;
}

template <class Run>
void Measure(benchmark::State& state, const Run& run) {
    Map();
    Points();
    for (auto _ : state) benchmark::DoNotOptimize(run());
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

cv::Mat1b Side(bool left) {
    return MaskOf(Map().z.size(), cv::Rect2d(left ? 0 : kWidth / 2.0, 0, kWidth / 2.0, kHeight));
}

FormOptions Robust(Form form) {
    FormOptions options;
    options.form = form;
    options.robust = true;
    return options;
}

RoughnessOptions Filtered(double cutoff) {
    RoughnessOptions options;
    options.cutoff = cutoff;
    return options;
}

CompareOptions Aligned(Alignment alignment) {
    CompareOptions options;
    options.alignment = alignment;
    return options;
}

// A small motion that a rigid fit has to find.
HeightMap Moved() {
    HeightMap map = Map();
    map.origin += cv::Point2d(0.23, -0.17);
    return map;
}

void BM_Copy(benchmark::State& state) {
    Measure(state, [] { return Map().z.clone(); });
}
void BM_Grid(benchmark::State& state) {
    Measure(state, [] { return ResampleToGrid(Points(), {kPitch, 0}); });
}
void BM_Plane(benchmark::State& state) {
    Measure(state, [] { return RemoveForm(Map(), FitForm(Map())); });
}
void BM_RobustCubic(benchmark::State& state) {
    Measure(state, [] { return FitForm(Map(), Robust(Form::eCubic)); });
}
void BM_Step(benchmark::State& state) {
    Measure(state, [] { return MeasureStep(Map(), Side(true), Side(false)); });
}
void BM_Profile(benchmark::State& state) {
    Measure(state, [] { return TakeProfile(Map(), {{{0, 0}, {kWidth - 1, kHeight - 1}}, 21, 1}); });
}
void BM_Roughness(benchmark::State& state) {
    Measure(state, [] { return AnalyseRoughness(Map()); });
}
void BM_Roughness_Filtered(benchmark::State& state) {
    Measure(state, [&] { return AnalyseRoughness(Map(), Filtered(static_cast<double>(state.range(0)) * kPitch)); });
}
void BM_Compare_Plane(benchmark::State& state) {
    Measure(state, [] { return CompareHeights(Map(), Map(), Aligned(Alignment::ePlane)); });
}
void BM_Compare_Rigid(benchmark::State& state) {
    Measure(state, [moved = Moved()] { return CompareHeights(moved, Map(), Aligned(Alignment::eRigid)); });
}
void BM_CheckPlane(benchmark::State& state) {
    Measure(state, [] { return CheckPlane(Points(), {}); });
}
void BM_Write(benchmark::State& state, const char* name) {
    Measure(state, [&] { return EncodeHeightMap(name, Map()); });
}

BENCHMARK(BM_Copy)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Grid)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Plane)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RobustCubic)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Step)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Profile)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Roughness)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Roughness_Filtered)->Arg(8)->Arg(25)->Arg(80)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Compare_Plane)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Compare_Rigid)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckPlane)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Write, gsf, "a.gsf")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Write, stl, "a.stl")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Write, xyz, "a.xyz")->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace measure::bench

BENCHMARK_MAIN();
