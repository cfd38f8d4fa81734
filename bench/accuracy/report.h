#pragma once

#include <map>
#include <string>
#include <vector>

#include "bench/accuracy/coding.h"

namespace measure::accuracy {

// What must be reached, percent.
struct Aim {
    double right, valid;
};
Aim AimOf(const Coding& coding, double noise);

// Collects outcomes and prints the worst ones as Markdown.
class Report {
public:
    void Add(const std::string& scene, const Coding& coding, const Conditions& conditions, const Outcome& outcome);
    // The worst right and valid shares per coding and noise, then per scene.
    void Print() const;

private:
    struct Worst {
        double share = 101;
        std::string where;
        void Take(double candidate, const std::string& place) {
            if (candidate >= share) return;
            share = candidate;
            where = place;
        }
        std::string Share(double aim) const;
        std::string Text(double aim) const { return Share(aim) + " | " + where; }
    };
    struct Line {
        Aim aim{};
        Worst right, perSurface, valid;
        double stray = 0;  // the largest share of results without light
        int cases = 0, refused = 0, missed = 0;
    };
    static void Take(Line& line, const Aim& aim, const std::string& place, const Outcome& outcome);
    static void PrintLines(const char* head, const std::map<std::string, Line>& lines);

    std::map<std::string, Line> mCodings, mScenes;
};

}  // namespace measure::accuracy
