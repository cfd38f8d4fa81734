#pragma once

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <new>
#include <opencv2/imgproc.hpp>

#include "bench/support.h"

// What the benchmarks of the unwrappers share: the ratio to a flood fill of the same size, the growth beyond the first
// size, and the peak memory per pixel. Included by one file of a program, as it replaces the allocation functions.
namespace KrN::bench {

inline std::atomic<std::size_t> allocated{0};
inline std::atomic<std::size_t> peakAllocated{0};

// Both run on one thread: processor time counts, whatever else the machine does.
template <class Run>
double ProcessorSeconds(const Run& run) {
    const std::clock_t start = std::clock();
    run();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Each run is followed by flood fills. The fastest runs count: what other programs do to caches and memory slows down
// the larger sizes more. Pixels of images are not allocated by `new`: `imageBytes` are those of the images that the run
// makes, per pixel.
template <class Run>
void CompareToFloodFill(benchmark::State& state, const std::string& picture, double imageBytes, const Run& run) {
    struct Figures {
        double nsPerPixel, ratio;
    };
    static std::map<std::string, Figures> firstSize;
    const auto side = static_cast<int>(state.range(0));
    const double pixels = static_cast<double>(side) * side;
    cv::setNumThreads(1);
    cv::Mat fill(side, side, CV_8U);
    std::vector<double> times, fillTimes;
    const std::size_t before = allocated;
    std::size_t peak = 0;
    for (auto _ : state) {
        peakAllocated = before;
        times.push_back(ProcessorSeconds(run));
        state.SetIterationTime(times.back());
        peak = std::max(peak, peakAllocated - before);
        for (int i = 0; i < 3; ++i) {
            fill.setTo(7);
            fillTimes.push_back(ProcessorSeconds([&] { cv::floodFill(fill, cv::Point(side / 2, side / 2), 9); }));
        }
    }
    const double time = *std::min_element(times.begin(), times.end());
    const double fillTime = *std::min_element(fillTimes.begin(), fillTimes.end());
    const Figures figures{time / pixels * 1e9, time / fillTime};
    const Figures& first = firstSize.try_emplace(picture, figures).first->second;
    state.counters["ns_per_pixel"] = figures.nsPerPixel;
    state.counters["fill_ns"] = fillTime / pixels * 1e9;
    state.counters["ratio_to_fill"] = figures.ratio;
    state.counters["bytes_per_pixel"] = static_cast<double>(peak) / pixels + imageBytes;
    state.counters["growth_of_time"] = figures.nsPerPixel / first.nsPerPixel;
    state.counters["growth_of_ratio"] = figures.ratio / first.ratio;
}

// Registers `run(state, picture)` for each picture at 1, 4 and 16 megapixels.
template <class Picture, class Run>
void RegisterUnwrapper(const std::map<std::string, Picture>& pictures, const Run& run) {
    for (const auto& entry : pictures)
        benchmark::RegisterBenchmark(("Unwrap/" + entry.first).c_str(),
                                     [entry, run](benchmark::State& state) { run(state, entry.first, entry.second); })
            ->Arg(1024)
            ->Arg(2048)
            ->Arg(4096)
            ->UseManualTime()
            ->Iterations(5)
            ->Unit(benchmark::kMillisecond);
}

inline int RunUnwrapper(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

}  // namespace KrN::bench

// Every allocation carries its size in front, so that the peak is exact and needs no look at the process.
inline constexpr std::size_t kAllocationHeader = 16;

void* operator new(std::size_t size) {
    auto* const block = static_cast<std::size_t*>(std::malloc(size + kAllocationHeader));
    if (!block) throw std::bad_alloc();
    *block = size;
    const std::size_t now = KrN::bench::allocated += size;
    if (now > KrN::bench::peakAllocated) KrN::bench::peakAllocated = now;
    return reinterpret_cast<char*>(block) + kAllocationHeader;
}
void operator delete(void* memory) noexcept {
    if (!memory) return;
    auto* const block = reinterpret_cast<std::size_t*>(static_cast<char*>(memory) - kAllocationHeader);
    KrN::bench::allocated -= *block;
    std::free(block);
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
