#include "bench/accuracy/ripple.h"

#include <cmath>
#include <cstdio>

#include "measure/fringe.h"
#include "measure/simulatescan.h"

namespace measure::accuracy {
namespace {

double RmsError(const FringePhase& found, const cv::Mat1d& truth, const cv::Mat1b& mixed) {
    double squares = 0;
    long count = 0;
    for (int y = 0; y < truth.rows; ++y)
        for (int x = 0; x < truth.cols; ++x) {
            if (found.usable(y, x) == 0 || mixed(y, x) != 0 || std::isnan(truth(y, x))) continue;
            const double off = std::remainder(found.phase(y, x) - truth(y, x), 2 * CV_PI);
            squares += off * off;
            ++count;
        }
    return count > 0 ? std::sqrt(squares / static_cast<double>(count)) : 0;
}

}  // namespace

std::vector<RippleReport::Case> RippleReport::MakeCases() {
    std::vector<Case> cases;
    for (const double gamma : {1.0, 1.5, 2.2})
        for (const int steps : {3, 4, 5})
            for (const double period : {18.0, 66.6667, 120.0}) cases.push_back({gamma, steps, period});
    return cases;
}

void RippleReport::Add(const std::string& scene, const simulate::Simulation& simulation) {
    for (Case& c : mCases) {
        simulate::Capture capture;
        capture.gamma = c.gamma;
        const CodedAxis axis = simulate::SineAxis(1920, {c.period}, c.steps);
        const AxisPictures pictures = RenderAxis(simulation, simulate::Axis::eColumns, axis, capture);
        FringePhase phase = SolveFringes({pictures.sines[0], axis.sines[0].shifts});
        const Ripple ripple = EstimateRipple(phase);
        if (!ripple.known) continue;
        const cv::Mat1d truth = simulation.Phase(c.period);
        const double before = RmsError(phase, truth, simulation.GetTruth().mixed);
        CorrectRipple(phase, ripple);
        const double after = RmsError(phase, truth, simulation.GetTruth().mixed);
        c.excess = std::max(c.excess, after - before);
        if (after < c.after) continue;
        c.scene = scene;
        c.before = before;
        c.after = after;
        c.known = true;
    }
}

void RippleReport::AddCapture(const std::string& folder) { mCaptures[folder] = JudgeRipple(folder); }

void RippleReport::Print() const {
    std::printf("\n| gamma | steps | period | worst scene | rms before | rms after | largest increase |\n");
    std::printf("|---:|---:|---:|---|---:|---:|---:|\n");
    for (const Case& c : mCases) {
        if (!c.known) continue;
        const bool missed = c.after > 0.06 || c.excess > 0.005;
        std::printf(missed ? "| %.1f | %d | %g | %s | %.4f | **%.4f** | %.4f |\n"
                           : "| %.1f | %d | %g | %s | %.4f | %.4f | %.4f |\n",
                    c.gamma, c.steps, c.period, c.scene.c_str(), c.before, c.after, c.excess);
    }
    if (mCaptures.empty()) return;
    std::printf("\n| capture | from quadrics before | after |\n|---|---:|---:|\n");
    for (const auto& [folder, ripple] : mCaptures)
        std::printf(ripple.after > 0.1 ? "| %s | %.4f | **%.4f** |\n" : "| %s | %.4f | %.4f |\n", folder.c_str(),
                    ripple.before, ripple.after);
}

}  // namespace measure::accuracy
