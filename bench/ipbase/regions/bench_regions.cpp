// Segmentation of whole images beside connectedComponentsWithStats, and building of a region beside the bare flood
// fill.
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

namespace KrN::bench {
namespace {

constexpr int kThreshold = 100;
constexpr short kSide = 2048;

cv::Mat Dark(int side) { return {side, side, CV_8U, cv::Scalar(0)}; }

// Sixty-two thousand separate dots.
cv::Mat Dots() {
    cv::Mat image = Dark(500);
    for (int y = 1; y < 499; y += 2)
        for (int x = 1; x < 499; x += 2) image.at<std::uint8_t>(y, x) = 200;
    return image;
}

// One region with 120,000 border points: arms of one pixel with gaps of two.
cv::Mat Spiral() {
    constexpr int kPitch = 3, kLast = 601;
    cv::Mat image = Dark(kLast + 2);
    for (int i = 1; i < kLast / 2; i += kPitch) {
        const int far = kLast - i;
        const cv::Point corners[] = {{std::max(i - kPitch, 1), i}, {far, i}, {far, far}, {i, far}, {i, i + kPitch}};
        for (int k = 0; k < 4; ++k) cv::line(image, corners[k], corners[k + 1], 200);
    }
    return image;
}

// Diagonal bars whose boxes cover one another.
cv::Mat Bars() {
    cv::Mat image = Dark(kSide);
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x)
            if ((x + y) % 16 < 8) image.at<std::uint8_t>(y, x) = 200;
    return image;
}

cv::Mat Blobs() {
    cv::Mat image, field(kSide, kSide, CV_32F);
    cv::randu(field, 0, 256);
    cv::GaussianBlur(field, field, {0, 0}, 8);
    cv::normalize(field, image, 0, 200, cv::NORM_MINMAX, CV_8U);
    return image;
}

cv::Mat Noise() {
    cv::Mat image = Dark(kSide);
    cv::randu(image, 0, 256);
    return image;
}

KrAOI8 ViewOf(cv::Mat& image) {
    return {{static_cast<short>(image.cols), static_cast<short>(image.rows)},
            image.data,
            static_cast<std::uint32_t>(image.step[0])};
}

// The fastest of many short runs in turns.
void Measure(benchmark::State& state, const Work& ours, const Work& theirs, const char* name) {
    double least = HUGE_VAL, theirLeast = HUGE_VAL;
    for (auto _ : state) {
        const double time = Seconds(ours, 1);
        least = std::min(least, time);
        theirLeast = std::min(theirLeast, Seconds(theirs, 1));
        state.SetIterationTime(time);
    }
    state.counters[name] = least / theirLeast;
}

void Segmentation(benchmark::State& state, cv::Mat (*make)()) {
    cv::Mat image = make(), components, stats, centroids;
    KrAOI8 view = ViewOf(image);
    KrBufferAOI32 numbers(view.AOISize());
    KrSegmentScan scan;
    scan.GetSegment().SetThreshold(kThreshold);
    std::size_t regions = 0, points = 0;
    const Work ours = [&] {
        regions = points = 0;
        scan.Execute(&view, &numbers, [&](int, const KrAttribute& attribute) {
            ++regions;
            points += attribute.borderPoints.Size();
        });
    };
    const Work theirs = [&] {
        const cv::Mat bright = image > kThreshold;
        cv::connectedComponentsWithStats(bright, components, stats, centroids, 4);
    };
    Measure(state, ours, theirs, "connectedComponents");
    state.counters["regions"] = static_cast<double>(regions);
    state.counters["border_points"] = static_cast<double>(points);
}

void Building(benchmark::State& state) {
    cv::Mat mask = Blobs() > kThreshold, image = mask.clone(), region = mask.clone(), framed;
    KrAOI8 maskView = ViewOf(mask), view = ViewOf(image), dst = ViewOf(region);
    short seed = 0;
    while (mask.at<std::uint8_t>(seed, seed) != 0) ++seed;
    KrBuildRegion build;
    build.SetMask(&maskView);
    const Work theirs = [&] {
        cv::copyMakeBorder(mask, framed, 1, 1, 1, 1, cv::BORDER_CONSTANT, 0);
        cv::floodFill(image, framed, {seed, seed}, 255, nullptr, 255, 255, 4 | 32 << 8 | cv::FLOODFILL_MASK_ONLY);
    };
    Measure(
        state,
        [&] {
            build.Execute(&view, {seed, seed}, &dst);
        },
        theirs, "floodFill");
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) {
    using namespace KrN::bench;
    cv::setNumThreads(1);
    const std::pair<const char*, cv::Mat (*)()> images[] = {
        {"dots", Dots}, {"spiral", Spiral}, {"bars", Bars}, {"blobs", Blobs}, {"noise", Noise}};
    const auto configure = [](benchmark::internal::Benchmark* b) {
        b->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);
    };
    for (const auto& [name, make] : images)
        configure(benchmark::RegisterBenchmark((std::string("Segmentation/") + name).c_str(), Segmentation, make));
    configure(benchmark::RegisterBenchmark("BuildRegion/blobs", Building));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
