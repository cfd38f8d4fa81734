#include "measure/fringe.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "measure/unwrap.h"

// What the steps from frames to an unwrapped phase cost, as ratios to the plain phase of three frames of the same size,
// all of them on one thread, in processor time, and in turns so that what else happens on the machine meets all.
namespace {

using namespace measure;

constexpr int kWidth = 1936, kHeight = 1216;

FringeSet Render(int count, double gamma, double noise) {
    FringeSet set{{}, EqualShifts(count)};
    cv::RNG random(1);
    for (const double shift : set.shifts) {
        cv::Mat1b frame(kHeight, kWidth);
        cv::Mat1f grain(frame.size());
        random.fill(grain, cv::RNG::NORMAL, 0, noise);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const double hill = 12 * std::exp(-(std::pow(x - 900, 2) + std::pow(y - 600, 2)) / 1e5);
                const double light = std::pow(0.5 + 0.5 * std::cos(0.09 * x + 0.01 * y + hill + shift), gamma);
                frame(y, x) = cv::saturate_cast<uchar>(20 + 180 * light + static_cast<double>(grain(y, x)));
            }
        }
        set.frames.push_back(frame);
    }
    return set;
}

struct Step {
    const char* name;
    std::function<void()> run;
    double aim;                             // the largest ratio, 0: none
    std::function<void()> prepare = [] {};  // before each run, not measured
    std::vector<double> seconds = {};
};

double Median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

void RunAll(double noise) {
    const FringeSet three = Render(3, 2.2, noise), eight = Render(8, 2.2, noise);
    const FringePhase solved = SolveFringes(three);
    const Ripple ripple = EstimateRipple(solved);
    FringePhase corrected = solved;
    const auto reset = [&](FringePhase& phase) {
        solved.phase.copyTo(phase.phase);
        solved.modulation.copyTo(phase.modulation);
        solved.usable.copyTo(phase.usable);
    };
    for (cv::Mat1f* image : {&corrected.phase, &corrected.modulation}) *image = cv::Mat1f();
    corrected.usable = cv::Mat1b();
    reset(corrected);
    CorrectRipple(corrected, ripple);
    const cv::Mat1f contrast = FringeContrast(solved);
    const cv::Mat1f cost = UnwrapCost(corrected.phase, solved.usable, contrast, solved.modulation);
    const cv::Mat1b quality = QualityFromPhase(corrected.phase, solved.usable);
    FringePhase scratch = corrected;
    scratch.phase = corrected.phase.clone();
    scratch.modulation = corrected.modulation.clone();
    scratch.usable = corrected.usable.clone();
    std::vector<Step> steps{
        {"phase of 3 frames", [&] { SolveFringes(three); }, 1},
        {"phase of 8 frames, with residual", [&] { SolveFringes(eight); }, 0},
        {"ripple, estimate and correction",
         [&] {
             const Ripple found = EstimateRipple(scratch);
             CorrectRipple(scratch, ripple);
             if (!found.known) std::abort();
         },
         0.5, [&] { reset(scratch); }},
        {"contrast", [&] { FringeContrast(solved); }, 0},
        {"unwrapping cost of phase and contrast", [&] { UnwrapCost(corrected.phase, solved.usable, contrast); }, 0},
        {"unwrapping cost, modulation too",
         [&] { UnwrapCost(corrected.phase, solved.usable, contrast, solved.modulation); }, 0},
        {"unwrapping by cost", [&] { UnwrapByCost(corrected.phase, solved.usable, cost); }, 0},
        {"unwrapping by regions", [&] { UnwrapByRegions(corrected.phase, solved.usable, quality); }, 0},
    };
    for (int round = 0; round < 9; ++round) {
        for (Step& step : steps) {
            step.prepare();
            const std::clock_t start = std::clock();
            step.run();
            step.seconds.push_back(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
        }
    }
    std::printf("%d x %d pixels, noise of %g grey levels, one thread\n", kWidth, kHeight, noise);
    for (const Step& step : steps) {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < step.seconds.size(); ++i)
            ratios.push_back(step.seconds[i] / steps.front().seconds[i]);
        const double ratio = Median(ratios);
        std::printf("  %-38s %8.2f ms  ratio %6.2f%s\n", step.name, 1e3 * Median(step.seconds), ratio,
                    step.aim > 0 && ratio > step.aim ? "  MISSED" : "");
    }
}

}  // namespace

int main() {
    cv::setNumThreads(1);
    for (const double noise : {0.0, 4.0}) RunAll(noise);
    return 0;
}
