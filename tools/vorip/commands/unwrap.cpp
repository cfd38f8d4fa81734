#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "measure/io.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/phasequality.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/commands/unwrapregions.h"
#include "tools/vorip/commands/unwrapreliability.h"
#include "tools/vorip/commands/unwrapresult.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/interrupt.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "The continuous phase of a wrapped phase picture";
constexpr char kDetails[] =
    "The method 'regions' grows areas along pixels of high quality, joins them where their borders agree best, and\n"
    "gives every joined component consistent fringe orders. The method 'reliability' joins neighbouring pixels, those\n"
    "where the phase bends least first; it needs no quality. Between components that do not touch, whole periods\n"
    "remain unknown.\n"
    "\n"
    "PHASE has 256 steps per period when it is 8-bit, 65,536 when 16-bit; a float phase is in radians, NaN is "
    "excluded.\n"
    "The fringe orders are found on 8-bit phase; unwrapped.tiff and unwrapped.npy keep the resolution of PHASE.\n"
    "\n"
    "Writes unwrapped16.png (256 steps per period above the minimum, at most 65,535), unwrapped.tiff and\n"
    "unwrapped.npy (float radians, NaN where invalid), unwrapped_mask.png (255 valid), components.png (16-bit numbers, "
    "1 is the largest component),\n"
    "unwrapped_picture.png (colours, invalid pixels hatched in grey) and summary.json.\n"
    "\n"
    "Example:\n"
    "  vorip unwrap result/phase16.png --quality result/modulation.png --mask result/mask.png --out result\n"
    "  vorip unwrap result/phase16.png --method reliability --mask result/mask.png --out result";

constexpr char kRegions[] = "regions";
constexpr char kReliability[] = "reliability";

struct Inputs {
    PhaseImage phase;
    cv::Mat quality;  // of the method by regions
};

Inputs ReadInputs(const UnwrapOptions& options) {
    Inputs inputs;
    inputs.phase = ReadPhase(options.phase);
    if (!options.mask.empty()) {
        const cv::Mat mask = ReadMask(options.mask);
        measure::RequireSameSize(inputs.phase.steps, options.phase, mask, options.mask);
        inputs.phase.usable &= mask;
    }
    if (options.method == UnwrapMethod::kReliability) return inputs;
    if (options.quality.empty()) {
        inputs.quality = QualityFromPhase(inputs.phase.steps, inputs.phase.usable);
    } else {
        inputs.quality = ReadQuality(options.quality);
        measure::RequireSameSize(inputs.phase.steps, options.phase, inputs.quality, options.quality);
    }
    return inputs;
}

// The zero point as the image allows it, or nothing when there is no --zero.
std::optional<Pair<int>> ZeroPoint(const UnwrapOptions& options, const cv::Mat& image) {
    if (options.zero.empty()) return std::nullopt;
    const auto zero = ParsePoint(options.zero);
    if (!zero) Refuse("--zero=" + options.zero + ": must be a column and a row, as in --zero=120,80");
    if (zero->first < 0 || zero->second < 0 || zero->first >= image.cols || zero->second >= image.rows) {
        Refuse(cv::format("--zero=%s lies outside the picture of %d x %d pixels", options.zero.c_str(), image.cols,
                          image.rows));
    }
    return zero;
}

std::string FileName(const std::string& file) { return JsonText(std::filesystem::path(file).filename().string()); }

std::vector<SummaryEntry> Entries(const UnwrapOptions& options) {
    const bool regions = options.method == UnwrapMethod::kRegions;
    std::vector<SummaryEntry> entries{{"method", JsonText(regions ? kRegions : kReliability)},
                                      {"phase", FileName(options.phase)}};
    if (!options.quality.empty()) entries.emplace_back("quality", FileName(options.quality));
    if (!options.mask.empty()) entries.emplace_back("mask", FileName(options.mask));
    if (regions) {
        entries.emplace_back("min_quality", std::to_string(options.minQuality));
        entries.emplace_back("min_area", std::to_string(options.minArea));
        entries.emplace_back("order_mode", std::to_string(options.orderMode));
    } else {
        entries.emplace_back("min_group", std::to_string(options.minGroup));
    }
    if (const auto zero = ParsePoint(options.zero)) {
        entries.emplace_back("zero", cv::format("[%d, %d]", zero->first, zero->second));
    }
    return entries;
}

UnwrapResult Unwrap(Inputs& inputs, const UnwrapOptions& options) {
    const auto zero = ZeroPoint(options, inputs.phase.steps);
    if (options.method == UnwrapMethod::kRegions) {
        return {UnwrapByRegions(inputs.phase, inputs.quality, options), inputs.phase.residual, zero};
    }
    Interrupt interrupt;
    const UnwrappedSteps unwrapped =
        UnwrapByReliability(inputs.phase, static_cast<std::uint32_t>(options.minGroup), interrupt.AbortFlag());
    interrupt.Check();
    return {unwrapped, inputs.phase.residual, zero};
}

// An option that the chosen method does not have would silently do nothing.
void RefuseForeignOptions(const Command& command, UnwrapMethod method) {
    const std::vector<std::string> ofRegions{"--quality", "--min-quality", "--min-area", "--order-mode"};
    const std::vector<std::string> ofReliability{"--min-group"};
    const bool regions = method == UnwrapMethod::kRegions;
    for (const std::string& name : regions ? ofReliability : ofRegions) {
        if (!command.IsGiven(name)) continue;
        Refuse(name + " is an option of --method " + (regions ? kReliability : kRegions) + ", not of " +
               (regions ? kRegions : kReliability));
    }
}

}  // namespace

void RunUnwrap(const UnwrapOptions& options) {
    OutputSet outputs(options.out);
    Progress progress("vorip unwrap");
    progress.Stage("reading");
    Inputs inputs = ReadInputs(options);
    progress.Stage("unwrapping");
    const auto start = std::chrono::steady_clock::now();
    const UnwrapResult result = Unwrap(inputs, options);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    progress.Stage("writing");
    const std::string report = WriteUnwrapResult(outputs, result, Entries(options), time.count());
    outputs.Commit();
    progress.End();
    std::printf("%s\n", report.c_str());
}

void AddUnwrapCommand(CommandLine& program) {
    const auto options = std::make_shared<UnwrapOptions>();
    const auto method = std::make_shared<std::string>(kRegions);
    Command& command = program.Add("unwrap", kAbout, kDetails);
    command.Add("PHASE", options->phase, "Wrapped phase").Required();
    command.Add("--out", options->out, "Folder for the results").Required().Type("DIR");
    command.Add("--method", *method, "How to unwrap: regions or reliability")
        .OneOf({kRegions, kReliability})
        .ShowDefault()
        .Type("METHOD");
    command
        .Add("--quality", options->quality,
             "Quality, higher is better: 8-bit, 16-bit (the upper 8 bits count) or float (scaled to the largest) "
             "[found from the phase: 255 where it runs straight, less where it bends]")
        .Type("FILE");
    command.Add("--mask", options->mask, "8-bit mask, 128 and above is usable [everything]").Type("FILE");
    command.Add("--min-quality", options->minQuality, "Pixels of lower quality stay invalid")
        .Between(0, 254)
        .ShowDefault()
        .Type("0..254");
    command.Add("--min-area", options->minArea, "Components with fewer pixels are dropped")
        .Between(0, 1e9, "a number of pixels")
        .ShowDefault()
        .Type("PIXELS");
    command
        .Add("--order-mode", options->orderMode,
             "How far growth may climb to better pixels than it came from: 1 without limit ... 8 not at all")
        .Between(1, 8)
        .ShowDefault()
        .Type("1..8");
    command.Add("--min-group", options->minGroup, "Reliability: groups with fewer pixels are dropped")
        .Between(0, 1e9, "a number of pixels")
        .ShowDefault()
        .Type("PIXELS");
    command.Add("--zero", options->zero, "Pixel whose unwrapped phase becomes 0").Type("X,Y");
    command.OnRun([options, method, &command] {
        options->method = *method == kReliability ? UnwrapMethod::kReliability : UnwrapMethod::kRegions;
        RefuseForeignOptions(command, options->method);
        RunUnwrap(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
