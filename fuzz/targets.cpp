#include "fuzz/targets.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "tests/support/harness.h"

namespace fuzz {
namespace {

// The suites whose drawn checks a target runs.
const std::pair<const char*, const char*> kFamilies[] = {
    {"boards", "Boards"},
    {"colours", "ColourIndex Octree"},
    {"filters", "ImageFilters LineFilters SpecialFilters Gradients"},
    {"geometry", "Geometry Rotation Combination"},
    {"operations", "Operations Shift"},
    {"regions", "Segment BuildRegion"},
    {"statistics", "Histogram HistogramAnalyzer BimodalHistoAnalyzer Range FringeQuality"},
    {"surfaces", "BestFit Shading"},
    {"unwrappers", "Unwrap Reliability"},
    {"world", "World"},
};
constexpr int kMostChecks = 8;  // of one input

bool Contains(const std::string& suites, const std::string& suite) {
    std::istringstream words(suites);
    return std::find(std::istream_iterator<std::string>(words), {}, suite) != std::istream_iterator<std::string>();
}

std::vector<test::DrawnCheck> ChecksOf(const std::string& suites) {
    std::vector<test::DrawnCheck> checks;
    for (const test::DrawnCheck& check : test::DrawnCheck::All())
        if (Contains(suites, check.suite)) checks.push_back(check);
    return checks;
}

Target Family(const char* name, const char* suites) {
    return {name, [checks = ChecksOf(suites)](const Input& input) {
                Draw draw(input);
                const test::Drawing drawing = [&draw](std::uint32_t end) { return draw(end); };
                for (int i = 0; i == 0 || (i < kMostChecks && !draw.IsUsedUp()); ++i) {
                    const std::uint64_t calls = test::tried.calls;
                    test::Drawn(drawing, checks).run(drawing);
                    ++test::tried.operands;
                    if (test::tried.calls == calls) ++test::tried.calls;  // the same on all CPU targets
                }
            }};
}

}  // namespace

bool IsInATarget(const std::string& suite) {
    return std::any_of(std::begin(kFamilies), std::end(kFamilies),
                       [&](const auto& family) { return Contains(family.second, suite); });
}

const std::vector<Target>& Targets() {
    static const std::vector<Target> targets = [] {
        std::vector<Target> all = {{"pictures", ReadPictures}, {"headers", ReadHeaders}, {"texts", ReadTexts}};
        for (const auto& [name, suites] : kFamilies) all.push_back(Family(name, suites));
        return all;
    }();
    return targets;
}

}  // namespace fuzz
