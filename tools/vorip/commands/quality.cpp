#include <cstdio>

#include "measure/io.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Whether fringe pictures are usable: enough contrast, or else enough light";
constexpr char kDetails[] =
    "Counts the usable pixels of CONTRAST that reach a grey value. When they are too few, those of INTENSITY tell\n"
    "whether missing light is the reason. CONTRAST is a modulation picture as vorip phase writes it, INTENSITY a\n"
    "picture of the same scene; both are 8-bit, or 16-bit, of which the upper 8 bits count.\n"
    "\n"
    "Exit codes: 0 the quality is ok, 3 low contrast, 4 low contrast because of low intensity, 2 wrong input.\n"
    "\n"
    "Example:\n"
    "  vorip quality f0.png result/modulation.png --mask result/mask.png";

struct Demand {
    int least;    // grey value
    int percent;  // of the pixels
};

struct QualityOptions {
    std::string intensity;
    std::string contrast;
    std::string mask;
    std::string step = "1,1";
    Demand contrastDemand{14, 90};
    Demand intensityDemand{10, 90};
};

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

int RunQuality(const QualityOptions& options) {
    const auto step = Step(options.step);
    cv::Mat intensity = ReadGrey8(options.intensity), contrast = ReadGrey8(options.contrast);
    measure::RequireSameSize(intensity, options.intensity, contrast, options.contrast);
    cv::Mat excluded(contrast.size(), CV_8U, 0.0);  // the check uses pixels whose mask value is below 64
    if (!options.mask.empty()) {
        const cv::Mat usable = ReadMask(options.mask);
        measure::RequireSameSize(contrast, options.contrast, usable, options.mask);
        excluded = ~usable;
    }
    auto intensityView = measure::View<KrN::KrAOI8>(intensity, L"intensity");
    auto contrastView = measure::View<KrN::KrAOI8>(contrast, L"contrast");
    auto maskView = measure::View<KrN::KrAOI8>(excluded, L"mask");

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

}  // namespace

void AddQualityCommand(CommandLine& program) {
    const auto options = std::make_shared<QualityOptions>();
    Command& command = program.Add("quality", kAbout, kDetails);
    command.Add("INTENSITY", options->intensity, "Picture of the scene").Required();
    command.Add("CONTRAST", options->contrast, "Its modulation").Required();
    command.Add("--mask", options->mask, "8-bit mask, 128 and above is usable [everything]").Type("FILE");
    const auto demand = [&](const std::string& name, Demand& value) {
        command.Add("--min-" + name, value.least, "Grey value that pixels must reach in " + name)
            .Between(0, 255)
            .ShowDefault()
            .Type("0..255");
        command.Add("--" + name + "-percent", value.percent, "Share of the pixels that must reach it")
            .Between(0, 100)
            .ShowDefault()
            .Type("PERCENT");
    };
    demand("contrast", options->contrastDemand);
    demand("intensity", options->intensityDemand);
    command.Add("--step", options->step, "Looks at every X-th column and Y-th row only").ShowDefault().Type("X,Y");
    command.OnRun([options] {
        const int exitCode = RunQuality(*options);
        if (exitCode != 0) throw Verdict{exitCode};
    });
}

}  // namespace vorip
