#include <ipbase/voripbase.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

#include "measure/io.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/filterinputs.h"
#include "tools/vorip/pictures/pixels.h"
#include "tools/vorip/pictures/selection.h"
#include "tools/vorip/pictures/watchedimage.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Filters a picture: smoothing, median, erosion, dilatation, or weights from a file";
constexpr char kDetails[] =
    "KIND\n"
    "  gauss              smooths with binomial weights                                   --size --mask\n"
    "  mean               smooths with equal weights                                      --size --mask\n"
    "  median             the middle value of the window, drops single outliers           --size --mask\n"
    "  erosion            the darkest pixel of the window                                 --size --mask\n"
    "  dilatation         the brightest pixel of the window                               --size --mask\n"
    "  binary-erosion     takes --size / 2 pixels off the edges of the foreground         --size\n"
    "  binary-dilatation  adds as many                                                    --size\n"
    "  binomial           smooths an 8-bit picture with binomial weights, 2 to 23 a side  --size\n"
    "  recursive          smooths along rows and columns, each way with weight --alpha    --alpha\n"
    "  kernel             the sum of the pixels times the weights, over a divisor         --kernel --divisor --mask\n"
    "\n"
    "OUT has the pixel type of IN. The window reaches from the pixel --size / 2 to the left and up, rounded down\n"
    "(binomial: (--size - 1) / 2); beyond the border of the picture the nearest pixel counts. The foreground is 255,\n"
    "65,535 or the largest float. Sums that do not fit an integer type wrap.\n"
    "\n"
    "Pixels that the mask excludes keep their value and do not count for others, and so do NaN and infinite ones of\n"
    "float pictures; kinds without --mask refuse such pictures. With excluded pixels a kernel's sum is divided by the\n"
    "sum of the weights that count, but at least 1, and --divisor has no meaning.\n"
    "\n"
    "A kernel file is text: a line for each row, whole numbers separated by blanks or commas; # starts a comment.\n"
    "\n"
    "Example:\n"
    "  vorip filter median result/unwrapped.tiff --size 5x5 --out smooth.tiff\n"
    "  vorip filter kernel camera.png --kernel sharpen.txt --divisor 4 --out sharp.png";

struct Options {
    std::string kind;
    std::string in;
    std::string out;
    std::string size = "3x3";
    std::string kernel;
    std::int32_t divisor = 0;
    double alpha = 0.5;
    Selection selection;
};

// What a filter works on, in place.
struct Job {
    KrN::KrAOI* image;
    KrN::KrAOI8* mask;  // null: all pixels count
    WindowSize size;
    KrN::KrTBuf2D<std::int32_t> kernel;
    std::int32_t divisor;
    double alpha;

    KrN::MaskConsideration Consideration() const { return mask ? KrN::eConsiderMask : KrN::eIgnoreMask; }
};

template <class Filter>
void RunSized(const Job& job) {
    Filter().Execute(job.size, job.image, nullptr, job.mask, job.Consideration());
}
void RunBinomial(const Job& job) { KrN::KrFilterBinominal().Execute(job.size, job.image, nullptr); }
void RunRecursive(const Job& job) { KrN::KrFilterRecursive().Execute(job.alpha, job.image, nullptr); }
void RunKernel(const Job& job) {
    KrN::KrFilter().Execute(job.kernel, job.divisor, job.image, nullptr, job.mask, job.Consideration());
}

enum Takes { kSize = 1, kKernel = 2, kDivisor = 4, kAlpha = 8, kMask = 16 };
struct OptionName {
    Takes bit;
    const char* name;
};
constexpr OptionName kOptionNames[] = {{kSize, "--size"},     {kKernel, "--kernel"}, {kDivisor, "--divisor"},
                                       {kAlpha, "--alpha"},   {kMask, "--mask"},     {kMask, "--components"},
                                       {kMask, "--component"}};

struct Kind {
    const char* name;
    int takes;
    void (*run)(const Job&);
};
constexpr Kind kKinds[] = {
    {"gauss", kSize | kMask, RunSized<KrN::KrFilterGauss>},
    {"mean", kSize | kMask, RunSized<KrN::KrFilterMeanSepXY>},
    {"median", kSize | kMask, RunSized<KrN::KrFilterMedian>},
    {"erosion", kSize | kMask, RunSized<KrN::KrFilterErosion>},
    {"dilatation", kSize | kMask, RunSized<KrN::KrFilterDilatation>},
    {"binary-erosion", kSize, RunSized<KrN::KrFilterFastBinaryErosion>},
    {"binary-dilatation", kSize, RunSized<KrN::KrFilterFastBinaryDilatation>},
    {"binomial", kSize, RunBinomial},
    {"recursive", kAlpha, RunRecursive},
    {"kernel", kKernel | kDivisor | kMask, RunKernel},
};

const Kind& FindKind(const std::string& name) {
    std::string names;
    for (const Kind& kind : kKinds) {
        if (name == kind.name) return kind;
        names += (names.empty() ? "" : ", ") + std::string(kind.name);
    }
    Refuse("there is no filter '" + name + "' (use " + names + ")");
}

// An option that the kind does not have would silently do nothing.
void RefuseForeignOptions(const Command& command, const Kind& kind) {
    for (const OptionName& option : kOptionNames) {
        if ((kind.takes & option.bit) || !command.IsGiven(option.name)) continue;
        Refuse(std::string(option.name) + " is no option of the filter '" + kind.name + "'");
    }
    if ((kind.takes & kKernel) && !command.IsGiven("--kernel"))
        Refuse(std::string("the filter '") + kind.name + "' needs --kernel FILE");
}

// 255 where a pixel does not count, or empty when all count.
cv::Mat FindExcluded(const cv::Mat& image, const Options& options, const Kind& kind) {
    cv::Mat excluded(image.size(), CV_8U, cv::Scalar(0));
    const cv::Mat1b selected = ReadSelection(options.selection, image, options.in);
    if (!selected.empty()) cv::bitwise_not(selected, excluded);
    if (image.depth() == CV_32F) {
        const cv::Mat finite = cv::abs(image) <= std::numeric_limits<float>::max(), notFinite = ~finite;
        if (!(kind.takes & kMask) && cv::countNonZero(notFinite) > 0)
            Refuse(options.in + ": NaN and infinite pixels cannot be filtered by '" + kind.name + "'");
        excluded |= notFinite;
    }
    if (selected.empty() && cv::countNonZero(excluded) == 0) excluded.release();
    if (!excluded.empty() && options.divisor != 0)
        Refuse("--divisor has no meaning where pixels are excluded, by --mask or because they are NaN or infinite");
    return excluded;
}

std::int32_t Divisor(const Options& options, const KrN::KrTBuf2D<std::int32_t>& kernel) {
    if (options.divisor != 0) return options.divisor;
    const std::int64_t sum = std::accumulate(kernel.Row(0), kernel.Row(kernel.Height()), std::int64_t{0});
    if (sum != static_cast<std::int32_t>(sum)) Refuse(options.kernel + ": the weights add up to more than 32 bits");
    return sum == 0 ? 1 : static_cast<std::int32_t>(sum);
}

Job ReadJob(const Options& options, const Kind& kind) {
    Job job{nullptr, nullptr, {}, {}, 1, options.alpha};
    if (kind.takes & kSize) job.size = ParseSize("--size", options.size);
    if (kind.takes & kKernel) {
        job.kernel = ReadKernel(options.kernel);
        job.divisor = Divisor(options, job.kernel);
    }
    const auto fits = [](std::uint32_t taps) { return taps >= 2 && taps <= 23; };
    if (kind.run == RunBinomial && (!fits(job.size.cx) || !fits(job.size.cy)))
        Refuse("--size=" + options.size + ": the filter 'binomial' has 2 to 23 weights each way");
    return job;
}

// Whether it takes so long that people want to see how far it has come.
bool IsMuchWork(const Job& job, const cv::Mat& image) {
    const double weights = std::max<double>(job.size.cx, 1) * std::max<double>(job.size.cy, 1) +
                           static_cast<double>(job.kernel.Width()) * static_cast<double>(job.kernel.Height());
    return weights * static_cast<double>(image.total()) >= 1e9;  // some tenths of a second
}

// Masked smoothing takes the mask of a line's last pixel for what lies before its first one. Repeated pixels in front
// of the picture keep that off it. Returns where the picture stands then.
cv::Rect RepeatInFront(const Options& options, const Kind& kind, WindowSize size, cv::Mat& image, cv::Mat1b& excluded) {
    cv::Rect place({0, 0}, image.size());
    const bool smooths = kind.run == RunSized<KrN::KrFilterGauss> || kind.run == RunSized<KrN::KrFilterMeanSepXY>;
    if (!smooths || excluded.empty()) return place;
    constexpr int most = std::numeric_limits<short>::max();
    place.x = static_cast<int>(size.cx / 2);
    place.y = static_cast<int>(size.cy / 2);
    if (place.width + place.x > most || place.height + place.y > most) {
        Refuse("--size=" + options.size + ": with excluded pixels, the picture and half the window must fit in " +
               std::to_string(most) + " pixels each way");
    }
    const cv::Size enlarged = place.size() + cv::Size(place.x, place.y);
    AnnounceMemory(enlarged, image.type());
    for (cv::Mat* picture : {&image, static_cast<cv::Mat*>(&excluded)})
        cv::copyMakeBorder(*picture, *picture, place.y, 0, place.x, 0, cv::BORDER_REPLICATE);
    return place;
}

void RunFilter(Options& options, const Kind& kind) {
    Job job = ReadJob(options, kind);
    OutputFile output(options.out);
    Progress progress(std::string("vorip filter ") + kind.name);
    MemoryLimit::SetVariant(std::string("filter ") + kind.name);
    TakeComponentsBeside(options.selection, options.in);
    cv::Mat image = measure::ReadPicture(options.in, progress.Watch());
    if (kind.run == RunBinomial && image.depth() != CV_8U)
        Refuse(options.in + ": the filter 'binomial' takes 8-bit pictures, this is " + measure::PixelTypeName(image));
    AnnounceMemory(image);
    cv::Mat1b excluded = FindExcluded(image, options, kind);
    const int excludedPixels = excluded.empty() ? 0 : cv::countNonZero(excluded);
    const cv::Rect place = RepeatInFront(options, kind, job.size, image, excluded);
    KrN::KrAOI8 mask = measure::ViewOf(excluded);
    if (!excluded.empty()) job.mask = &mask;
    progress.Stage("filtering");
    VisitPixels<std::uint8_t, std::uint16_t, std::int32_t, float>(image, options.in, "a picture", [&](auto& pixels) {
        auto view = measure::ViewOf(pixels);
        const auto report = [&](int row) { progress.Stage("filtering", (row + 1.0) / image.rows); };
        WatchedImage<decltype(view)> watched(view, report);
        job.image = IsMuchWork(job, image) ? &watched : &view;
        kind.run(job);
    });
    image = image(place).clone();
    progress.Stage("writing");
    output.Save(image);
    progress.End();
    std::printf("filter: %s of %d x %d %s pixels, %d excluded\n", kind.name, image.cols, image.rows,
                measure::PixelTypeName(image).c_str(), excludedPixels);
}

}  // namespace

void AddFilterCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("filter", kAbout, kDetails);
    command.Add("KIND", options->kind, "Kind of filter, see below").Required();
    command.Add("IN", options->in, "Picture: 8-bit, 16-bit or float").Required();
    command.Add("--out", options->out, std::string("File for the filtered picture: ") + measure::kWritableFormats)
        .Required()
        .Type("FILE");
    command.Add("--size", options->size, "Width and height of the window").ShowDefault().Type("WxH");
    command.Add("--kernel", options->kernel, "Text file of the weights").Type("FILE");
    command
        .Add("--divisor", options->divisor,
             "What the weighted sum is divided by [the sum of the weights, 1 if that is 0]")
        .Accept([](double v) { return v != 0 && v == std::floor(v) && std::abs(v) < 2147483648.0; },
                "a whole number of 32 bits, not 0")
        .Type("N");
    command.Add("--alpha", options->alpha, "Weight of what came before, 0 to 1: more is smoother")
        .Between(0, 1)
        .ShowDefault()
        .Type("A");
    AddSelection(command, options->selection, "count");
    command.OnRun([options, &command] {
        const Kind& kind = FindKind(options->kind);
        RefuseForeignOptions(command, kind);
        RunFilter(*options, kind);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
