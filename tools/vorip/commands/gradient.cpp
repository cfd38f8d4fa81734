#include <ipbase/voripbase.h>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "measure/io.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/pictures/pixels.h"
#include "tools/vorip/pictures/selection.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Where the slope of a phase picture changes: its gradient over a baseline";
constexpr char kDetails[] =
    "At every pixel: the change of the phase over the next --dx pixels minus that over the previous --dx, plus the "
    "same\n"
    "down the columns over --dy. The jumps of a wrapped phase do not show, a constant slope gives 0. With both\n"
    "directions on, the previous changes are those at the pixel (--dx, --dy) before this one.\n"
    "\n"
    "PHASE  8-bit   wrapped, 256 steps per period (KrGradient). OUT is 8-bit, relative: the least gradient (the 0 of "
    "the\n"
    "               border included) becomes 0, the greatest 255.\n"
    "       16-bit  wrapped, 65,536 steps per period, of which the upper 8 bits count (KrGradientDouble). OUT is "
    "float,\n"
    "               in radians.\n"
    "       float   continuous, as unwrapped.tiff (KrGradientFloatNonModulo). OUT is float, in the unit of PHASE; NaN\n"
    "               where a pixel that it depends on is NaN or infinite.\n"
    "\n"
    "The first and last --dx columns and --dy rows are border: 0. Where --mask or --component leaves out a pixel that\n"
    "the gradient depends on, OUT is NaN, and 0 in an 8-bit OUT.\n"
    "\n"
    "--scale S makes OUT a 16-bit picture that means the same in every run: 32768 + 32767 g / S, cut off at +-S, with\n"
    "g in radians for wrapped phases, in the unit of PHASE else; 0 where there is no gradient.\n"
    "\n"
    "Example:\n"
    "  vorip gradient result/unwrapped.tiff --dx 5 --dy 5 --out gradient.tiff\n"
    "  vorip gradient result/phase16.png --mask result/mask.png --dx 3 --scale 0.5 --out gradient.png";

constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();

struct Options {
    std::string phase;
    std::string out;
    int dx = 0;
    int dy = 0;
    bool infiniteBorder = false;
    double scale = 0;
    Selection selection;
};

// A baseline that leaves nothing but border is a mistake.
void RequireInside(const char* option, int baseline, int side, const char* what) {
    if (2 * std::abs(std::int64_t{baseline}) < side) return;
    Refuse(cv::format("%s=%d: at most %d either way in a picture %d pixels %s", option, baseline, (side - 1) / 2, side,
                      what));
}

cv::Mat Gradient8(const cv::Mat1b& phase, const Options& options) {
    cv::Mat1b image(phase.size());
    const auto in = measure::ViewOf(phase);
    auto out = measure::ViewOf(image);
    KrN::KrGradient gradient;
    gradient.Init(in.AOISize());
    gradient.Execute(&in, options.dx, options.dy, &out);
    return image;
}

cv::Mat Gradient16(const cv::Mat1w& phase, const Options& options) {
    cv::Mat1d steps, image(phase.size());
    phase.convertTo(steps, CV_64F, 1.0 / 256.0);
    const auto in = measure::ViewOf(steps);
    auto out = measure::ViewOf(image);
    KrN::KrGradientDouble gradient;
    gradient.Init(in.AOISize());
    gradient.Execute(&in, options.dx, options.dy, &out, options.infiniteBorder);
    cv::Mat radians;
    image.convertTo(radians, CV_32F, KrN::KrMath::TwoPi / 256.0);
    return radians;
}

// Gaps become the value left of them, so that sums over them stay small and exact; what depends on them is dropped
// afterwards.
cv::Mat CloseGaps(cv::Mat& phase) {
    cv::Mat valid(phase.size(), CV_8U);
    float last = 0;
    for (int y = 0; y < phase.rows; ++y) {
        for (int x = 0; x < phase.cols; ++x) {
            float& value = phase.at<float>(y, x);
            valid.at<std::uint8_t>(y, x) = std::isfinite(value) ? 255 : 0;
            last = value = std::isfinite(value) ? value : last;
        }
    }
    return valid;
}

// Where the gradient depends on a pixel that is not valid, it becomes `none`.
template <class T>
void DropGaps(const cv::Mat& valid, const Options& options, T none, cv::Mat& image) {
    const auto isValid = [&](int x, int y) { return valid.at<std::uint8_t>(y, x) != 0; };
    const auto ends = [&](int x, int y) {
        return isValid(x, y) && isValid(x + options.dx, y) && isValid(x, y + options.dy);
    };
    const int left = std::abs(options.dx), top = std::abs(options.dy);
    for (int y = top; y < image.rows - top; ++y) {
        for (int x = left; x < image.cols - left; ++x) {
            if (ends(x, y) && ends(x - options.dx, y - options.dy)) continue;
            image.at<T>(y, x) = none;
        }
    }
}

cv::Mat GradientFloat(const cv::Mat1f& file, const Options& options) {
    cv::Mat1f phase = file.clone(), image(phase.size());
    const cv::Mat valid = CloseGaps(phase);
    const auto in = measure::ViewOf(phase);
    auto out = measure::ViewOf(image);
    KrN::KrGradientFloatNonModulo gradient;
    gradient.Init(in.AOISize());
    gradient.Execute(&in, options.dx, options.dy, &out, options.infiniteBorder);
    DropGaps(valid, options, kNoNumber, image);
    return image;
}

struct GradientOf {
    const Options& options;
    cv::Mat operator()(const cv::Mat1b& phase) const { return Gradient8(phase, options); }
    cv::Mat operator()(const cv::Mat1w& phase) const { return Gradient16(phase, options); }
    cv::Mat operator()(const cv::Mat1f& phase) const { return GradientFloat(phase, options); }
};

// With a scale of its own, an 8-bit phase is computed as the 16-bit one is.
cv::Mat WidenPhase(const cv::Mat& phase, const Options& options) {
    if (phase.depth() != CV_8U || options.scale == 0) return phase;
    cv::Mat wide;
    phase.convertTo(wide, CV_16U, 256.0);
    return wide;
}

cv::Mat ToFixedScale(const cv::Mat& gradient, double scale) {
    cv::Mat1w image(gradient.size());
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            const double g = static_cast<double>(gradient.at<float>(y, x)) / scale;
            const double value = 32768.5 + 32767.0 * std::clamp(g, -1.0, 1.0);
            image(y, x) = std::isfinite(g) ? static_cast<std::uint16_t>(value) : std::uint16_t{0};
        }
    }
    return image;
}

void DropUnselected(const cv::Mat1b& selected, const Options& options, cv::Mat& image) {
    if (selected.empty()) return;
    if (image.depth() == CV_8U) return DropGaps(selected, options, std::uint8_t{0}, image);
    DropGaps(selected, options, kNoNumber, image);
}

std::string Range(const cv::Mat& image, const Options& options) {
    const int left = std::abs(options.dx), top = std::abs(options.dy);
    const cv::Mat inside = image(cv::Rect(left, top, image.cols - 2 * left, image.rows - 2 * top));
    cv::Mat valid;
    cv::compare(inside, inside, valid, cv::CMP_EQ);  // not NaN
    if (cv::countNonZero(valid) == 0) return ": no pixel has a gradient";
    double least = 0, greatest = 0;
    cv::minMaxLoc(inside, &least, &greatest, nullptr, nullptr, valid);
    return cv::format(": %.4g to %.4g", least, greatest);
}

void RunGradient(Options& options) {
    if (options.dx == 0 && options.dy == 0) Refuse("--dx or --dy must be given: a baseline in pixels");
    OutputFile output(options.out);
    Progress progress("vorip gradient");
    TakeComponentsBeside(options.selection, options.phase);
    const cv::Mat file = measure::ReadPicture(options.phase, progress.Watch());
    progress.Stage("computing");
    AnnounceMemory(file);
    const cv::Mat1b selected = ReadSelection(options.selection, file, options.phase);
    cv::Mat phase = WidenPhase(file, options);
    RequireInside("--dx", options.dx, phase.cols, "wide");
    RequireInside("--dy", options.dy, phase.rows, "high");
    if (phase.depth() == CV_8U && options.infiniteBorder) Refuse("--infinite-border is for 16-bit and float phases");
    const bool isFloat = phase.depth() == CV_16U || phase.depth() == CV_32F;
    if (isFloat && options.scale == 0 && !output.CanHold(CV_32F))
        Refuse(options.out +
               ": the gradient is float, which such a file cannot hold; --scale S makes it 16-bit, with "
               "the gradient S at its ends, and .tiff and .npy hold it as it is");
    cv::Mat image =
        VisitPixels<std::uint8_t, std::uint16_t, float>(phase, options.phase, "a phase", GradientOf{options});
    DropUnselected(selected, options, image);
    progress.Stage("writing");
    output.Save(options.scale > 0 ? ToFixedScale(image, options.scale) : image);
    progress.End();
    const std::string range = image.depth() == CV_32F ? Range(image, options) : "";
    std::printf("gradient: %d x %d pixels over (%d, %d)%s\n", image.cols, image.rows, options.dx, options.dy,
                range.c_str());
}

}  // namespace

void AddGradientCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("gradient", kAbout, kDetails);
    command.Add("PHASE", options->phase, "Phase picture").Required();
    command.Add("--out", options->out, std::string("File for the gradient: ") + measure::kWritableFormats)
        .Required()
        .Type("FILE");
    command.Add("--dx", options->dx, "Baseline along the rows; 0: not along the rows; negative: backwards")
        .ShowDefault()
        .Type("PIXELS");
    command.Add("--dy", options->dy, "Baseline down the columns").ShowDefault().Type("PIXELS");
    command.AddFlag("--infinite-border", options->infiniteBorder,
                    "The border of a float result is +infinity, to tell it from a gradient of 0");
    command.Add("--scale", options->scale, "Makes OUT 16-bit with this gradient at its ends [OUT as said below]")
        .AboveZero()
        .Type("S");
    AddSelection(command, options->selection, "count");
    command.OnRun([options] {
        RunGradient(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
