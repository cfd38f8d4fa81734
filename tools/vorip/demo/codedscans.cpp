#include "tools/vorip/demo/codedscans.h"

#include <cmath>
#include <cstdio>
#include <opencv2/core.hpp>
#include <string>

#include "measure/io.h"
#include "measure/simulatescan.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/session/outputset.h"

namespace vorip {
namespace {

namespace simulate = measure::simulate;

constexpr double kLeastRight = 0.999, kLeastValid = 0.99;
constexpr double kLength = 1920;

struct CodedScan {
    const char* folder;
    const char* description;
    const char* json;
    measure::CodedAxis axis;  // what the JSON says
};

std::vector<CodedScan> MakeScans() {
    CodedScan periods{"periods",
                      "three sets of 1, 7 and 49 periods",
                      R"({
  "columns": {
    "length": 1920,
    "origin": 0,
    "sines": [
      {"periods": 1, "frames": "a*.png"},
      {"periods": 7, "frames": "b*.png"},
      {"periods": 49, "frames": "c*.png"}
    ]
  }
}
)",
                      {}};
    periods.axis.length = kLength;
    periods.axis.origin = 0;
    for (const double count : {1.0, 7.0, 49.0})
        periods.axis.sines.push_back({kLength / count, measure::EqualShifts(4), {}});

    CodedScan code{"code",
                   "one set of 24 columns and a Gray code of 8 bits",
                   R"({
  "columns": {
    "length": 1920,
    "origin": 0,
    "sines": [{"period": 24, "frames": "a*.png"}],
    "gray": {"cell": 12, "frames": "code*.png", "inverse": "inverse*.png"}
  }
}
)",
                   {}};
    code.axis.length = kLength;
    code.axis.origin = 0;
    code.axis.sines.push_back({24, measure::EqualShifts(4), {}});
    constexpr std::size_t kBits = 8;
    code.axis.gray = measure::GrayCode{12, 0, {}, {}};
    code.axis.gray->frames.resize(kBits);
    code.axis.gray->inverse.resize(kBits);
    return {periods, code};
}

void Write(OutputSet& outputs, const std::string& name, const std::vector<cv::Mat>& pictures) {
    for (std::size_t i = 0; i < pictures.size(); ++i) outputs.AddImage(name + std::to_string(i) + ".png", pictures[i]);
}

// What stands in the files.
measure::AbsolutePhase ReadResult(const std::filesystem::path& folder, double period) {
    measure::AbsolutePhase result;
    result.coordinate = measure::ReadPicture((folder / "columns_coordinate.npy").string());
    result.mask = measure::ReadPicture((folder / "columns_mask.png").string());
    result.period = period;
    return result;
}

bool Report(const char* what, double share, double least) {
    std::printf("  %-38s %8.3f %%    (at least %g)%s\n", what, 100 * share, 100 * least,
                share < least ? "  MISSED" : "");
    return share >= least;
}

bool RunScan(const CodedScan& scan, const simulate::Simulation& scene, const std::filesystem::path& folder) {
    simulate::Capture capture;
    capture.noise = 1.5;
    capture.gamma = 1.4;
    const measure::AxisPictures pictures = RenderAxis(scene, simulate::Axis::eColumns, scan.axis, capture);
    OutputSet outputs(folder);
    const char* const names[] = {"a", "b", "c"};
    for (std::size_t i = 0; i < pictures.sines.size(); ++i) Write(outputs, names[i], pictures.sines[i]);
    Write(outputs, "code", pictures.gray);
    Write(outputs, "inverse", pictures.inverse);
    outputs.AddText("scan.json", scan.json);
    outputs.Commit();

    DecodeOptions options;
    options.scan = (folder / "scan.json").string();
    options.out = (folder / "result").string();
    std::printf("two objects before a wall, %s:\n", scan.description);
    RunDecode(options);
    const measure::AbsolutePhase result = ReadResult(folder / "result", scan.axis.sines.back().period);
    const simulate::Judgement judgement = Judge(result, scene, simulate::Axis::eColumns, scan.axis, capture, pictures);
    bool passed = Report("right order, objects and wall alike", judgement.right, kLeastRight);
    passed &= Report("lit pixels called valid", judgement.valid, kLeastValid);
    return passed;
}

}  // namespace

bool RunCodedScans(const std::filesystem::path& folder) {
    const simulate::Simulation scene(simulate::MakeScene("two-objects"), 2);
    bool passed = true;
    for (const CodedScan& scan : MakeScans()) passed &= RunScan(scan, scene, folder / scan.folder);
    return passed;
}

}  // namespace vorip
