#include "bench/accuracy/report.h"

#include <algorithm>
#include <cstdio>

namespace measure::accuracy {

Aim AimOf(const Coding& coding, double noise) {
    if (noise > 0) return {99.9, 98.5};
    return coding.IsAbsolute() ? Aim{99.9, 99.0} : Aim{99.95, 99.5};
}

std::string Report::Worst::Share(double aim) const {
    if (where.empty()) return "";
    char text[32];
    std::snprintf(text, sizeof text, share < aim ? "**%.3f**" : "%.3f", share);
    return text;
}

void Report::Take(Line& line, const Aim& aim, const std::string& place, const Outcome& outcome) {
    ++line.cases;
    line.aim = aim;
    if (!outcome.refused.empty()) ++line.refused;
    const double right = outcome.refused.empty() ? 100 * outcome.judgement.right : 0;
    const double valid = 100 * outcome.judgement.valid;
    if (right < aim.right || valid < aim.valid) ++line.missed;
    line.right.Take(right, place);
    line.valid.Take(valid, place);
    if (outcome.rightPerSurface > 0) line.perSurface.Take(100 * outcome.rightPerSurface, place);
    line.stray = std::max(line.stray, 100 * outcome.judgement.stray);
}

void Report::Add(const std::string& scene, const Coding& coding, const Conditions& conditions, const Outcome& outcome) {
    const Aim aim = AimOf(coding, conditions.capture.noise);
    char noise[32];
    std::snprintf(noise, sizeof noise, " | %g", conditions.capture.noise);
    Take(mCodings[coding.name + std::string(noise)], aim, scene + ": " + conditions.Name(), outcome);
    Take(mScenes[scene + noise], aim, coding.name + std::string(": ") + conditions.Name(), outcome);
}

void Report::PrintLines(const char* head, const std::map<std::string, Line>& lines) {
    std::printf("\n| %s | noise | right | worst case | per surface | valid | worst case | stray | cases | missed |\n",
                head);
    std::printf("|---|---:|---:|---|---:|---:|---|---:|---:|---:|\n");
    for (const auto& [name, line] : lines)
        std::printf("| %s | %s | %s | %s | %.2f | %d | %d |\n", name.c_str(), line.right.Text(line.aim.right).c_str(),
                    line.perSurface.Share(line.aim.right).c_str(), line.valid.Text(line.aim.valid).c_str(), line.stray,
                    line.cases, line.missed);
}

void Report::Print() const {
    PrintLines("coding", mCodings);
    PrintLines("scene", mScenes);
    std::printf("\nShares in percent, the worst of all cases; bold figures miss their aim.\n");
}

}  // namespace measure::accuracy
