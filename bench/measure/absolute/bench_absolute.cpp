// Absolute phase: what its parts cost, as ratios to the plain phase of three frames of the same pictures.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "measure/simulatescan.h"

namespace measure::bench {
namespace {

using simulate::Axis;
using simulate::Capture;
using simulate::Simulation;

constexpr double kLength = 1920;

CodedAxis Coding(const std::vector<double>& periods, int frames) {
    CodedAxis axis;
    axis.length = kLength;
    for (const double period : periods) axis.sines.push_back({period, EqualShifts(frames), {}});
    return axis;
}

CodedAxis Counts(std::vector<double> counts, int frames) {
    for (double& count : counts) count = kLength / count;
    return Coding(counts, frames);
}

CodedAxis Code(double period, int frames, double cell) {
    CodedAxis axis = Coding({period}, frames);
    axis.gray = GrayCode{cell, 0, {}, {}};
    const auto count = static_cast<std::size_t>(std::ceil(std::log2(kLength / cell)));
    axis.gray->frames.assign(count, "code");
    axis.gray->inverse.assign(count, "inverse");
    return axis;
}

// --- Costs

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double Seconds(const std::function<void()>& work) {  // of processor time, on one thread
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Only what has this in its name is timed.
std::string wanted;

// In turns with the plain phase, so that what else the machine does meets both.
void Compare(const char* name, double limit, const std::function<void()>& plain, const std::function<void()>& work) {
    constexpr int kRounds = 15;
    if (std::string(name).find(wanted) == std::string::npos) return;
    std::vector<double> ratios, times;
    plain();
    work();
    for (int i = 0; i < kRounds; ++i) {
        const double base = (Seconds(plain) + Seconds(plain)) / 2, time = Seconds(work);
        ratios.push_back(time / base);
        times.push_back(time * 1e3);
    }
    const double ratio = Median(ratios);
    std::printf(ratio > limit ? "| %s | %.1f | **%.2f** | %g |\n" : "| %s | %.1f | %.2f | %g |\n", name, Median(times),
                ratio, limit);
}

void MeasureCosts() {
    cv::setNumThreads(1);
    const Simulation scene(simulate::MakeScene("two-objects", simulate::StandardRig({1936, 1216})), 1);
    Capture capture;
    capture.noise = 1;
    capture.gamma = 1.6;
    const CodedAxis beat = Coding({200.0 / 3, 100}, 3), stages = Counts({1, 4, 16}, 3), code = Code(200.0 / 3, 3, 66),
                    narrow = Code(200.0 / 3, 3, 33);
    const auto render = [&](const CodedAxis& axis) { return RenderAxis(scene, Axis::eColumns, axis, capture); };
    const AxisPictures two = render(beat), three = render(stages), gray = render(code), fine = render(narrow);
    const FringeSet plainSet{two.sines[0], beat.sines[0].shifts};
    const auto plain = [&] { SolveFringes(plainSet); };

    std::vector<PhaseSet> sets;
    for (std::size_t i = 0; i < 2; ++i) {
        const FringePhase phase = SolveFringes({two.sines[i], beat.sines[i].shifts});
        sets.push_back({phase.phase, phase.modulation, beat.sines[i].period, 3});
    }
    std::printf(
        "1936 x 1216 pixels, 8 bits, one thread\n\n| operation | ms | to 3-step phase | limit "
        "|\n|---|---:|---:|---:|\n");
    Compare("decision of two sets", 1, plain, [&] { DecideOrders(sets, {3, {}}, 1); });
    const AbsolutePhase decoded = DecodeAxis(code, gray);
    const auto five = static_cast<std::ptrdiff_t>(std::min<std::size_t>(5, gray.gray.size()));
    const std::vector<cv::Mat> pictures(gray.gray.begin(), gray.gray.begin() + five);
    const std::vector<cv::Mat> inverse(gray.inverse.begin(), gray.inverse.begin() + five);
    Compare("five pairs of a Gray code", 2, plain, [&] { DecodeGray(pictures, inverse, decoded.modulation); });
    Compare("everything: two sets, modulo their beat", 10, plain, [&] { DecodeAxis(beat, two); });
    Compare("everything: periods 1, 4, 16", 10, plain, [&] { DecodeAxis(stages, three); });
    Compare("everything: one set and a Gray code of half periods", 10, plain, [&] { DecodeAxis(narrow, fine); });
    Compare("everything: one set and a Gray code of whole periods", 10, plain, [&] { DecodeAxis(code, gray); });
}

}  // namespace
}  // namespace measure::bench

int main(int argc, char** argv) {
    if (argc > 1 && argv[1][0] != '-') measure::bench::wanted = argv[1];
    measure::bench::MeasureCosts();
    return 0;
}
