#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>

#include "measure/io.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/demo/codedscans.h"
#include "tools/vorip/demo/measured.h"
#include "tools/vorip/demo/scene.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Renders fringe pictures, runs the other commands on them, and checks the result";
constexpr char kDetails[] =
    "Renders fringe pictures of a scene with a step, a dome, an inclined plane, a hole, shadow, camera noise and a\n"
    "saturated glint, runs 'vorip phase' and 'vorip unwrap' on those files, and checks the result against what was\n"
    "rendered: at least 99.9 % of the valid pixels have the right fringe order, up to one constant per component, the "
    "rms\n"
    "error is at most 0.06 rad, and at least 90 % of the lit pixels are valid. Otherwise it fails with exit code 1.\n"
    "\n"
    "Then renders two objects before a wall, coded by three sets of fringes and by a Gray code, runs 'vorip decode' "
    "on\n"
    "them, and checks that at least 99.9 % of the valid pixels have the right order, across the gaps too, with no\n"
    "constant taken off, and that at least 99 % of those that can be measured are valid.\n"
    "\n"
    "Last it calibrates camera and projector by poses of a rendered board, runs 'vorip measure' on a scan, and checks\n"
    "the depths: rms error at most 0.3 mm.\n"
    "\n"
    "Writes fringe0.png, fringe1.png, ... and everything that the first two commands write, and the folders periods,\n"
    "code and measured with the scans and their results.\n"
    "\n"
    "Example:\n"
    "  vorip demo --out demo";

constexpr int kFrames = 4;
constexpr double kLeastRightOrders = 0.999;
constexpr double kMostRms = 0.06;
constexpr double kLeastValid = 0.90;

struct Figures {
    double rightOrders = 0;  // share of the valid pixels
    double rms = 0;          // radians, over the lit valid pixels
    double litValid = 0;     // share of the lit pixels
};

struct Delivered {
    cv::Mat radians, valid, components;
};

Delivered ReadDelivered(const std::filesystem::path& folder) {
    return {measure::ReadPicture((folder / "unwrapped.npy").string()),
            measure::ReadPicture((folder / "unwrapped_mask.png").string()),
            measure::ReadPicture((folder / "components.png").string())};
}

// Whole periods between the delivered and the true phase, most frequent first come: one constant per component.
std::map<int, int> FindConstants(const Delivered& delivered, const Scene& scene) {
    std::map<int, std::map<int, int>> counts;
    for (int y = 0; y < scene.phase.rows; ++y) {
        for (int x = 0; x < scene.phase.cols; ++x) {
            if (!delivered.valid.at<std::uint8_t>(y, x)) continue;
            const double difference =
                static_cast<double>(delivered.radians.at<float>(y, x)) - scene.phase.at<double>(y, x);
            ++counts[delivered.components.at<std::uint16_t>(y, x)]
                    [static_cast<int>(std::lround(difference / (2 * CV_PI)))];
        }
    }
    std::map<int, int> constants;
    for (const auto& [component, votes] : counts) {
        const auto most = std::max_element(votes.begin(), votes.end(),
                                           [](const auto& a, const auto& b) { return a.second < b.second; });
        constants[component] = most->first;
    }
    return constants;
}

Figures Check(const Delivered& delivered, const Scene& scene) {
    std::map<int, int> constants = FindConstants(delivered, scene);
    double valid = 0, right = 0, lit = 0, litValid = 0, squares = 0;
    for (int y = 0; y < scene.phase.rows; ++y) {
        for (int x = 0; x < scene.phase.cols; ++x) {
            const bool isValid = delivered.valid.at<std::uint8_t>(y, x) != 0;
            if (scene.lit.at<std::uint8_t>(y, x)) {
                lit += 1;
                litValid += isValid;
            }
            if (!isValid) continue;
            const int constant = constants[delivered.components.at<std::uint16_t>(y, x)];
            const double error = static_cast<double>(delivered.radians.at<float>(y, x)) - scene.phase.at<double>(y, x) -
                                 2 * CV_PI * constant;
            valid += 1;
            right += std::abs(error) < CV_PI;
            if (!scene.lit.at<std::uint8_t>(y, x)) continue;  // what is hardly lit may be noisy
            squares += error * error;
        }
    }
    if (valid == 0 || lit == 0) return {0, 1e9, 0};
    return {right / valid, std::sqrt(squares / std::max(litValid, 1.0)), litValid / lit};
}

bool Report(const char* what, double value, const char* unit, double limit, bool atLeast) {
    const bool passed = atLeast ? value >= limit : value <= limit;
    std::printf("  %-38s %8.3f %-4s (%s %g)%s\n", what, value, unit, atLeast ? "at least" : "at most", limit,
                passed ? "" : "  MISSED");
    return passed;
}

bool Report(const Figures& figures) {
    std::printf("check against the rendered scene:\n");
    bool passed =
        Report("valid pixels with the right order", 100 * figures.rightOrders, "%", 100 * kLeastRightOrders, true);
    passed &= Report("rms error of the lit valid pixels", figures.rms, "rad", kMostRms, false);
    passed &= Report("lit pixels called valid", 100 * figures.litValid, "%", 100 * kLeastValid, true);
    return passed;
}

void ListPictures(const std::filesystem::path& folder) {
    constexpr std::pair<const char*, const char*> kPictures[] = {
        {"fringe0.png", "the first of four fringe pictures"},
        {"phase.png", "the wrapped phase"},
        {"modulation.png", "how strong the fringes are"},
        {"mask.png", "what is good enough"},
        {"unwrapped_picture.png", "the unwrapped phase, and its surface"},
        {"components_picture.png", "parts between which whole periods are unknown"},
        {"periods/result/columns_picture.png", "absolute phase by three sets of fringes"},
        {"periods/result/columns_reliability.png", "how certain it is, 255 certain"},
        {"code/result/columns_picture.png", "absolute phase by a Gray code"},
        {"code/result/columns_reliability.png", "how certain it is"},
        {"measured/result/surface_picture.png", "the surface in millimetres"},
        {"measured/result/z_picture.png", "the distance from the camera"},
    };
    std::printf("pictures to look at, in %s:\n", folder.string().c_str());
    for (const auto& [name, what] : kPictures) std::printf("  %-40s %s\n", name, what);
}

void RunDemo(const std::string& out) {
    OutputSet outputs(out);
    const std::filesystem::path folder = outputs.StagingFolder();
    PhaseOptions phase;
    Scene scene;
    {
        Progress progress("vorip demo");
        progress.Stage("rendering");
        scene = RenderScene(kFrames);
    }
    for (int k = 0; k < kFrames; ++k) {
        const std::string name = cv::format("fringe%d.png", k);
        outputs.AddImage(name, scene.frames[static_cast<std::size_t>(k)]);
        phase.frames.frames.push_back((folder / name).string());
    }
    outputs.Finish();
    phase.out = folder.string();
    RunPhase(phase);

    UnwrapOptions unwrap;
    unwrap.phase = folder.string();
    unwrap.out = folder.string();
    RunUnwrap(unwrap);

    bool passed = Report(Check(ReadDelivered(folder), scene));
    outputs.Commit();
    passed &= RunCodedScans(out);
    passed &= RunMeasured(out);
    ListPictures(out);
    if (!passed) throw measure::Error("the result of the demo misses its limits");
}

}  // namespace

void AddDemoCommand(CommandLine& program) {
    const auto out = std::make_shared<std::string>();
    Command& command = program.Add("demo", kAbout, kDetails);
    command.Add("--out", *out, "Folder for the pictures and results").Required().Type("DIR");
    command.OnRun([out] { RunDemo(*out); });
}

}  // namespace vorip
