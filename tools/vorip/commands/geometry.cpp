#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "ipbase/base/watch.h"
#include "measure/io.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/filterinputs.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/pictures/pixels.h"
#include "tools/vorip/pictures/watchedimage.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Scales, mirrors, turns, shifts, rotates or halves a picture, also of a wrapped phase";
constexpr char kDetails[] =
    "scale    to --size WxH\n"
    "mirror   --axis columns (left and right change places), rows or both\n"
    "turn     by --quarters of a turn, counter-clockwise, exactly\n"
    "shift    by --by DX,DY pixels, to the right and downwards\n"
    "rotate   by --degrees, counter-clockwise about the middle; the result is as large as the whole picture needs,\n"
    "         or as the picture is with --same-size\n"
    "pyramid  half the size, smoothed by (1 4 6 4 1) / 16; twice the size with --up\n"
    "\n"
    "Values between pixels are found by --mode nearest, linear or cubic; scale also by area, shift and rotate of "
    "float\n"
    "pictures also by fourier. NaN and masked pixels have no part in a result, but in a pyramid, where NaN spreads.\n"
    "What has no value becomes --fill (by default NaN in float pictures, else 0).\n"
    "\n"
    "With --period a picture is a wrapped phase, which is interpolated over its jumps: 256 for 8-bit pictures, 65536\n"
    "for 16-bit ones, 6.283185307 (one turn in radians) or another number for float ones.\n"
    "\n"
    "Example:\n"
    "  vorip geometry rotate camera.png --degrees 12.5 --mode cubic --out rotated.png\n"
    "  vorip geometry scale phase.png --period 256 --size 640x480 --out small.png";

constexpr char kStage[] = "computing";
const std::vector<std::string> kModes = {"nearest", "linear", "cubic", "area", "fourier"};
const std::vector<std::string> kBorders = {"fill", "replicate", "reflect", "wrap"};
const std::vector<std::string> kAxes = {"columns", "rows", "both"};

struct Options {
    std::string operation, in, out, mask;
    std::string size, axis = "columns", by, mode = "linear", border = "fill";
    int quarters = 1;
    double degrees = std::numeric_limits<double>::quiet_NaN();
    double fill = std::numeric_limits<double>::quiet_NaN();
    double period = 0.0;
    bool sameSize = false, up = false;
};

int IndexIn(const std::vector<std::string>& words, const std::string& word) {
    return static_cast<int>(std::find(words.begin(), words.end(), word) - words.begin());
}

// The destination of an operation on a picture of pixels of type T.
template <class T>
class Geometry {
public:
    using AOI = measure::ImageOf<T>;

    Geometry(const Options& options, const cv::Mat_<T>& image, const cv::Mat1b& mask, Progress& progress)
        : mOptions(options),
          mProgress(progress),
          mImage(image),
          mSource(measure::ViewOf(image)),
          mMask(measure::ViewOf(mask)),
          mHow(static_cast<KrN::InterpolationMode>(IndexIn(kModes, options.mode)),
               static_cast<KrN::BorderRule>(IndexIn(kBorders, options.border)),
               std::isnan(options.fill) && image.depth() != CV_32F ? 0.0 : options.fill) {
        mHow.mask = mask.empty() ? nullptr : &mMask;
        if (options.period > 0.0) mHow.period = options.period;
    }

    cv::Mat Run() {
        const std::string& operation = mOptions.operation;
        if (operation == "scale") return Scale();
        if (operation == "mirror")
            return MakeRows(mImage.size(), [&](AOI& out) {
                mGeometry.Mirror(&mSource, &out, static_cast<KrN::KrLGeomet::Axis>(IndexIn(kAxes, mOptions.axis)));
            });
        if (operation == "turn") {
            const bool odd = mOptions.quarters % 2 != 0;
            const cv::Size size = odd ? cv::Size(mImage.rows, mImage.cols) : mImage.size();
            return Make(size, [&](AOI& out) { mGeometry.Turn(&mSource, &out, mOptions.quarters); });
        }
        if (operation == "shift") return Shift();
        if (operation == "rotate") return Rotate();
        const cv::Size half((mImage.cols + 1) / 2, (mImage.rows + 1) / 2), twice(2 * mImage.cols, 2 * mImage.rows);
        return Make(mOptions.up ? twice : half, [&](AOI& out) {
            mOptions.up ? mGeometry.PyramidUp(&mSource, &out) : mGeometry.PyramidDown(&mSource, &out);
        });
    }

private:
    void RequirePossible(const cv::Size& size) const {
        if (size.width > measure::kMaxImageSide || size.height > measure::kMaxImageSide)
            Refuse(cv::format("the result would have %d x %d pixels, a side may have %d", size.width, size.height,
                              measure::kMaxImageSide));
        AnnounceMemory(mImage, 1, size);
    }
    template <class Operation>
    cv::Mat Make(const cv::Size& size, const Operation& operation) {
        RequirePossible(size);
        cv::Mat_<T> result(size);
        AOI out = measure::ViewOf(result);
        operation(out);
        return result;
    }
    // The same of an operation that gives its result row by row, in the end at least.
    template <class Operation>
    cv::Mat MakeRows(const cv::Size& size, const Operation& operation) {
        constexpr double kShears = 0.9;  // of the time of a rotation
        double before = 0;
        const KrN::WorkWatch shears([&](double share) { mProgress.Stage(kStage, before = kShears * share); });
        return Make(size, [&](AOI& out) {
            WatchedImage<AOI> watched(
                out, [&](int row) { mProgress.Stage(kStage, before + (1 - before) * (row + 1.0) / size.height); });
            operation(watched);
        });
    }
    bool IsModulo() const { return mOptions.period > 0.0; }

    cv::Mat Scale() {
        const auto size = ParseSize("--size", mOptions.size, measure::kMaxImageSide);
        const cv::Size wanted(static_cast<int>(size.cx), static_cast<int>(size.cy));
        RequirePossible(wanted);
        cv::Mat1b excluded(wanted);
        KrN::KrAOI8 marks = measure::ViewOf(excluded);
        mHow.excluded = &marks;
        cv::Mat result = MakeRows(wanted, [&](AOI& out) {
            IsModulo() ? mGeometry.ScaleModulo(&mSource, &out, mHow) : mGeometry.Scale(&mSource, &out, mHow);
        });
        result.setTo(mHow.fill, excluded);
        return result;
    }
    cv::Mat Shift() {
        const auto by = ParseNumbers(mOptions.by);
        if (!by || by->size() != 2) Refuse("--by=" + mOptions.by + ": must be two numbers, as in 0.25,-3");
        const double dx = (*by)[0], dy = (*by)[1];
        return MakeRows(mImage.size(), [&](AOI& out) {
            IsModulo() ? mGeometry.ShiftSubPixelModulo(&mSource, &out, dx, dy, mHow)
                       : mGeometry.ShiftSubPixel(&mSource, &out, dx, dy, mHow);
        });
    }
    cv::Mat Rotate() {
        const double degrees = mOptions.degrees;
        const KrN::KrTSize<int> whole = KrN::KrLRotateByShear::RotatedSize(mSource.AOISize(), degrees, mHow.mode);
        return MakeRows(mOptions.sameSize ? mImage.size() : cv::Size(whole.cx, whole.cy), [&](AOI& out) {
            if (IsModulo())
                mGeometry.RotateModulo(&mSource, &out, degrees, mHow);
            else
                KrN::KrLRotateByShear().Rotate(&mSource, &out, degrees, mHow.mode, mHow.fill);
        });
    }

    const Options& mOptions;
    Progress& mProgress;
    const cv::Mat_<T>& mImage;
    AOI mSource;
    KrN::KrAOI8 mMask;
    KrN::KrSampling mHow;
    KrN::KrLGeomet mGeometry;
};

// Options of other operations are refused, rather than silently without effect.
void CheckUse(const Options& options, const Command& command) {
    constexpr struct {
        const char *name, *operations;
    } table[] = {
        {"--size", "scale"},           {"--axis", "mirror"},
        {"--quarters", "turn"},        {"--by", "shift"},
        {"--degrees", "rotate"},       {"--same-size", "rotate"},
        {"--up", "pyramid"},           {"--mode", "scale, shift and rotate"},
        {"--border", "shift"},         {"--fill", "scale, shift and rotate"},
        {"--mask", "scale and shift"},
    };
    for (const auto& option : table)
        if (std::string(option.operations).find(options.operation) == std::string::npos)
            command.RefuseGiven({option.name},
                                std::string("is for ") + option.operations + ", not for " + options.operation);
}

// What the pixels of the result can hold.
void CheckFill(double fill, int depth) {
    if (std::isnan(fill)) return;  // not given, or as float pictures have it anyway
    if (depth == CV_32F) {
        if (!std::isfinite(static_cast<float>(fill))) Refuse(cv::format("--fill=%g: is beyond what floats hold", fill));
        return;
    }
    const double least = depth == CV_32S ? std::numeric_limits<int>::min() : 0;
    const double most = depth == CV_8U ? 255 : depth == CV_16U ? 65535 : std::numeric_limits<int>::max();
    if (fill != std::floor(fill) || fill < least || fill > most)
        Refuse(
            cv::format("--fill=%.10g: pixels of this picture are whole numbers from %.0f to %.0f", fill, least, most));
}

void CheckOptions(const Options& options, const cv::Mat& image) {
    CheckFill(options.fill, image.depth());
    const std::string& operation = options.operation;
    const bool exact = operation == "mirror" || operation == "turn";
    if (operation == "scale" && options.size.empty()) Refuse("scale needs --size WxH");
    if (operation == "shift" && options.by.empty()) Refuse("shift needs --by DX,DY");
    if (operation == "rotate" && !std::isfinite(options.degrees)) Refuse("rotate needs --degrees, a number");
    if (options.mode == "area" && operation != "scale") Refuse("--mode area is for scale");
    const bool moves = operation == "shift" || operation == "rotate";
    if (options.mode == "fourier" && (!moves || image.depth() != CV_32F || options.period > 0.0))
        Refuse("--mode fourier is for shift and rotate of float pictures that are no wrapped phase");
    if (image.depth() == CV_32S && !exact && operation != "scale")
        Refuse(options.in + ": pictures of 32-bit integers can be scaled, mirrored and turned only");
    if (options.period == 0.0) return;
    if (operation == "pyramid") Refuse("--period: a pyramid is not for wrapped phases, use scale");
    const double needed = image.depth() == CV_8U ? 256.0 : image.depth() == CV_16U ? 65536.0 : options.period;
    if (image.depth() == CV_32S || options.period != needed)
        Refuse(cv::format("--period=%g: the period of an 8-bit phase is 256, of a 16-bit phase 65536", options.period));
}

void RunGeometry(const Options& options) {
    OutputFile output(options.out);
    Progress progress("vorip geometry");
    MemoryLimit::SetVariant("geometry " + options.operation);
    const cv::Mat image = measure::ReadPicture(options.in, progress.Watch());
    cv::Mat1b mask;
    CheckOptions(options, image);
    if (!options.mask.empty()) {
        mask = ReadMask(options.mask);
        measure::RequireSameSize(mask, options.mask, image, options.in);
        cv::bitwise_not(mask, mask);  // the library admits below 64
    }
    progress.Stage(kStage);
    const cv::Mat result = VisitPixels<std::uint8_t, std::uint16_t, std::int32_t, float>(
        image, options.in, "a picture",
        [&](const auto& pixels) { return Geometry(options, pixels, mask, progress).Run(); });
    progress.Stage("writing");
    output.Save(result);
    progress.End();
    std::printf("geometry %s: %d x %d to %d x %d %s pixels\n", options.operation.c_str(), image.cols, image.rows,
                result.cols, result.rows, measure::PixelTypeName(result).c_str());
}

}  // namespace

void AddGeometryCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("geometry", kAbout, kDetails);
    command.Add("OPERATION", options->operation, "What is done")
        .Required()
        .OneOf({"scale", "mirror", "turn", "shift", "rotate", "pyramid"});
    command.Add("IN", options->in, "Picture").Required();
    command.Add("--out", options->out, std::string("File for the result: ") + measure::kWritableFormats)
        .Required()
        .Type("FILE");
    command.Add("--size", options->size, "scale: size of the result").Type("WxH");
    command.Add("--axis", options->axis, "mirror: what changes places").OneOf(kAxes).ShowDefault();
    command.Add("--quarters", options->quarters, "turn: quarter turns, negative clockwise").ShowDefault().Type("N");
    command.Add("--by", options->by, "shift: how far, in pixels").Type("DX,DY");
    command.Add("--degrees", options->degrees, "rotate: the angle").Type("A");
    command.AddFlag("--same-size", options->sameSize, "rotate: cut to the size of the picture");
    command.AddFlag("--up", options->up, "pyramid: to twice the size");
    command.Add("--mode", options->mode, "How values between pixels are found").OneOf(kModes).ShowDefault();
    command.Add("--border", options->border, "shift: what lies outside").OneOf(kBorders).ShowDefault();
    command.Add("--fill", options->fill, "What pixels without a value become").Type("V");
    command.Add("--mask", options->mask, "scale, shift: pixels below 128 are not used").Type("FILE");
    command.Add("--period", options->period, "The picture is a wrapped phase with this period")
        .Accept([](double v) { return v > 0.0 && std::isfinite(v); }, "a number above 0")
        .Type("P");
    command.OnRun([options, &command] {
        CheckUse(*options, command);
        RunGeometry(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
