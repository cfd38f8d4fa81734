// vorip measure: from pictures to a surface, as far as what is given allows.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <optional>
#include <utility>

#include "measure/base/quantile.h"
#include "measure/surface.h"
#include "measure/unwrap.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/decoding.h"
#include "tools/vorip/commands/measuredsurface.h"
#include "tools/vorip/commands/phaseresult.h"
#include "tools/vorip/commands/pointsresult.h"
#include "tools/vorip/commands/unwrapresult.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "From pictures to a surface in one command";
constexpr char kDetails[] =
    "Does all that the input allows, checks it on the way, and says first whether the result can be trusted:\n"
    "  FRAME ...                 one set of shifted fringes: phase, unwrapped; whole periods between separate pieces\n"
    "                            stay unknown\n"
    "  SCAN.json                 a coded scan, described as 'vorip decode --example' shows: absolute phase, known in\n"
    "                            every pixel, across gaps and steps too\n"
    "  ... --calibration FILE    and millimetres, with the calibration of 'vorip calibrate'\n"
    "The largest piece of surface is levelled (its plane taken away), drawn and written as a height map.\n"
    "\n"
    "Writes surface.npy with surface.npy.json (periods, or millimetres on a grid of millimetres; then surface.gsf,\n"
    "too), surface_picture.png, what 'vorip phase' and 'vorip unwrap', or 'vorip decode' and 'vorip points' write, "
    "and\n"
    "summary.json.\n"
    "\n"
    "Exit codes: 0 done, good or doubtful, as the first word says; 5 nothing usable.\n"
    "\n"
    "Example:\n"
    "  vorip measure scan.json --calibration calibration.yml --out result\n"
    "  vorip measure scan.json --frames part17 --out result\n"
    "  vorip measure 'capture/fringe*.png' --out result";

constexpr double kLeastShare = 0.5;  // of what the fringes reach; less is doubtful
constexpr double kMostlyReached = 0.8;
constexpr double kNearlyAll = 0.95;  // of what was measured

class MeasureRun {
public:
    explicit MeasureRun(const MeasureOptions& options)
        : mOptions(options), mOutputs(options.out), mProgress("vorip measure") {}

    void Run() {
        const auto start = std::chrono::steady_clock::now();
        mOptions.scan.empty() ? MeasureFrames() : MeasureScan();
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        Finish(time.count());
    }

private:
    void MeasureFrames() {
        PhaseOptions options;
        options.frames = mOptions.frames;
        const PhaseResult solved = SolvePhase(options, mOutputs, mProgress);
        if (!solved.IsUsable()) throw measure::NothingUsable(kHardlyAnything);
        Add("phase", solved.entries, solved.report);
        std::vector<std::string>& words = solved.quality.verdict == measure::FringeVerdict::eGood ? mNotes : mDoubts;
        words.insert(words.end(), solved.quality.findings.begin(), solved.quality.findings.end());

        mProgress.Stage("unwrapping");
        const auto start = std::chrono::steady_clock::now();
        const measure::FringePhase& phase = solved.phase;
        const cv::Mat1f cost = measure::UnwrapCost(phase.phase, phase.usable, solved.contrast, phase.modulation);
        const measure::Unwrapped unwrapped =
            measure::UnwrapByCost(phase.phase, phase.usable, cost, UnwrapOptions().minPixels, mProgress.Watch());
        const measure::Jumps jumps = measure::FindJumps(unwrapped.phase);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
        if (unwrapped.pixels.empty()) throw measure::NothingUsable("all pieces of the phase are too small to unwrap");
        mProgress.Stage("writing");
        const UnwrapReport report = AddUnwrapResult(mOutputs, unwrapped, jumps, time.count());
        Add("unwrap", report.entries, report.text + "\n");
        if (jumps.count > 0) mDoubts.push_back(JumpWarning(jumps, unwrapped));
        mNotes.push_back(
            "steps of more than half a period from pixel to pixel do not show in one set of fringes: what lies behind "
            "them may be off by whole periods, which a coded scan knows (--scan)");
        if (unwrapped.pixels.size() > 1)
            mNotes.push_back(
                cv::format("%zu pieces do not touch: whole periods between them are unknown", unwrapped.pixels.size()));
        mSize = phase.phase.size();
        mValid = cv::countNonZero(unwrapped.components);
        mReached = CountReached(phase.modulation, solved.quality.noise, static_cast<int>(phase.shifts.size()));
        cv::Mat1b largest;
        cv::compare(unwrapped.components, 1, largest, cv::CMP_EQ);
        AddPeriods(unwrapped.phase, largest);
    }

    void MeasureScan() {
        DecodeOptions options;
        options.scan = mOptions.scan;
        options.frames = mOptions.framesFolder;
        options.limits = mOptions.frames.limits;
        const auto calibration =
            mOptions.calibration.empty() ? std::nullopt : std::optional(measure::ReadCalibration(mOptions.calibration));
        const DecodedScan scan = DecodeScan(options, mOutputs, mProgress);
        mEntries.insert(mEntries.end(), scan.entries.begin(), scan.entries.end());
        mReport += scan.report;
        mDoubts.insert(mDoubts.end(), scan.warnings.begin(), scan.warnings.end());
        mNotes.insert(mNotes.end(), scan.notes.begin(), scan.notes.end());
        const measure::AbsolutePhase& first = scan.directions.front().phase;
        mSize = first.mask.size();
        mValid = first.valid;
        mReached = CountReached(first.modulation, first.noise, scan.directions.front().frames);
        if (!calibration) {
            if (!scan.exchanged.empty()) mNotes.push_back(scan.exchanged);
            mNotes.push_back("heights are periods of the fringes: a calibration gives millimetres (--calibration)");
            return AddPeriods(first.phase, measure::LargestArea(first.phase, CV_PI));
        }
        AddMillimetres(scan, *calibration);
    }

    void AddMillimetres(const DecodedScan& scan, const measure::Calibration& calibration) {
        measure::ProjectorCoordinates seen, noise;
        for (const DecodedDirection& direction : scan.directions) {
            const bool isColumns = direction.name == "columns";
            (isColumns ? seen.columns : seen.rows) = direction.phase.coordinate;
            (isColumns ? noise.columns : noise.rows) = NoiseOf(direction);
        }
        const std::string source = mOptions.scan + " and " + mOptions.calibration;
        const PointsResult points = MakePoints(seen, calibration, scan.modulation, {}, source, mOutputs, mProgress);
        Add("points", points.entries, points.report);
        mDoubts.insert(mDoubts.end(), points.cloud.warnings.begin(), points.cloud.warnings.end());
        mValid = points.cloud.points;
        AddNoise(measure::PredictDepthNoise(seen, points.cloud.isFromRows ? noise.rows : noise.columns, calibration,
                                            mProgress.Watch()));
        try {
            Add(AddSurface(points.cloud.cloud, mOutputs, mProgress));
        } catch (const measure::NothingUsable& error) {
            throw measure::NothingUsable(source + ": no surface can be made of the points: " + error.what() +
                                         WithDoubts());
        }
    }

    // What may be the cause when nothing comes of it.
    std::string WithDoubts() const {
        std::string text;
        for (const std::string& doubt : mDoubts) text += "; " + doubt;
        return text;
    }

    // The standard deviation that the noise of the camera has in a modulation, and in a phase times its modulation.
    static double NoiseOfFit(double noise, int frames) { return noise * std::sqrt(2.0 / std::max(frames, 1)); }

    // Pixels whose fringes stand out of the noise, strong enough or not: of a small part before black few do.
    static int CountReached(const cv::Mat1f& modulation, double noise, int frames) {
        constexpr double kClear = 4;  // deviations
        return cv::countNonZero(modulation > kClear * NoiseOfFit(noise, frames));
    }

    // The standard deviation of the coordinate that the noise of the camera causes: 1 / B sqrt(2 / N) of the phase.
    static cv::Mat1f NoiseOf(const DecodedDirection& direction) {
        const measure::AbsolutePhase& phase = direction.phase;
        const double ofPhase = NoiseOfFit(phase.noise, direction.frames);
        return cv::Mat(ofPhase * phase.period / (2 * CV_PI) / phase.modulation);
    }

    void AddNoise(const cv::Mat1f& depthNoise) {
        std::vector<float> values;
        std::copy_if(depthNoise.begin(), depthNoise.end(), std::back_inserter(values),
                     [](float v) { return std::isfinite(v); });
        if (values.empty()) return;
        const auto median = static_cast<double>(measure::MedianOf(values));
        mEntries.emplace_back("depth_noise_mm", JsonNumber(median));
        mReport +=
            cv::format("noise of the camera leaves %.3g mm in the depths (standard deviation, median)\n", median);
    }

    void AddPeriods(const cv::Mat1f& radians, const cv::Mat1b& piece) {
        cv::Mat1f periods;
        radians.convertTo(periods, CV_32F, 0.5 / CV_PI);
        Add(AddSurface(periods, piece, mOutputs, mProgress));
    }

    void Add(const char* stage, const std::vector<SummaryEntry>& entries, const std::string& report) {
        mEntries.emplace_back(stage, JsonValue(entries));
        mReport += report;
    }
    void Add(const MeasuredSurface& surface) {
        mEntries.insert(mEntries.end(), surface.entries.begin(), surface.entries.end());
        mReport += surface.report;
        mSurfaceShare = surface.share;
    }

    void Finish(double seconds) {
        const double share = mValid / static_cast<double>(mSize.area());
        const double reached = mValid / std::max(1.0, static_cast<double>(mReached));
        if (reached < kMostlyReached)
            (reached < kLeastShare ? mDoubts : mNotes)
                .push_back(cv::format("only %.1f %% of the pixels that the fringes reach could be measured: too dark, "
                                      "weak, too fine for the camera or saturated",
                                      100 * reached));
        const bool good = mDoubts.empty();
        std::vector<SummaryEntry> entries{{"verdict", JsonText(good ? "good" : "doubtful")},
                                          {"doubts", JsonList(mDoubts)},
                                          {"notes", JsonList(mNotes)},
                                          {"valid_share", JsonNumber(share)},
                                          {"seconds", cv::format("%.3f", seconds)}};
        entries.insert(entries.end(), mEntries.begin(), mEntries.end());
        mOutputs.AddText("summary.json", SummaryOf("measure", entries));
        mOutputs.Commit();
        mProgress.End();
        std::printf("%s: %.1f %% of %d x %d pixels were measured", good ? "GOOD" : "DOUBTFUL", 100 * share, mSize.width,
                    mSize.height);
        std::printf(good ? ", nothing speaks against the result\n" : "; what speaks against the result:\n");
        for (const std::string& doubt : mDoubts) std::printf("  - %s\n", doubt.c_str());
        for (const std::string& note : mNotes) std::printf("note: %s\n", note.c_str());
        std::fputs(mReport.c_str(), stdout);
        const std::string part =
            mSurfaceShare < kNearlyAll
                ? cv::format(", the largest piece of surface: %.1f %% of what was measured", 100 * mSurfaceShare)
                : "";
        std::printf("look at %s/surface_picture.png%s\n", mOptions.out.c_str(), part.c_str());
    }

    const MeasureOptions& mOptions;
    OutputSet mOutputs;
    Progress mProgress;
    cv::Size mSize;
    int mValid = 0, mReached = 0;  // pixels
    double mSurfaceShare = 1;
    std::vector<SummaryEntry> mEntries;
    std::vector<std::string> mDoubts, mNotes;
    std::string mReport;
};

void RequireOneKindOfInput(const MeasureOptions& options) {
    const bool hasFrames = !options.frames.frames.empty(), hasScan = !options.scan.empty();
    if (hasFrames == hasScan)
        Refuse("measure needs either the pictures of one set of fringes, or --scan with a description");
    if (hasFrames && !options.calibration.empty())
        Refuse("--calibration: one set of fringes tells no absolute phase, and millimetres need one; give --scan");
    if (hasFrames && !options.framesFolder.empty()) Refuse("--frames belongs to --scan");
}

}  // namespace

void RunMeasure(const MeasureOptions& options) {
    RequireOneKindOfInput(options);
    MeasureRun(options).Run();
}

void AddMeasureCommand(CommandLine& program) {
    const auto options = std::make_shared<MeasureOptions>();
    Command& command = program.Add("measure", kAbout, kDetails);
    command.Add("FRAME", options->frames.frames,
                "Pictures of one set of shifted fringes, in the order of their shifts; or SCAN.json");
    command.Add("--scan", options->scan, "Description of a coded scan, the same as SCAN.json").Type("FILE");
    command.Add("--frames", options->framesFolder, "Folder of the scan's pictures [that of the description]")
        .Type("DIR");
    command.Add("--calibration", options->calibration, "Camera and projector: .yml, .xml or .json").Type("FILE");
    command.Add("--out,-o", options->out, "Folder for the results").Required().Type("DIR");
    AddFrameOptions(command, options->frames);
    AddLimitOptions(command, options->frames.limits);
    command.OnRun([options, &command] {
        std::vector<std::string>& words = options->frames.frames;
        if (options->scan.empty() && IsScan(words)) options->scan = std::exchange(words, {}).front();
        if (!options->scan.empty()) RefuseFrameOptions(command);
        RunMeasure(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
