// Counting grey values: noise, a constant image, a ramp in which neighbours are equal, with masks and fewer bins.
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

namespace KrN::bench {
namespace {

void Count(const cv::Mat& image, const cv::Mat& mask, int steps, std::vector<double>& counts) {
    const int channel = 0;
    const float range[] = {0.0f, image.depth() == CV_8U ? 256.0f : 65536.0f};
    const float* ranges = range;
    cv::Mat histogram;
    cv::calcHist(&image, 1, &channel, mask, histogram, 1, &steps, &ranges);
    counts.assign(histogram.begin<float>(), histogram.end<float>());
}

enum Content { eNoise, eConstant, eRamp };

void FillWith(Content content, cv::Mat& image) {
    if (content == eConstant) image.setTo(image.depth() == CV_8U ? 100 : 25000);
    if (content != eRamp) return;
    for (int y = 0; y < image.rows; ++y)
        for (int x = 0; x < image.cols; ++x)
            if (image.depth() == CV_8U)
                image.at<std::uint8_t>(y, x) = static_cast<std::uint8_t>(x / 16);
            else
                image.at<std::uint16_t>(y, x) = static_cast<std::uint16_t>(x / 16);
}

void Run(benchmark::State& state, const char* type, Content content, bool masked, std::uint32_t steps) {
    constexpr int kSide = 2048;
    Image image = MakeImage(type, kSide), mask = MakeImage("8", kSide);
    FillWith(content, image.mat);
    const cv::Mat admitted = mask.mat < 64;
    const auto* mask8 = static_cast<const KrAOI8*>(mask.aoi.get());
    KrLHistogram histogram;
    std::vector<double> counts;
    const Work ours = [&] {
        masked ? histogram.Create(image.aoi.get(), mask8, steps) : histogram.Create(image.aoi.get(), steps);
    };
    const Work theirs = [&] { Count(image.mat, masked ? admitted : cv::Mat(), static_cast<int>(steps), counts); };
    ours();
    theirs();
    for (std::uint32_t i = 0; i < steps; ++i)
        if (counts[i] != histogram[i]) return state.SkipWithError("the counterpart gives other counts");
    // The fastest of many short runs in turns: what else happens on the machine only ever adds to a time.
    double least = HUGE_VAL, theirLeast = HUGE_VAL;
    for (auto _ : state) {
        const double time = Seconds(ours, 2);
        least = std::min(least, time);
        theirLeast = std::min(theirLeast, Seconds(theirs, 2));
        state.SetIterationTime(time);
    }
    state.counters["ns_per_pixel"] = least * 1e9 / (kSide * kSide);
    state.counters["calcHist"] = least / theirLeast;
}

void Register() {
    const char* const names[] = {"noise", "constant", "ramp"};
    for (const char* type : {"8", "16"})
        for (const std::uint32_t steps : {256u, 65536u, 100u})
            for (const Content content : {eNoise, eConstant, eRamp})
                for (const bool masked : {false, true}) {
                    if (steps == 65536 && std::string(type) == "8") continue;
                    const std::string name = std::string("Histogram/") + type + "/" + std::to_string(steps) + "/" +
                                             names[content] + (masked ? "/masked" : "");
                    benchmark::RegisterBenchmark(
                        name.c_str(), [=](benchmark::State& state) { Run(state, type, content, masked, steps); })
                        ->UseManualTime()
                        ->Unit(benchmark::kMicrosecond)
                        ->Iterations(40);
                }
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    KrN::bench::Register();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
