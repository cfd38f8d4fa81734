#include "tools/vorip/commands/scanquality.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

#include "measure/frames.h"
#include "measure/fringequality.h"
#include "tools/vorip/commands/frameinputs.h"
#include "tools/vorip/commands/qualityreport.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

struct Judged {
    std::string name;  // of the direction
    const measure::CodedAxis* axis;
    measure::AxisQuality quality;
    cv::Size size;
};

template <class Values, class ToText>
std::string Lines(const Values& values, const ToText& toText) {
    std::string text;
    for (const auto& value : values) text += (text.empty() ? "\n    " : ",\n    ") + toText(value);
    return "[" + text + "]";
}

std::string ToJson(const Judged& judged) {
    const measure::AxisQuality& q = judged.quality;
    std::size_t set = 0;
    const auto setToText = [&](const measure::FringeQuality& quality) {
        auto entries = SetEntries(quality, q.ripples[set], judged.axis->sines[set].frames.size());
        ++set;
        return JsonValue(entries);
    };
    const auto checkToText = [](const measure::DecodeCheck& check) {
        return JsonValue({{"name", JsonText(check.name)},
                          {"value", JsonNumber(check.value)},
                          {"limit", JsonNumber(check.limit)},
                          {"passed", JsonTruth(check.passed)}});
    };
    return JsonValue({{"verdict", JsonText(InWords(q.verdict).words)},
                      {"misfit", q.misfit.empty() ? "null" : JsonText(q.misfit)},
                      {"findings", JsonList(q.findings)},
                      {"usable_share", JsonNumber(q.usable)},
                      {"doubtful_bits_share", judged.axis->gray ? JsonNumber(q.doubtfulBits) : "null"},
                      {"sets", Lines(q.sets, setToText)},
                      {"checks", Lines(q.checks, checkToText)}});
}

void Print(const Judged& judged) {
    const measure::AxisQuality& q = judged.quality;
    std::printf("%s: pictures of %d x %d pixels, %.2f %% usable in all sets\n", judged.name.c_str(), judged.size.width,
                judged.size.height, 100 * q.usable);
    for (std::size_t set = 0; set < q.sets.size(); ++set) {
        const measure::SineSet& sines = judged.axis->sines[set];
        std::printf("sines[%zu]: %zu frames, a period of %g projector pixels\n", set, sines.frames.size(),
                    sines.period);
        PrintSet(q.sets[set], q.ripples[set], sines.frames.size());
    }
    if (judged.axis->gray)
        std::printf("gray: %zu bits, hard to read in %.2f %% of the usable pixels\n", judged.axis->gray->frames.size(),
                    100 * q.doubtfulBits);
    const auto passed = std::count_if(q.checks.begin(), q.checks.end(), [](const auto& c) { return c.passed; });
    std::printf("%s together: %td of %zu checks passed\n", judged.name.c_str(), passed, q.checks.size());
    for (const std::string& finding : q.findings) std::printf("- %s\n", finding.c_str());
    if (!q.misfit.empty()) std::printf("- %s\n", q.misfit.c_str());
}

}  // namespace

int JudgeScan(const ScanQualityOptions& options) {
    const measure::Scan scan = ReadScan(options.scan, options.frames);
    measure::DecodeOptions how;
    how.limits = options.limits.Of(scan.fullScale);
    Progress line("vorip quality");
    std::vector<Judged> directions;
    for (const auto& [name, axis] : {std::pair("columns", &scan.columns), std::pair("rows", &scan.rows)}) {
        if (!*axis) continue;
        line.Stage(std::string("reading ") + name);
        const measure::AxisPictures pictures = measure::ReadPictures(**axis, line.Watch());
        const std::string hint = scan.fullScale > 0 ? "" : measure::HintOfCameraBits(pictures.sines);
        if (!hint.empty()) Warn(name + (": " + hint));
        line.Stage(std::string("judging ") + name);
        try {
            directions.push_back(
                {name, &**axis, measure::AssessAxis(**axis, pictures, how, line.Watch()), pictures.sines[0][0].size()});
        } catch (const measure::InputError& error) {
            throw measure::InputError(options.scan + ": " + name + ": " + error.what());
        }
    }
    line.End();
    auto verdict = measure::FringeVerdict::eGood;
    bool fits = true;
    for (const Judged& judged : directions) {
        verdict = std::max(verdict, judged.quality.verdict);
        fits = fits && judged.quality.misfit.empty();
    }
    if (!fits) verdict = std::max(verdict, measure::FringeVerdict::eNotTogether);
    const VerdictReport report = InWords(verdict);
    if (options.json) {
        std::vector<SummaryEntry> entries{{"verdict", JsonText(report.words)}};
        for (const Judged& judged : directions) entries.emplace_back(judged.name, ToJson(judged));
        std::fputs(SummaryOf("quality", entries).c_str(), stdout);
    } else {
        for (const Judged& judged : directions) Print(judged);
        std::printf("quality: %s\n", report.words);
    }
    return report.exitCode;
}

}  // namespace vorip
