#include "tools/vorip/commands/frameinputs.h"

#include <algorithm>
#include <cmath>

#include "measure/frames.h"
#include "measure/fringe/framepixels.h"
#include "measure/io.h"
#include "measure/io/bytes.h"
#include "measure/io/readfiles.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

std::vector<double> Shifts(const FrameOptions& options, std::size_t count) {
    if (options.shift.empty()) return measure::EqualShifts(static_cast<int>(count));
    auto degrees = ParseNumbers(options.shift);
    if (!degrees)
        Refuse("--shift=" + options.shift + ": must be numbers separated by commas, as in --shift=-120,0,120");
    if (degrees->size() != count) Refuse(cv::format("--shift gives %zu shifts for %zu frames", degrees->size(), count));
    for (double& d : *degrees) {
        if (!(std::abs(d) <= 1e6)) Refuse("--shift=" + options.shift + ": shifts go up to 1000000 degrees");
        d *= CV_PI / 180.0;
    }
    return *degrees;
}

void AddPages(const std::string& file, const std::vector<cv::Mat>& pages, FrameInput& input) {
    if (pages.size() > 1) Warn(file + cv::format(" has %zu pages; all are taken as frames", pages.size()));
    for (std::size_t i = 0; i < pages.size(); ++i) {
        measure::RequireFringePixels(file, pages[i]);
        input.set.frames.push_back(pages[i]);
        input.names.push_back(pages.size() > 1 ? cv::format("%s page %zu", file.c_str(), i + 1) : file);
        measure::RequireSameKind(input.set.frames.front(), input.names.front(), pages[i], input.names.back());
    }
}

void WarnOfBits(const std::vector<cv::Mat>& frames) {
    const int bits = measure::GuessCameraBits(frames);
    if (bits == 0) return;
    Warn(cv::format("the grey levels stay below %d: if the camera has %d bits, give --full-scale %d", 1 << bits, bits,
                    (1 << bits) - 1));
}

// The pictures of a coded scan are no single set.
void RefuseScanFolder(const std::vector<std::string>& words) {
    if (words.size() != 1) return;
    const std::filesystem::path description = std::filesystem::path(words[0]) / "scan.json";
    std::error_code error;
    if (std::filesystem::exists(description, error))
        Refuse(words[0] + ": holds a coded scan: give " + description.string() +
               " to 'vorip measure', 'quality' or 'decode', or a pattern in quotes for the pictures of one set");
}

void AddLimit(Command& command, const char* name, double& percent, const char* help, double most = 100) {
    command.Add(name, percent, help).Between(0, most, "a percentage").ShowDefault().Type("PERCENT");
}

}  // namespace

measure::FringeLimits LimitOptions::Of(double fullScale) const {
    measure::FringeLimits limits;
    limits.fullScale = fullScale;
    limits.minMean = minIntensity / 100;
    limits.saturation = saturation / 100;
    limits.minModulation = minModulation / 100;
    return limits;
}

void AddFrameOptions(Command& command, FrameOptions& options) {
    command.Add("--shift", options.shift, "Phase shift of each frame, as in --shift=-120,0,120 [360 k / N]")
        .Type("DEG,DEG,...");
    command
        .Add("--full-scale", options.fullScale,
             "Grey level of full scale [255 or 65535 by the pictures' type]; 4095 for a 12-bit camera")
        .AboveZero()
        .Type("LEVEL");
}

void RefuseFrameOptions(const Command& command) {
    command.RefuseGiven({"--shift", "--full-scale"}, "is for frames; the description of a scan says that itself");
}

void AddLimitOptions(Command& command, LimitOptions& limits) {
    AddLimit(command, "--min-intensity", limits.minIntensity, "Least mean intensity A");
    AddFringeLimitOptions(command, limits);
}

void AddFringeLimitOptions(Command& command, LimitOptions& limits) {
    AddLimit(command, "--saturation", limits.saturation, "Level at which a frame counts as saturated; above 100: never",
             1e6);
    AddLimit(command, "--min-modulation", limits.minModulation,
             "Least modulation B of 3 x 3 pixels together; one pixel may have half of it");
}

FrameInput ReadFrames(const FrameOptions& options) {
    RefuseScanFolder(options.frames);
    const measure::FrameFiles found = measure::FindFrames(options.frames);
    if (found.looksMisordered) {
        Warn(
            "the frames are listed in alphabetical order, which is not that of their numbers; quoted, a pattern or a "
            "folder is sorted by the numbers");
    }
    FrameInput input;
    std::vector<std::vector<cv::Mat>> pages(found.files.size());
    {
        const FirstPicture first(pages.size());
        pages[0] = measure::ReadPages(found.files[0]);
    }
    AnnounceMemory(pages[0].front(), pages.size() * pages[0].size());
    const auto readOthers = [&](std::size_t i) { pages[i + 1] = measure::ReadPages(found.files[i + 1]); };
    measure::ReadFiles(pages.size() - 1, readOthers, Progress::WatchOfRun());
    for (std::size_t i = 0; i < pages.size(); ++i) AddPages(found.files[i], pages[i], input);
    const std::size_t count = input.set.frames.size();
    if (count < 3) Refuse(cv::format("at least three fringe pictures are needed, %zu given", count));
    input.set.shifts = Shifts(options, count);
    if (options.fullScale <= 0 && input.set.frames.front().depth() == CV_32F)
        Refuse("float pictures need --full-scale, the grey level at which they saturate");
    if (options.fullScale <= 0) WarnOfBits(input.set.frames);
    input.limits = options.limits.Of(options.fullScale);
    return input;
}

bool IsScan(const std::vector<std::string>& words) {
    return words.size() == 1 && measure::EndingOf(words[0]) == ".json";
}

measure::Scan ReadScan(const std::string& file, const std::string& folder) {
    measure::Scan scan = measure::ReadScan(file, folder);
    std::size_t count = 0;
    for (const auto* axis : {&scan.rows, &scan.columns}) {
        if (!*axis) continue;
        const measure::CodedAxis& a = **axis;
        for (const measure::SineSet& set : a.sines) count += set.frames.size();
        if (a.gray) count += a.gray->frames.size() + a.gray->inverse.size();
    }
    const measure::CodedAxis& any = scan.columns ? *scan.columns : *scan.rows;
    const FirstPicture first(count);
    AnnounceMemory(measure::ReadPicture(any.sines.front().frames.front().string()), count);
    return scan;
}

}  // namespace vorip
