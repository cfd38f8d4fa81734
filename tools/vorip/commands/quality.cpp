#include <cmath>
#include <cstdio>
#include <filesystem>

#include "measure/fringequality.h"
#include "measure/io.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/frameinputs.h"
#include "tools/vorip/commands/qualityreport.h"
#include "tools/vorip/commands/scanquality.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Whether fringe pictures are good enough to be measured, and what is wrong if not";
constexpr char kDetails[] =
    "With SCAN.json, the description of a scan as for vorip decode: judges every set of its fringes, how well the "
    "Gray\n"
    "code can be read, and whether all pictures fit to each other and to the description.\n"
    "\n"
    "With the frames of one set (three or more; a folder, or a pattern in quotes, as for vorip phase): judges\n"
    "saturation, modulation against noise, the ripple of fringes that are no sines, how well the frames fit together,\n"
    "and the share of usable pixels; says what helps. The limits of usable pixels are those of vorip phase and "
    "decode.\n"
    "\n"
    "With two pictures, INTENSITY and CONTRAST: counts the usable pixels of CONTRAST that reach a grey value. When\n"
    "they are too few, those of INTENSITY tell whether missing light is the reason. CONTRAST is a modulation picture\n"
    "as vorip phase writes it, INTENSITY a picture of the same scene; both are 8-bit, or 16-bit, of which the upper\n"
    "8 bits count.\n"
    "\n"
    "Exit codes: 0 the quality is ok, 3 low contrast, 4 low contrast because of low intensity, 2 wrong input, or\n"
    "pictures that do not belong together.\n"
    "\n"
    "Example:\n"
    "  vorip quality scan.json --frames part17\n"
    "  vorip quality 'capture/fringe*.png'\n"
    "  vorip quality f0.png result/modulation.png --mask result/mask.png";

struct Demand {
    int least;    // grey value
    int percent;  // of the pixels
};

struct QualityOptions {
    FrameOptions frames;
    std::string folder;  // of the pictures of a scan
    bool json = false;
    // Of the form with two pictures:
    std::string intensity, contrast;
    std::string mask;
    std::string step = "1,1";
    Demand contrastDemand{14, 90};
    Demand intensityDemand{10, 90};
    double minIntensity = 0;  // as given: a grey value of the demand, or a limit in percent
};

int GreyValue(const char* option, double value) {
    if (value > 255 || value != std::floor(value))
        Refuse(cv::format("%s=%g: of two pictures it is a grey value, 0 to 255", option, value));
    return static_cast<int>(value);
}

KrN::KrTPoint<short> Step(const std::string& text) {
    const auto step = ParsePoint(text);
    if (!step || step->first < 1 || step->second < 1)
        Refuse("--step=" + text + ": must be steps in columns and rows of 1 or more, as in --step=4,4");
    return {static_cast<short>(step->first), static_cast<short>(step->second)};
}

// Says how many of the pixels that the check has counted last reach what is demanded.
void Report(const char* what, const KrN::KrFringeQualityCheck& check, const Demand& demand) {
    double total = 0, reached = 0;
    for (std::uint32_t grey = 0; grey < check.GetNumSteps(); ++grey) {
        total += check[grey];
        if (grey >= static_cast<std::uint32_t>(demand.least)) reached += check[grey];
    }
    if (total == 0) Refuse("there is nothing to check: the mask excludes all pixels that --step comes to");
    std::printf("%s: %.1f %% of %.0f pixels reach the grey value %d, %d %% must\n", what, 100.0 * reached / total,
                total, demand.least, demand.percent);
}

int JudgePictures(const QualityOptions& options) {
    const auto step = Step(options.step);
    cv::Mat1b intensity = ReadGrey8(options.intensity);
    AnnounceMemory(intensity, 2);
    cv::Mat1b contrast = ReadGrey8(options.contrast);
    measure::RequireSameSize(intensity, options.intensity, contrast, options.contrast);
    cv::Mat1b excluded(contrast.size(), uchar{0});  // the check uses pixels whose mask value is below 64
    if (!options.mask.empty()) {
        const cv::Mat usable = ReadMask(options.mask);
        measure::RequireSameSize(contrast, options.contrast, usable, options.mask);
        excluded = ~usable;
    }
    auto intensityView = measure::ViewOf(intensity);
    auto contrastView = measure::ViewOf(contrast);
    auto maskView = measure::ViewOf(excluded);

    const auto byte = [](int value) { return static_cast<unsigned char>(value); };
    const Demand &c = options.contrastDemand, &i = options.intensityDemand;
    KrN::KrFringeQualityCheck check;
    check.Init(step, byte(c.least), byte(c.percent), byte(i.least), byte(i.percent));
    const KrN::QualityCheckResult result = check.Execute(&intensityView, &contrastView, &maskView);
    if (result == KrN::QualityOk) {
        Report("contrast", check, c);
        std::printf("quality: ok\n");
        return 0;
    }
    check.CheckContrast(&contrastView, &maskView);
    Report("contrast", check, c);
    check.CheckIntensity(&intensityView, &maskView);
    Report("intensity", check, i);
    const bool dark = result == KrN::QualityLowIntensity;
    std::printf("quality: low contrast%s\n", dark ? " because of low intensity" : ", although the intensity suffices");
    return dark ? kExitLowIntensity : kExitLowContrast;
}

int JudgeFrames(const QualityOptions& options) {
    const FrameInput input = ReadFrames(options.frames);
    const measure::FringePhase phase = measure::SolveFringes(input.set, input.limits);
    const measure::Ripple ripple = measure::EstimateRipple(phase);
    const measure::FringeQuality quality = measure::AssessFringes(input.set, phase, ripple, input.names);
    if (options.json) {
        std::vector<SummaryEntry> entries = SetEntries(quality, ripple, input.names.size());
        entries.emplace_back("frames", JsonList(input.names));
        std::fputs(SummaryOf("quality", entries).c_str(), stdout);
    } else {
        const cv::Mat& frame = input.set.frames.front();
        std::printf("%zu frames of %d x %d pixels\n", input.names.size(), frame.cols, frame.rows);
        PrintSet(quality, ripple, input.names.size());
        std::printf("quality: %s\n", InWords(quality.verdict).words);
    }
    return InWords(quality.verdict).exitCode;
}

// Two words that name files are the older form.
int RunQuality(QualityOptions& options, const Command& command) {
    const std::vector<std::string>& words = options.frames.frames;
    const bool scan = IsScan(words);
    if (scan) RefuseFrameOptions(command);
    const bool hasLimit = command.IsGiven("--min-intensity");
    if (hasLimit) options.frames.limits.minIntensity = options.minIntensity;
    const auto isFile = [](const std::string& word) {
        return word.find_first_of("*?[") == std::string::npos && !std::filesystem::is_directory(word);
    };
    const bool two = words.size() == 2 && isFile(words[0]) && isFile(words[1]);
    if (!two)
        command.RefuseGiven({"--mask", "--min-contrast", "--contrast-percent", "--intensity-percent", "--step"},
                            "is for two pictures, not for the frames of a set or a scan");
    if (scan) return JudgeScan({words[0], options.folder, options.frames.limits, options.json});
    command.RefuseGiven({"--frames"}, "goes with the description of a scan, a .json file");
    if (!two) return JudgeFrames(options);
    command.RefuseGiven({"--json", "--saturation", "--min-modulation", "--shift", "--full-scale"},
                        "is for the frames of a set or a scan, not for two pictures");
    options.intensity = words[0];
    options.contrast = words[1];
    if (hasLimit) options.intensityDemand.least = GreyValue("--min-intensity", options.minIntensity);
    return JudgePictures(options);
}

}  // namespace

void AddQualityCommand(CommandLine& program) {
    const auto options = std::make_shared<QualityOptions>();
    Command& command = program.Add("quality", kAbout, kDetails);
    command
        .Add("PICTURE", options->frames.frames,
             "A scan's description, the frames of a set, or a picture of the scene and its modulation")
        .Required();
    command.Add("--frames", options->folder, "Scan: folder of the pictures [that of the description]").Type("DIR");
    AddFrameOptions(command, options->frames);
    AddFringeLimitOptions(command, options->frames.limits);
    command.AddFlag("--json", options->json, "Scan and frames: prints the figures as JSON");
    command.Add("--mask", options->mask, "Two pictures: 8-bit mask, 128 and above is usable [everything]").Type("FILE");
    const auto percent = [&](const std::string& name, Demand& value) {
        command.Add("--" + name + "-percent", value.percent, "Two pictures: share of the pixels that must reach it")
            .Between(0, 100)
            .ShowDefault()
            .Type("PERCENT");
    };
    command
        .Add("--min-contrast", options->contrastDemand.least,
             "Two pictures: grey value that pixels must reach in contrast")
        .Between(0, 255)
        .ShowDefault()
        .Type("0..255");
    percent("contrast", options->contrastDemand);
    command
        .Add("--min-intensity", options->minIntensity,
             "Scan and frames: least mean intensity A in percent of full scale [1.5]; two pictures: grey value that "
             "pixels must reach in intensity [10]")
        .Accept([](double v) { return v >= 0; }, "0 or more")
        .Type("LIMIT");
    percent("intensity", options->intensityDemand);
    command.Add("--step", options->step, "Two pictures: looks at every X-th column and Y-th row only")
        .ShowDefault()
        .Type("X,Y");
    command.OnRun([options, &command] {
        const int exitCode = RunQuality(*options, command);
        if (exitCode != 0) throw Verdict{exitCode};
    });
}

}  // namespace vorip
