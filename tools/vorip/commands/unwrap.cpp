#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>

#include "measure/io.h"
#include "measure/unwrap.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/commands/unwrapresult.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/resultfolder.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "The continuous phase of a wrapped phase picture";
constexpr char kDetails[] =
    "PHASE is the folder of vorip phase, or of vorip measure of one set of fringes, whose phase, mask, contrast and\n"
    "modulation are then used, or a picture: 256 steps per period when it is 8-bit, 65,536 when 16-bit; a float phase "
    "is\n"
    "in radians, NaN is excluded.\n"
    "\n"
    "The method 'reliability' joins neighbouring pixels, those first where the phase runs straight and, if there is a\n"
    "contrast picture, the contrast of the fringes does not change: a change often is the edge of an object. The "
    "method\n"
    "'regions' grows areas along pixels of high quality and joins them where their borders agree best; its quality is\n"
    "found from the phase, which is better than the modulation, unless --quality gives one. Between components that "
    "do\n"
    "not touch, whole periods remain unknown.\n"
    "\n"
    "Writes unwrapped16.png (256 steps per period above the minimum, at most 65,535), unwrapped.tiff and "
    "unwrapped.npy\n"
    "(float radians, NaN where invalid), unwrapped_mask.png (255 valid), components.png (16-bit numbers, 1 is the\n"
    "largest component), unwrapped_picture.png (colours, invalid pixels hatched in grey, jumps magenta) and\n"
    "summary.json. A jump is a pair of neighbours more than half a period apart: wrong orders, or a step of the "
    "surface.\n"
    "\n"
    "Exit codes: 0 done, 5 nothing is usable (the files are written all the same).\n"
    "\n"
    "Example:\n"
    "  vorip unwrap result --out result\n"
    "  vorip unwrap result/phase16.png --mask result/mask.png --method regions --out result";

constexpr char kRegions[] = "regions";
constexpr char kReliability[] = "reliability";

struct Inputs {
    cv::Mat1f phase;
    cv::Mat1b usable;
    cv::Mat1f contrast, modulation;  // of the method by reliability; may be empty
    cv::Mat1b quality;               // of the method by regions
    bool looksWrapped = true;        // as the file has it, before float phases are wrapped
};

constexpr char kPhaseSummary[] = "phase.json", kSummary[] = "summary.json";

// Puts the files of the folder of vorip phase, or of vorip measure of one set, if it is one, where no others are given.
std::optional<ResultFolder> ResolveFolder(UnwrapOptions& options) {
    if (!std::filesystem::is_directory(options.phase)) return std::nullopt;
    const std::filesystem::path path = options.phase;
    const bool isMeasured = !std::filesystem::exists(path / kPhaseSummary) && std::filesystem::exists(path / kSummary);
    ResultFolder folder(path, isMeasured ? kSummary : kPhaseSummary, isMeasured ? "vorip measure" : "vorip phase");
    options.phase = folder.File("phase16.png");
    if (options.phase.empty())
        Refuse(path.string() + ": holds no phase16.png of vorip phase, or of vorip measure of one set of fringes");
    if (options.mask.empty()) options.mask = folder.File("mask.png");
    if (options.method == kReliability) {
        if (options.contrast.empty()) options.contrast = folder.File("contrast.png");
        if (options.modulation.empty()) options.modulation = folder.File("modulation.png");
    }
    return folder;
}

// The files are read at the same time.
Inputs ReadInputs(const UnwrapOptions& options) {
    const auto start = [](const auto& read, const std::string& file) {
        return file.empty() ? std::future<cv::Mat>()
                            : std::async(std::launch::async, [&read, file] { return cv::Mat(read(file)); });
    };
    std::future<cv::Mat> mask = start(ReadMask, options.mask), contrast = start(ReadContrast, options.contrast),
                         modulation = start(ReadContrast, options.modulation),
                         quality = start(ReadQuality, options.quality);
    Inputs inputs;
    const PhaseFile phase = ReadPhase(options.phase);
    inputs.phase = phase.radians;
    const auto take = [&](std::future<cv::Mat>& reading, const std::string& file) {
        if (!reading.valid()) return cv::Mat();
        cv::Mat image = reading.get();
        measure::RequireSameSize(inputs.phase, options.phase, image, file);
        return image;
    };
    inputs.usable = take(mask, options.mask);
    if (inputs.usable.empty()) inputs.usable = cv::Mat1b(inputs.phase.size(), 255);
    inputs.looksWrapped = measure::LooksWrapped(inputs.phase, inputs.usable);
    if (phase.isFloat) inputs.phase = WrapRadians(inputs.phase);
    inputs.contrast = take(contrast, options.contrast);
    inputs.modulation = take(modulation, options.modulation);
    inputs.quality = take(quality, options.quality);
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

std::vector<SummaryEntry> Entries(const UnwrapOptions& options, const std::string& phaseSummary) {
    std::vector<SummaryEntry> entries{{"method", JsonText(options.method)}};
    const auto add = [&](const char* key, const std::string& file) {
        if (!file.empty()) entries.emplace_back(key, JsonText(std::filesystem::path(file).filename().string()));
    };
    add("phase", options.phase);
    add("mask", options.mask);
    add("contrast", options.contrast);
    add("modulation", options.modulation);
    add("quality", options.quality);
    add("summary_of_phase", phaseSummary);
    entries.emplace_back("min_pixels", std::to_string(options.minPixels));
    if (options.method == kRegions) {
        entries.emplace_back("min_quality", std::to_string(options.minQuality));
        entries.emplace_back("order_mode", std::to_string(options.orderMode));
    }
    if (const auto zero = ParsePoint(options.zero))
        entries.emplace_back("zero", cv::format("[%d, %d]", zero->first, zero->second));
    return entries;
}

measure::Unwrapped Unwrap(const Inputs& in, const UnwrapOptions& options, const measure::Progress& progress) {
    if (options.method == kReliability) {
        const cv::Mat1f cost = measure::UnwrapCost(in.phase, in.usable, in.contrast, in.modulation);
        return measure::UnwrapByCost(in.phase, in.usable, cost, options.minPixels, progress);
    }
    measure::RegionOptions regions;
    regions.minPixels = options.minPixels;
    regions.minQuality = options.minQuality;
    regions.orderMode = options.orderMode;
    const cv::Mat1b quality = in.quality.empty() ? measure::QualityFromPhase(in.phase, in.usable) : in.quality;
    return measure::UnwrapByRegions(in.phase, in.usable, quality, regions, progress);
}

// Options that only one method has choose it. One that the chosen method does not have would silently do nothing.
std::string ChooseMethod(const Command& command, const std::string& given) {
    const std::vector<std::string> ofRegions{"--quality", "--min-quality", "--order-mode"};
    const std::vector<std::string> ofReliability{"--contrast", "--modulation"};
    std::string method = given;
    for (const auto& [names, owner] : {std::pair{ofRegions, kRegions}, std::pair{ofReliability, kReliability}}) {
        for (const std::string& name : names) {
            if (!command.IsGiven(name)) continue;
            if (method.empty()) method = owner;
            if (method != owner) Refuse(name + " is an option of --method " + owner + ", not of " + method);
        }
    }
    return method.empty() ? kReliability : method;
}

}  // namespace

int RunUnwrap(const UnwrapOptions& given) {
    UnwrapOptions options = given;
    if (options.method.empty()) options.method = kReliability;
    MemoryLimit::SetVariant("unwrap " + options.method);
    const std::optional<ResultFolder> folder = ResolveFolder(options);
    OutputSet outputs(options.out);
    Progress line("vorip unwrap");
    line.Stage("reading");
    const Inputs inputs = ReadInputs(options);
    if (folder) folder->CheckAgain();
    AnnounceMemory(inputs.phase);
    const auto zero = ZeroPoint(options, inputs.phase);
    const auto start = std::chrono::steady_clock::now();
    measure::Unwrapped unwrapped = Unwrap(inputs, options, line.Watch());
    SetZero(unwrapped, zero);
    const measure::Jumps jumps = measure::FindJumps(unwrapped.phase);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    line.Stage("writing");
    const UnwrapReport report = AddUnwrapResult(outputs, unwrapped, jumps, time.count());
    std::vector<SummaryEntry> entries = Entries(options, folder ? kPhaseSummary : "");
    entries.insert(entries.end(), report.entries.begin(), report.entries.end());
    outputs.AddText("summary.json", SummaryOf("unwrap", entries));
    outputs.Commit();
    line.End();
    std::printf("%s\n", report.text.c_str());
    if (!inputs.looksWrapped && !unwrapped.pixels.empty())
        Warn(options.phase +
             ": hardly a wrapped phase: steps of a period are missing, or its values do not fill the period (a fringe "
             "picture, or unwrapped?)");
    if (jumps.count > 0) Warn(JumpWarning(jumps, unwrapped));
    return unwrapped.pixels.empty() ? kExitNothingUsable : kExitDone;
}

void AddUnwrapCommand(CommandLine& program) {
    const auto options = std::make_shared<UnwrapOptions>();
    Command& command = program.Add("unwrap", kAbout, kDetails);
    command
        .Add("PHASE", options->phase,
             "Wrapped phase, or the folder of vorip phase, or of vorip measure of one set of fringes")
        .Required();
    command.Add("--out", options->out, "Folder for the results").Required().Type("DIR");
    command.Add("--method", options->method, "How to unwrap [reliability]").OneOf({kReliability, kRegions});
    command.Add("--mask", options->mask, "8-bit mask, 128 and above is usable [everything]").Type("FILE");
    command
        .Add("--contrast", options->contrast,
             "Reliability: fringe contrast, 255 x B / A; its changes are expensive to cross [not considered]")
        .Type("FILE");
    command
        .Add("--modulation", options->modulation,
             "Reliability: modulation of the fringes, in any unit; it tells where the phase bends by noise [not "
             "considered]")
        .Type("FILE");
    command
        .Add("--quality", options->quality,
             "Regions: quality, higher is better: 8-bit, 16-bit (the upper 8 bits count) or float (scaled to the "
             "largest) [found from the phase: 255 where it runs straight, less where it bends]")
        .Type("FILE");
    command.Add("--min-pixels,--min-area,--min-group", options->minPixels, "Components of fewer pixels are dropped")
        .Between(0, 1e9, "a number of pixels")
        .ShowDefault()
        .Type("PIXELS");
    command.Add("--min-quality", options->minQuality, "Regions: pixels of lower quality stay invalid")
        .Between(0, 254)
        .ShowDefault()
        .Type("0..254");
    command
        .Add("--order-mode", options->orderMode,
             "Regions: how far growth may climb to better pixels than it came from: 1 without limit ... 8 not at all")
        .Between(1, 8)
        .ShowDefault()
        .Type("1..8");
    command.Add("--zero", options->zero, "Pixel whose unwrapped phase becomes 0").Type("X,Y");
    command.OnRun([options, &command] {
        options->method = ChooseMethod(command, options->method);
        const int exitCode = RunUnwrap(*options);
        std::printf("written to %s\n", options->out.c_str());
        if (exitCode != kExitDone) throw Verdict{exitCode};
    });
}

}  // namespace vorip
