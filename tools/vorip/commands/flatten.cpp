#include <ipbase/voripbase.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <sstream>
#include <vector>

#include "measure/io.h"
#include "measure/picture.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/pictures/componentsurfaces.h"
#include "tools/vorip/pictures/pixels.h"
#include "tools/vorip/pictures/selection.h"
#include "tools/vorip/pictures/watchedimage.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Subtracts a smooth surface, fitted by least squares, from a picture";
constexpr char kDetails[] =
    "The surface is c1 X^3 + c2 X^2 + c3 X + c4 Y^3 + c5 Y^2 + c6 Y + c7 X Y^2 + c8 X^2 Y + c9 X Y + c10, with\n"
    "X = column + 1 and Y = row + 1, or those of its terms that --terms names: cubic (all of them), quadratic\n"
    "(x2,x,y2,y,xy,1), plane (x,y,1), or any of x3,x2,x,y3,y2,y,xy2,x2y,xy,1.\n"
    "\n"
    "It is fitted to the pixels that --mask and --component admit and subtracted everywhere. OUT is float: IN minus\n"
    "the surface, NaN where IN is NaN or infinite. Prints the coefficients, and the rms of OUT over the pixels of the\n"
    "fit. With --components alone, every component loses a surface of its own, a plane unless --terms says otherwise,\n"
    "and what belongs to none is NaN. The components.png beside an unwrapped.tiff or .npy is taken so, unless --mask "
    "or\n"
    "--components is given: whole periods between components are unknown, and one surface through all means nothing.\n"
    "A picture of OUT is drawn beside it (OUT_picture.png).\n"
    "\n"
    "Example:\n"
    "  vorip flatten result/unwrapped.tiff --out flat.tiff\n"
    "  vorip flatten result/unwrapped.tiff --mask wall.png --terms plane --out flat.tiff";

constexpr int kTerms = KrN::KrLBestFit::kTerms;
struct Term {
    const char* name;
    const char* text;
    SurfaceTerm term;
};
constexpr Term kTermTable[kTerms] = {{"x3", "X^3", {3, 0}},    {"x2", "X^2", {2, 0}},    {"x", "X", {1, 0}},
                                     {"y3", "Y^3", {0, 3}},    {"y2", "Y^2", {0, 2}},    {"y", "Y", {0, 1}},
                                     {"xy2", "X Y^2", {1, 2}}, {"x2y", "X^2 Y", {2, 1}}, {"xy", "X Y", {1, 1}},
                                     {"1", "1", {0, 0}}};

struct Options {
    std::string in;
    std::string out;
    std::string terms;  // empty: what suits
    std::string unit;
    Selection selection;
};

using Terms = std::array<int, kTerms>;

Terms ParseTerms(std::string text) {
    if (text == "cubic") text = "x3,x2,x,y3,y2,y,xy2,x2y,xy,1";
    if (text == "quadratic") text = "x2,x,y2,y,xy,1";
    if (text == "plane") text = "x,y,1";
    Terms terms{};
    std::istringstream stream(text + ",");
    for (std::string name; std::getline(stream, name, ',');) {
        const auto* const term = std::find_if(std::begin(kTermTable), std::end(kTermTable),
                                              [&name](const Term& t) { return name == t.name; });
        if (term == std::end(kTermTable)) {
            Refuse("--terms: there is no term '" + name +
                   "' (use cubic, quadratic, plane or x3,x2,x,y3,y2,y,xy2,x2y,xy,1)");
        }
        terms[static_cast<std::size_t>(term - kTermTable)] = 1;
    }
    return terms;
}

// The mask of the fit admits values below 64.
cv::Mat1b FitMask(const cv::Mat& image, const Options& options) {
    const cv::Mat1b admitted = ReadSelection(options.selection, image, options.in);
    cv::Mat1b excluded(image.size(), uchar{0});
    if (!admitted.empty()) cv::bitwise_not(admitted, excluded);
    if (image.depth() != CV_32F) return excluded;
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x)
            if (!std::isfinite(image.at<float>(y, x))) excluded(y, x) = 255;
    }
    return excluded;
}

using Watch = std::function<void(double share)>;

cv::Mat FitSurface(KrN::KrLBestFit& fit, const cv::Mat& image, const cv::Mat1b& excluded, const Terms& t,
                   const std::string& file, const Watch& watch) {
    cv::Mat1f surface(image.size());
    const auto mask = measure::ViewOf(excluded);
    auto out = measure::ViewOf(surface);
    VisitPixels<std::uint8_t, std::uint16_t, float>(image, file, "a picture", [&](const auto& pixels) {
        const auto in = measure::ViewOf(pixels);
        using Image = std::decay_t<decltype(in)>;
        const auto half = [&](int begun) {
            return [&, begun](int row) { watch((begun + (row + 1.0) / image.rows) / 2); };
        };
        const WatchedImage<Image> fitted(in, half(0), WatchedImage<Image>::Access::eRead);
        WatchedImage<KrN::KrAOI32Float> drawn(out, half(1));
        fit.Approximation(&fitted, &drawn, &mask, nullptr, KrN::eIgnoreMask, t[0], t[1], t[2], t[3], t[4], t[5], t[6],
                          t[7], t[8], t[9]);
    });
    return surface;
}

cv::Mat Subtract(const cv::Mat& image, const cv::Mat& surface) {
    cv::Mat flat;
    image.convertTo(flat, CV_32F);
    flat -= surface;
    for (int y = 0; y < flat.rows; ++y) {
        for (int x = 0; x < flat.cols; ++x) {
            float& value = flat.at<float>(y, x);
            if (!std::isfinite(value)) value = std::numeric_limits<float>::quiet_NaN();
        }
    }
    return flat;
}

void Report(const KrN::KrLBestFit& fit, const Terms& terms, const cv::Mat& flat, const cv::Mat& fitted) {
    const int count = cv::countNonZero(fitted);
    const double rms = cv::norm(flat, cv::NORM_L2, fitted) / std::sqrt(count);
    std::printf("flatten: %d x %d pixels, surface through %d of them, rms of what remains %.6g\n", flat.cols, flat.rows,
                count, rms);
    for (std::size_t i = 0; i < kTerms; ++i)
        if (terms[i]) std::printf("  c%-2zu %-6s %18.10e\n", i + 1, kTermTable[i].text, fit.GetCoefficients()[i]);
}

void Draw(OutputFile& output, const cv::Mat& flat, const Options& options) {
    measure::PictureStyle style;
    style.title = "what remains";
    style.unit = options.unit;
    style.shade = true;
    cv::Mat drawn = flat;
    if (options.unit == "periods") flat.convertTo(drawn, CV_32F, 0.5 / CV_PI);
    const cv::Mat3b picture = measure::DrawPicture(drawn, style, Progress::WatchOfRun());
    Progress::WatchOfRun().Report("writing");
    output.SaveWithPicture(flat, picture);
}

void FlattenAsOne(cv::Mat& image, cv::Mat1b& excluded, const Terms& terms, const Options& options, OutputFile& output,
                  const Watch& watch) {
    KrN::KrLBestFit fit;
    const cv::Mat surface = FitSurface(fit, image, excluded, terms, options.in, watch);
    if (fit.IsEverythingMasked()) {
        if (options.selection.mask.empty() && options.selection.component == 0)
            throw measure::NothingUsable(options.in + ": no pixel has a value");
        Refuse("the mask leaves no pixel of " + options.in + " to fit a surface to");
    }
    const cv::Mat flat = Subtract(image, surface);
    Draw(output, flat, options);
    Report(fit, terms, flat, excluded == 0);
}

// Each component loses a surface of its own. A component with fewer pixels than the surface has terms stays empty.
void FlattenEach(const cv::Mat& image, const cv::Mat1i& numbers, const cv::Mat1b& excluded, const Terms& terms,
                 const Options& options, OutputFile& output, const Watch& watch) {
    std::vector<SurfaceTerm> used;
    for (std::size_t i = 0; i < kTerms; ++i)
        if (terms[i]) used.push_back(kTermTable[i].term);
    cv::Mat1f values;
    VisitPixels<std::uint8_t, std::uint16_t, float>(image, options.in, "a picture",
                                                    [&](const auto& pixels) { pixels.convertTo(values, CV_32F); });
    const auto [flat, all, fitted] = FlattenComponents(values, numbers, excluded, used, watch);
    if (fitted == 0) Refuse(options.selection.components + ": no component has enough pixels for the surface");
    Draw(output, flat, options);
    std::printf("flatten: %d x %d pixels, a surface of its own (%s) taken from each of %d components of %s", flat.cols,
                flat.rows, options.terms.c_str(), fitted, options.selection.components.c_str());
    if (all > fitted) std::printf("; %d with fewer pixels than terms stay empty", all - fitted);
    std::printf("\n");
}

// What vorip unwrap writes has the numbers of the components beside it, and results of some names have a unit.
void TakeWhatIsBeside(Options& options) {
    if (options.unit.empty()) options.unit = UnitOfResult(options.in);
    TakeComponentsBeside(options.selection, options.in, options.selection.mask.empty());
}

void RunFlatten(Options& options) {
    TakeWhatIsBeside(options);
    const bool each = !options.selection.components.empty() && options.selection.component == 0;
    if (options.terms.empty()) options.terms = each ? "plane" : "cubic";
    const Terms terms = ParseTerms(options.terms);
    OutputFile output(options.out);
    Progress progress("vorip flatten");
    cv::Mat image = measure::ReadPicture(options.in, progress.Watch());
    AnnounceMemory(image);
    cv::Mat1b excluded = FitMask(image, options);
    const cv::Mat1i numbers = each ? ReadComponents(options.selection, image, options.in) : cv::Mat1i();
    const Watch watch = [&](double share) { progress.Stage("fitting", share); };
    watch(0);
    if (each)
        FlattenEach(image, numbers, excluded, terms, options, output, watch);
    else
        FlattenAsOne(image, excluded, terms, options, output, watch);
    progress.End();
}

}  // namespace

void AddFlattenCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("flatten", kAbout, kDetails);
    command.Add("IN", options->in, "Picture: 8-bit, 16-bit or float").Required();
    command.Add("--out", options->out, "File for the flat picture, float: .tiff or .npy").Required().Type("FILE");
    command.Add("--terms", options->terms, "What the surface consists of [cubic; plane with --components alone]")
        .Type("TERMS");
    command
        .Add("--unit", options->unit,
             "Unit at the scale bar of the picture; periods divides radians by 2 pi [rad of unwrapped.tiff, else none]")
        .OneOf({"mm", "periods", "rad", "px"});
    AddSelection(command, options->selection, "belong to the surface");
    command.OnRun([options] {
        RunFlatten(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
