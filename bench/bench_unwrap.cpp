// Region unwrapper: time per pixel as a ratio to a flood fill of the same size, and peak memory per pixel.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <new>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "ipbase/ipLUnwrap.h"

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
using Clock = std::chrono::steady_clock;

enum Picture { eCleanDome, eNoisyDome, eWhiteNoise };

struct Images {
    KrBufferAOI8 phase, quality, mask, targetMask;
    KrBufferAOI16 target;

    Images(Picture picture, short side)
        : phase({side, side}),
          quality({side, side}),
          mask({side, side}),
          targetMask({side, side}),
          target({side, side}) {
        std::mt19937 random(1);
        std::normal_distribution<double> normal;
        const double noise = picture == eNoisyDome ? 0.6 : 0.0;
        for (short y = 0; y < side; ++y) {
            std::uint8_t* const p = phase.GetRowPointer(y);
            std::uint8_t* const q = quality.GetRowPointer(y);
            for (short x = 0; x < side; ++x) {
                const double u = 2.0 * x / side - 1;
                const double v = 2.0 * y / side - 1;
                const double dome = std::max(0.0, 1 - (u * u + v * v) / 2);
                const double steps = 256 * (12 * dome + noise * normal(random) / (2 * 3.14159265358979));
                const double level = 40 + 200 * dome + (picture == eNoisyDome ? 15 * normal(random) : 0);
                p[x] = static_cast<std::uint8_t>(static_cast<long>(std::floor(steps)));
                q[x] = static_cast<std::uint8_t>(std::clamp(level, 0.0, 255.0));
                if (picture == eWhiteNoise) {
                    p[x] = static_cast<std::uint8_t>(random());
                    q[x] = static_cast<std::uint8_t>(random());
                }
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
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Each run is followed by a flood fill of the same size; the ratio is that of the medians.
void Unwrap(benchmark::State& state, Picture picture) {
    const auto side = static_cast<short>(state.range(0));
    const double pixels = static_cast<double>(side) * side;
    Images images(picture, side);
    cv::setNumThreads(1);
    cv::Mat fill(side, side, CV_8U);
    std::vector<double> unwrapTimes, fillTimes;
    const std::size_t before = gAllocated;
    std::size_t peak = 0;
    std::uint32_t components = 0;
    for (auto _ : state) {
        gPeak = before;
        KrLUnWrap unwrap;
        unwrapTimes.push_back(Seconds([&] {
            unwrap.Execute(&images.phase, &images.quality, &images.mask, &images.target, &images.targetMask, 10, 50, 2,
                           0);
        }));
        state.SetIterationTime(unwrapTimes.back());
        peak = std::max(peak, gPeak - before);
        components = unwrap.GetComponentCount();
        for (int i = 0; i < 3; ++i) {
            fill.setTo(7);
            fillTimes.push_back(Seconds([&] { cv::floodFill(fill, cv::Point(side / 2, side / 2), 9); }));
        }
    }
    const double time = Median(unwrapTimes);
    const double fillTime = Median(fillTimes);
    state.counters["ns_per_pixel"] = time / pixels * 1e9;
    state.counters["fill_ns"] = fillTime / pixels * 1e9;
    state.counters["ratio_to_fill"] = time / fillTime;
    state.counters["bytes_per_pixel"] = static_cast<double>(peak) / pixels;
    state.counters["components"] = components;
}

BENCHMARK_CAPTURE(Unwrap, clean_dome, eCleanDome)
    ->Arg(1024)
    ->Arg(2048)
    ->Arg(4096)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Unwrap, noisy_dome, eNoisyDome)
    ->Arg(1024)
    ->Arg(2048)
    ->Arg(4096)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Unwrap, white_noise, eWhiteNoise)
    ->Arg(1024)
    ->Arg(2048)
    ->Arg(4096)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
