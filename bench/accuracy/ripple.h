#pragma once

#include <map>
#include <string>
#include <vector>

#include "bench/accuracy/capture.h"
#include "measure/simulate.h"

namespace measure::accuracy {

// The deviation of the phase from the truth before and after the correction of ripple, without noise: the worst scene
// for each gamma, number of steps and period, as a Markdown table; then how far real captures are from smooth.
class RippleReport {
public:
    void Add(const std::string& scene, const simulate::Simulation& simulation);
    void AddCapture(const std::string& folder);
    void Print() const;

private:
    struct Case {
        double gamma;
        int steps;
        double period;
        std::string scene = {};
        double before = 0, after = -1, excess = -1;  // rms, radians
        bool known = false;
    };
    std::vector<Case> mCases = MakeCases();
    std::map<std::string, CaptureRipple> mCaptures;
    static std::vector<Case> MakeCases();
};

}  // namespace measure::accuracy
