// Reliability unwrapper: time per pixel as a ratio to a flood fill of the same size, the growth of both beyond a
// megapixel, and peak memory per pixel. Processor time counts: both run on one thread.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <map>
#include <new>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "ipbase/ipLUnwrap_Velmor.h"

namespace {
std::atomic<std::size_t> gAllocated{0};
std::atomic<std::size_t> gPeak{0};
constexpr std::size_t kHeader = 16;
}  // namespace

// Every allocation carries its size in front, so that the peak is exact and needs no look at the process.
void* operator new(std::size_t size) {
    auto* const block = static_cast<std::size_t*>(std::malloc(size + kHeader));
    if (!block) throw std::bad_alloc();
    *block = size;
    const std::size_t now = gAllocated += size;
    if (now > gPeak) gPeak = now;
    return reinterpret_cast<char*>(block) + kHeader;
}
void operator delete(void* memory) noexcept {
    if (!memory) return;
    auto* const block = reinterpret_cast<std::size_t*>(static_cast<char*>(memory) - kHeader);
    gAllocated -= *block;
    std::free(block);
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }

namespace {

using namespace KrN;

// The unwrapped phase, the radians of the wrapped one and the mask: the pixels of images are not allocated by `new`.
constexpr double kImageBytes = 4 + 4 + 1;

enum Picture { ePeaks, eHoles, eFlat, eWhiteNoise };

// The unwrapped phase in radians: smooth hills and hollows over five periods, with a steepest slope below 0.3 rad per
// pixel at 1000 pixels' width.
double Peaks(double u, double v) {
    const auto bell = [](double x, double y) { return std::exp(-x * x - y * y); };
    return 3 * (1 - u) * (1 - u) * bell(u, v + 1) - 10 * (u / 5 - u * u * u - std::pow(v, 5)) * bell(u, v) -
           bell(u + 1, v) / 3;
}

struct Images {
    KrBufferAOI8 phase, mask;

    Images(Picture picture, short side, double noise) : phase({side, side}), mask({side, side}) {
        constexpr double twoPi = KrMath::TwoPi;
        std::mt19937 random(1);
        std::normal_distribution<double> normal;
        for (short y = 0; y < side; ++y) {
            for (short x = 0; x < side; ++x) {
                const double height = Peaks(6.0 * x / side - 3, 6.0 * y / side - 3) * (5 * twoPi / 14.7);
                const double steps = (height + (noise > 0 ? noise * normal(random) : 0)) * 256 / twoPi;
                std::uint8_t& value = *phase.GetPointer({x, y});
                value = static_cast<std::uint8_t>(static_cast<long>(std::floor(steps)));
                if (picture == eFlat) value = 77;
                if (picture == eWhiteNoise) value = static_cast<std::uint8_t>(random());
                *mask.GetPointer({x, y}) = picture == eHoles && random() % 16 == 0 ? 0 : 255;
            }
        }
    }
};

double Median(std::vector<double>& values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

template <class Work>
double Seconds(Work work) {
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Each run is followed by flood fills of the same size; the ratio is that of the medians.
void Unwrap(benchmark::State& state, Picture picture, double noise) {
    struct Figures {
        double nsPerPixel, ratio;
    };
    static std::map<std::string, Figures> megapixel;
    const auto side = static_cast<short>(state.range(0));
    const double pixels = static_cast<double>(side) * side;
    Images images(picture, side, noise);
    cv::setNumThreads(1);
    cv::Mat fill(side, side, CV_8U);
    std::vector<double> unwrapTimes, fillTimes;
    const std::size_t before = gAllocated;
    std::size_t peak = 0;
    int flag = 0;
    for (auto _ : state) {
        gPeak = before;
        KrLUnWrap_Velmor unwrap;
        unwrapTimes.push_back(Seconds([&] { unwrap.Execute(&images.phase, &images.mask, 50, &flag); }));
        state.SetIterationTime(unwrapTimes.back());
        peak = std::max(peak, gPeak - before);
        for (int i = 0; i < 3; ++i) {
            fill.setTo(7);
            fillTimes.push_back(Seconds([&] { cv::floodFill(fill, cv::Point(side / 2, side / 2), 9); }));
        }
    }
    const double time = Median(unwrapTimes);
    const double fillTime = Median(fillTimes);
    const Figures figures{time / pixels * 1e9, time / fillTime};
    const Figures& first =
        megapixel.try_emplace(std::to_string(picture) + std::to_string(noise), figures).first->second;
    state.counters["ns_per_pixel"] = figures.nsPerPixel;
    state.counters["fill_ns"] = fillTime / pixels * 1e9;
    state.counters["ratio_to_fill"] = figures.ratio;
    state.counters["bytes_per_pixel"] = static_cast<double>(peak) / pixels + kImageBytes;
    state.counters["growth_of_time"] = figures.nsPerPixel / first.nsPerPixel;
    state.counters["growth_of_ratio"] = figures.ratio / first.ratio;
}

void Sizes(benchmark::internal::Benchmark* run) {
    run->Arg(1024)->Arg(2048)->Arg(4096)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(Unwrap, clean_peaks, ePeaks, 0.0)->Apply(Sizes);
BENCHMARK_CAPTURE(Unwrap, noise_0_3_rad, ePeaks, 0.3)->Apply(Sizes);
BENCHMARK_CAPTURE(Unwrap, noise_0_6_rad, ePeaks, 0.6)->Apply(Sizes);
BENCHMARK_CAPTURE(Unwrap, holes, eHoles, 0.3)->Apply(Sizes);
BENCHMARK_CAPTURE(Unwrap, flat, eFlat, 0.0)->Apply(Sizes);
BENCHMARK_CAPTURE(Unwrap, white_noise, eWhiteNoise, 0.0)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
