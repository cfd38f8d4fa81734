// Absolute phase: what its parts cost, as ratios to the plain phase of three frames of the same pictures, and how right
// it is on simulated scenes. Options: --accuracy for the table of all scenes and codings instead of the costs,
// --width N for the width of its pictures.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
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

enum class Bits { eInverse, eWhiteBlack, eMean };

CodedAxis Code(const std::vector<double>& periods, int frames, double cell, double offset = 0,
               Bits bits = Bits::eInverse) {
    CodedAxis axis = Coding(periods, frames);
    axis.gray = GrayCode{cell, offset, {}, {}};
    const auto count = static_cast<std::size_t>(std::ceil(std::log2((kLength - offset) / cell)));
    axis.gray->frames.assign(count, "code");
    if (bits == Bits::eInverse) axis.gray->inverse.assign(count, "inverse");
    if (bits == Bits::eWhiteBlack) axis.white = axis.black = "uniform";
    return axis;
}

// --- Costs
// -------------------------------------------------------------------------------------------------------------

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

// In turns with the plain phase, so that what else the machine does meets both.
void Compare(const char* name, double limit, const std::function<void()>& plain, const std::function<void()>& work) {
    constexpr int kRounds = 15;
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
    const CodedAxis beat = Coding({200.0 / 3, 100}, 3), stages = Counts({1, 4, 16}, 3), code = Code({200.0 / 3}, 3, 66);
    const auto render = [&](const CodedAxis& axis) { return RenderAxis(scene, Axis::eColumns, axis, capture); };
    const AxisPictures two = render(beat), three = render(stages), gray = render(code);
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
    Compare("everything: one set and a Gray code of five pairs", 10, plain, [&] { DecodeAxis(code, gray); });
}

// --- Accuracy
// ----------------------------------------------------------------------------------------------------------

struct Named {
    const char* name;
    CodedAxis axis;
};

std::vector<Named> Codings() {
    std::vector<Named> codings = {
        {"1, 16 periods, 3 steps", Counts({1, 16}, 3)},
        {"1, 4, 16 periods, 3 steps", Counts({1, 4, 16}, 3)},
        {"1, 8, 64 periods, 4 steps", Counts({1, 8, 64}, 4)},
        {"59, 64, 70 periods, 4 steps", Counts({59, 64, 70}, 4)},
        {"16, 17 periods, 5 steps", Counts({16, 17}, 5)},
        {"28.8, 19.2 periods, 3 steps (modulo 3)", Coding({200.0 / 3, 100}, 3)},
        {"code of half periods, 4 steps", Code({24}, 4, 12)},
        {"code of whole periods, 4 steps", Code({32}, 4, 32)},
        {"code shifted by half a cell, 3 steps", Code({32}, 3, 32, -16)},
        {"code cut at white and black, 3 steps", Code({24}, 3, 12, 0, Bits::eWhiteBlack)},
        {"code cut at the mean, 5 steps", Code({24}, 5, 12, 0, Bits::eMean)},
        {"code of 100 columns and a beat, 3 steps", Code({200.0 / 3, 100}, 3, 100)},
    };
    codings.push_back({"1, 8, 64 periods, falling phase", Counts({1, 8, 64}, 4)});
    codings.back().axis.direction = -1;
    return codings;
}

struct Worst {
    double right = 2, valid = 2, stray = 0;
    std::string rightScene, validScene, refused;
};

void Judge(const Simulation& scene, const std::string& name, const Named& coding, const Capture& capture,
           Worst& worst) {
    const AxisPictures pictures = RenderAxis(scene, Axis::eColumns, coding.axis, capture);
    try {
        const AbsolutePhase result = DecodeAxis(coding.axis, pictures);
        const simulate::Judgement judgement =
            simulate::Judge(result, scene, Axis::eColumns, coding.axis, capture, pictures);
        if (judgement.right < worst.right) worst.right = judgement.right, worst.rightScene = name;
        if (judgement.valid < worst.valid) worst.valid = judgement.valid, worst.validScene = name;
        worst.stray = std::max(worst.stray, judgement.stray);
    } catch (const Error& error) {
        worst.refused += (worst.refused.empty() ? "" : ", ") + name;
        std::fprintf(stderr, "%s, %s: %s\n", coding.name, name.c_str(), error.what());
    }
}

void MeasureAccuracy(int width) {
    struct Light {
        const char* name;
        int bits;
        double gamma, noise;
    };
    const Light lights[] = {{"8 bits", 8, 1, 0},
                            {"8 bits, gamma 2.2, noise 1", 8, 2.2, 1},
                            {"8 bits, gamma 1.6, noise 4", 8, 1.6, 4},
                            {"8 bits, gamma 2.2, noise 4", 8, 2.2, 4},
                            {"16 bits, gamma 1.5, noise 0.2", 16, 1.5, 0.2}};
    std::vector<Simulation> scenes;
    for (const simulate::StandardScene& scene : simulate::StandardScenes())
        scenes.emplace_back(scene.make(simulate::StandardRig({width, width * 3 / 4})), 2);
    std::printf(
        "Worst of %zu scenes, %d pixels wide\n\n| coding | pictures | right, %% | scene | valid, %% | scene | "
        "stray, %% | refused |\n|---|---|---:|---|---:|---|---:|---|\n",
        scenes.size(), width);
    for (const Named& coding : Codings())
        for (const Light& light : lights) {
            Worst worst;
            Capture capture;
            capture.bits = light.bits;
            capture.gamma = light.gamma;
            capture.noise = light.noise;
            for (std::size_t i = 0; i < scenes.size(); ++i)
                Judge(scenes[i], simulate::StandardScenes()[i].name, coding, capture, worst);
            std::printf("| %s | %s | %.3f | %s | %.2f | %s | %.3f | %s |\n", coding.name, light.name, 100 * worst.right,
                        worst.rightScene.c_str(), 100 * worst.valid, worst.validScene.c_str(), 100 * worst.stray,
                        worst.refused.c_str());
            std::fflush(stdout);
        }
}

}  // namespace
}  // namespace measure::bench

int main(int argc, char** argv) {
    bool isAccuracy = false;
    int width = 640;
    for (int i = 1; i < argc; ++i) {
        isAccuracy |= std::strcmp(argv[i], "--accuracy") == 0;
        if (std::strcmp(argv[i], "--width") == 0 && i + 1 < argc) width = std::max(32, std::atoi(argv[i + 1]));
    }
    if (isAccuracy)
        measure::bench::MeasureAccuracy(width);
    else
        measure::bench::MeasureCosts();
    return 0;
}
