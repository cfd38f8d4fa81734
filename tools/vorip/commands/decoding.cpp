#include "tools/vorip/commands/decoding.h"

#include <chrono>
#include <exception>
#include <utility>

#include "measure/frames.h"
#include "measure/scan.h"
#include "tools/vorip/commands/frameinputs.h"
#include "tools/vorip/commands/unwrapresult.h"
#include "tools/vorip/pictures/phasepicture.h"

namespace vorip {
namespace {

std::string WithHint(const std::exception& error, const std::string& hint) {
    return error.what() + (hint.empty() ? "" : "; " + hint);
}

class ScanDecoder {
public:
    ScanDecoder(const DecodeOptions& options, OutputSet& outputs, Progress& progress)
        : mOptions(options), mOutputs(outputs), mProgress(progress) {}

    DecodedScan Run() {
        const measure::Scan scan = ReadScan(mOptions.scan, mOptions.frames);
        if (scan.columns) DecodeDirection("columns", *scan.columns, scan.fullScale);
        if (scan.rows) DecodeDirection("rows", *scan.rows, scan.fullScale);
        if (scan.columns && scan.rows)
            mScan.exchanged = measure::HintOfExchangedDirections(mScan.directions[0].phase, mScan.directions[1].phase);
        return std::move(mScan);
    }

private:
    using Clock = std::chrono::steady_clock;

    void DecodeDirection(const std::string& name, const measure::CodedAxis& axis, double fullScale) {
        const auto start = Clock::now();
        mProgress.Stage("reading " + name);
        const measure::AxisPictures pictures = measure::ReadPictures(axis, mProgress.Watch());
        const auto read = Clock::now();
        const std::string hint = fullScale > 0 ? "" : measure::HintOfCameraBits(pictures.sines);
        if (!hint.empty()) Doubt(name, hint);
        mProgress.Stage("decoding " + name);
        measure::DecodeOptions options;
        options.limits = mOptions.limits.Of(fullScale);
        options.correctRipple = mOptions.ripple == "auto";
        measure::AbsolutePhase result;
        try {
            result = measure::DecodeAxis(axis, pictures, options, mProgress.Watch());
        } catch (const measure::InputError& error) {
            throw measure::InputError(mOptions.scan + ": " + name + ": " + WithHint(error, hint));
        } catch (const measure::NothingUsable& error) {
            throw measure::NothingUsable(name + ": " + WithHint(error, hint));
        }
        const auto decoded = Clock::now();
        mProgress.Stage("writing " + name);
        Write(name, result, fullScale > 0 ? fullScale : pictures.sines[0][0].depth() == CV_8U ? 255.0 : 65535.0);
        const auto seconds = [](auto from, auto to) { return std::chrono::duration<double>(to - from).count(); };
        mScan.entries.emplace_back(name, measure::SummaryOf(result));
        mScan.entries.emplace_back(
            name + "_seconds", cv::format("{\"read\": %.3f, \"decode\": %.3f, \"write\": %.3f}", seconds(start, read),
                                          seconds(read, decoded), seconds(decoded, Clock::now())));
        Report(name, result);
        const auto finest = static_cast<std::size_t>(result.finest);
        mScan.directions.push_back({name, result, static_cast<int>(pictures.sines[finest].size())});
    }

    void Write(const std::string& name, const measure::AbsolutePhase& result, double fullScale) {
        for (const char* ending : {".tiff", ".npy"}) {
            mOutputs.AddImage(name + "_absolute" + ending, result.phase);
            mOutputs.AddImage(name + "_coordinate" + ending, result.coordinate);
        }
        mOutputs.AddImage(name + "_mask.png", result.mask);
        mOutputs.AddImage(name + "_reliability.png", result.reliability);
        mOutputs.AddImage(
            name + "_picture.png",
            DrawPhase(result.phase,
                      {"absolute phase along the " + name, {}, result.jumps.where, result.mask, "its plane removed"}));
        if (!mScan.modulation.empty()) return;
        result.modulation.convertTo(mScan.modulation, CV_8U, 255 * 2 / fullScale);
        mOutputs.AddImage("modulation.png", mScan.modulation);
    }

    void Report(const std::string& name, const measure::AbsolutePhase& result) {
        const auto pixels = static_cast<double>(result.mask.total());
        mScan.report += cv::format(
            "%s: %.1f %% of %d x %d pixels have an absolute phase, %d were corrected by their "
            "neighbours\n",
            name.c_str(), 100 * result.valid / pixels, result.mask.cols, result.mask.rows, result.corrected);
        if (result.jumps.count > 0) mScan.notes.push_back(name + ": " + JumpWarning(result.jumps, name));
        for (const std::string& note : result.notes) mScan.notes.push_back(name + ": " + note);
        for (const std::string& warning : result.warnings) Doubt(name, warning);
    }
    void Doubt(const std::string& name, const std::string& text) { mScan.warnings.push_back(name + ": " + text); }

    const DecodeOptions& mOptions;
    OutputSet& mOutputs;
    Progress& mProgress;
    DecodedScan mScan;
};

}  // namespace

DecodedScan DecodeScan(const DecodeOptions& options, OutputSet& outputs, Progress& progress) {
    return ScanDecoder(options, outputs, progress).Run();
}

}  // namespace vorip
