#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <opencv2/core.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "ipbase/voripbase.h"

// Every operation is timed in turns with its OpenCV counterpart (one thread) and with a memory copy of the same
// traffic, so that what else happens on the machine meets all three. What counts are the medians of the ratios.
namespace KrN::bench {

// Ours and theirs; `b` is null or empty for operations with one source.
using Ours = std::function<void(const KrAOI* a, const KrAOI* b, KrAOI* dst)>;
using Theirs = std::function<void(const cv::Mat& a, const cv::Mat& b, cv::Mat& dst)>;

enum class Arithmetic { eSame, eOther };  // eSame: the two must give the same pixels

struct Counterpart {
    const char* name = nullptr;
    Arithmetic arithmetic = Arithmetic::eOther;
    Theirs run;
};

struct Case {
    const char* name;
    std::vector<const char*> types;  // sources > destination, as in "8 16 > 16"
    Ours ours;
    Counterpart counterpart = {};
    double extraPasses = 0.0;  // over the destination, beyond reading the sources and writing the destination once
    double reduction = 1.0;    // of the destination's width and height
    bool ofInput = false;      // compare with a copy of the sources alone
    double aim = 1.5;          // the greatest ratio to the memory copy, unless the counterpart has the same arithmetic
};

struct Image {
    std::unique_ptr<KrAOI> aoi;
    cv::Mat mat;  // the same pixels
};

template <class Buffer>
Image MakeBuffer(int side) {
    using T = typename Buffer::Pixel;
    auto buffer = std::make_unique<Buffer>(KrTSize<short>{static_cast<short>(side), static_cast<short>(side)});
    cv::Mat mat(side, side, cv::DataType<T>::type, buffer->GetRowPointer(0));
    cv::randu(mat, 0, sizeof(T) == 2 ? 65536 : sizeof(T) == 1 ? 256 : 250);
    return {std::move(buffer), mat};
}

inline Image MakeImage(const std::string& type, int side) {
    if (type == "8") return MakeBuffer<KrBufferAOI8>(side);
    if (type == "16") return MakeBuffer<KrBufferAOI16>(side);
    if (type == "32") return MakeBuffer<KrBufferAOI32>(side);
    if (type == "F") return MakeBuffer<KrBufferAOI32Float>(side);
    return MakeBuffer<KrBufferAOI64Double>(side);
}

struct Images {
    std::vector<Image> sources;
    Image destination;
    double bytes = 0.0;

    Images(const Case& c, const char* types, int side) {
        std::istringstream words(types);
        std::string word;
        while (words >> word && word != ">") {
            sources.push_back(MakeImage(word, side));
            bytes += (c.ofInput ? 2.0 : 1.0) * Bytes(sources.back());
        }
        if (!(words >> word)) return;
        destination = MakeImage(word, static_cast<int>(std::lround(side / c.reduction)));
        if (!c.ofInput) bytes += (1.0 + c.extraPasses) * Bytes(destination);
    }
    const Image& Source(std::size_t i) const {
        static const Image none;
        return i < sources.size() ? sources[i] : none;
    }
    static double Bytes(const Image& image) { return static_cast<double>(image.mat.total() * image.mat.elemSize()); }
};

using Work = std::function<void()>;

// Processor time: everything that is measured runs on one thread, and the machine may have other things to do.
inline double Seconds(const Work& work, int calls) {
    work();  // brings its images back into the cache
    const std::clock_t start = std::clock();
    for (int i = 0; i < calls; ++i) work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC / calls;
}

inline double Median(std::vector<double> values) {
    if (values.empty()) return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

inline Work CopyOf(double traffic) {
    static std::vector<char> from, to;
    const auto bytes = static_cast<std::size_t>(traffic / 2);
    if (from.size() < bytes) {
        from.assign(bytes, 1);
        to.assign(bytes, 0);
    }
    return [bytes] {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::ClobberMemory();
    };
}

inline const std::vector<int> kSides = {512, 2048, 4096};

// The table that is printed at the end: one line per operation and pixel types, a pair of columns per size.
class Report {
public:
    void Add(const Case& c, const std::string& types, int side, double toTheirs, double toCopy) {
        const std::string key =
            std::string(c.name) + " | " + types + " | " + (c.counterpart.name ? c.counterpart.name : "–");
        const bool same = c.counterpart.name && c.counterpart.arithmetic == Arithmetic::eSame;
        const bool missed = same ? toTheirs > (side < 2048 ? 1.3 : 1.1) : toCopy > c.aim;
        Line& line = mLines[key];
        if (line.cells.empty()) mOrder.push_back(key);
        line.same = same;
        line.cells[side] = {Cell(toTheirs, same && missed), Cell(toCopy, !same && missed)};
        ++mCells;
        if (missed) ++mMissed;
    }

    void Print() const {
        if (mOrder.empty()) return;
        std::printf("\n| operation | types | OpenCV | same |");
        for (int side : kSides) std::printf(" %d²: OpenCV | copy |", side);
        std::printf("\n|---|---|---|---|");
        for (std::size_t i = 0; i < kSides.size(); ++i) std::printf("---:|---:|");
        for (const std::string& key : mOrder) {
            const Line& line = mLines.at(key);
            std::printf("\n| %s | %s |", key.c_str(), line.same ? "yes" : "");
            for (int side : kSides) {
                const auto cell = line.cells.find(side);
                if (cell == line.cells.end())
                    std::printf(" | |");
                else
                    std::printf(" %s | %s |", cell->second.first.c_str(), cell->second.second.c_str());
            }
        }
        std::printf("\n\n%d of %d figures miss their aim (bold).\n", mMissed, mCells);
    }

private:
    struct Line {
        bool same = false;
        std::map<int, std::pair<std::string, std::string>> cells;
    };
    static std::string Cell(double ratio, bool missed) {
        char text[32];
        std::snprintf(text, sizeof text, missed ? "**%.2f**" : "%.2f", ratio);
        return ratio > 0.0 ? text : "";
    }
    std::map<std::string, Line> mLines;
    std::vector<std::string> mOrder;
    int mCells = 0, mMissed = 0;
};

inline bool GiveSamePixels(const Work& ours, const Work& theirs, const cv::Mat& destination) {
    if (destination.empty()) return true;
    cv::Mat result = destination;
    ours();
    const cv::Mat expected = result.clone();
    result.setTo(77);
    theirs();
    return cv::norm(result, expected, cv::NORM_INF) == 0.0;
}

inline void RunCase(benchmark::State& state, const Case& c, const char* types, int side, Report& report) {
    Images images(c, types, side);
    const Image &a = images.Source(0), &b = images.Source(1);
    KrAOI* dst = images.destination.aoi.get();
    const Work ours = [&] { c.ours(a.aoi.get(), b.aoi.get(), dst); };
    const Work copy = CopyOf(images.bytes);
    Work theirs;
    if (c.counterpart.run) theirs = [&] { c.counterpart.run(a.mat, b.mat, images.destination.mat); };
    if (theirs && c.counterpart.arithmetic == Arithmetic::eSame &&
        !GiveSamePixels(ours, theirs, images.destination.mat))
        return state.SkipWithError("the counterpart gives other pixels");

    const int calls = std::clamp(static_cast<int>(0.0005 / Seconds(ours, 2)), 1, 100);
    std::vector<double> toTheirs, toCopy;
    for (auto _ : state) {
        double time = Seconds(ours, calls);
        const double copyTime = Seconds(copy, calls);
        if (theirs) {
            const double theirTime = Seconds(theirs, calls);
            time = (time + Seconds(ours, calls)) / 2;
            toTheirs.push_back(time / theirTime);
        }
        toCopy.push_back(time / copyTime);
        state.SetIterationTime(time);
    }
    state.counters["copy"] = Median(toCopy);
    if (theirs) state.counters["OpenCV"] = Median(toTheirs);
    report.Add(c, types, side, Median(toTheirs), Median(toCopy));
}

inline int RunAll(const std::vector<Case>& cases, int argc, char** argv) {
    constexpr int kRepetitions = 25;
    cv::setNumThreads(1);
    Report report;
    for (const Case& c : cases)
        for (const char* types : c.types)
            for (int side : kSides)
                benchmark::RegisterBenchmark(
                    (std::string(c.name) + "/" + types + "/" + std::to_string(side)).c_str(),
                    [&report, &c, types, side](benchmark::State& state) { RunCase(state, c, types, side, report); })
                    ->UseManualTime()
                    ->Unit(benchmark::kMicrosecond)
                    ->Iterations(kRepetitions);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    report.Print();
    return 0;
}

}  // namespace KrN::bench
