#include <cstdio>
#include <filesystem>
#include <optional>

#include "measure/io.h"
#include "measure/picture.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/pictures/selection.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Draws a result in colours, with axes and a scale bar";
constexpr char kDetails[] =
    "IN is any float, 16-bit or 8-bit result. Its values are drawn from the first colour to the last one; pixels that\n"
    "hold no value, or are masked, are hatched; whole numbers always hold one: give --mask with them. Axes count "
    "pixels.\n"
    "\n"
    "Maps: viridis and cividis rise evenly in lightness (heights, unwrapped phase), twilight returns to its first "
    "colour\n"
    "(wrapped phase: give --period), grey is for camera pictures.\n"
    "\n"
    "Example:\n"
    "  vorip picture result/unwrapped.tiff --unit periods --level --shade --out surface.png\n"
    "  vorip picture result/phase16.png --period 65536 --mask result/mask.png --out phase.png\n"
    "  vorip picture result/unwrapped.tiff --components result/components.png --component 1 --contours 12 --out c.png";

struct Options {
    std::string in;
    std::string out;
    std::string range;
    std::string unit;
    std::string map;
    std::string title;
    std::string period;
    Selection selection;
    measure::PictureStyle style;
};

constexpr double kTwoPi = 2.0 * CV_PI;

std::optional<measure::ValueRange> ParseRange(const std::string& text) {
    if (text.empty()) return std::nullopt;
    const auto dots = text.find("..");
    const auto lower = ParseNumbers(text.substr(0, dots));
    const auto upper = dots == std::string::npos ? lower : ParseNumbers(text.substr(dots + 2));
    if (dots == std::string::npos || !lower || !upper || lower->size() != 1 || upper->size() != 1 ||
        !(lower->front() < upper->front()))
        Refuse("--range=" + text + ": must be the least and the greatest value, as in --range=-0.5..2");
    return measure::ValueRange{lower->front(), upper->front()};
}

// Results in radians are read more easily in periods; how many steps of whole numbers make one must be said.
void ToPeriods(const std::string& file, cv::Mat& image, measure::PictureStyle& style) {
    if (image.depth() != CV_32F && style.period == 0)
        Refuse(file +
               ": --unit periods divides radians; for whole numbers --period says how many make a period (256 in "
               "phase.png and unwrapped16.png, 65536 in phase16.png), and colours repeat with it; unwrapped.tiff is in "
               "radians");
    const double steps = image.depth() == CV_32F ? kTwoPi : style.period;
    image.convertTo(image, CV_32F, 1.0 / steps);
    style.period /= steps;
}

double ParsePeriod(const std::string& text) {
    if (text.empty()) return 0;
    if (text == "2pi") return kTwoPi;
    const auto period = ParseNumbers(text);
    if (!period || period->size() != 1 || !(period->front() > 0))
        Refuse("--period=" + text + ": must be above 0, as in --period=256 for an 8-bit phase, or 2pi for radians");
    return period->front();
}

// A unit that the values do not have would be a wrong scale.
void ChooseUnit(Options& options) {
    const std::string known = UnitOfResult(options.in);
    if (options.unit.empty()) options.unit = known;
    const bool isSame = options.unit == known || (options.unit == "periods" && known == "rad");
    if (!known.empty() && !isSame)
        Refuse("--unit " + options.unit + ": " + options.in + " holds " +
               (known == "px"   ? "projector pixels"
                : known == "mm" ? "millimetres"
                                : "radians"));
}

void RunPicture(Options& options) {
    measure::PictureStyle& style = options.style;
    ChooseUnit(options);
    style.range = ParseRange(options.range);
    style.period = ParsePeriod(options.period);
    style.unit = options.unit;
    style.title = options.title.empty() ? std::filesystem::path(options.in).filename().string() : options.title;
    if (!options.map.empty()) style.map = measure::ColourMapOf(options.map);
    OutputFile output(options.out, OutputFile::Pixels::eColours);
    Progress progress("vorip picture");
    TakeComponentsBeside(options.selection, options.in);
    cv::Mat image = measure::ReadPicture(options.in, progress.Watch());
    AnnounceMemory(image);
    style.mask = ReadSelection(options.selection, image, options.in);
    if (options.selection.component == 0) style.components = ReadComponents(options.selection, image, options.in);
    if (options.unit == "periods") ToPeriods(options.in, image, style);
    const cv::Mat3b picture = measure::DrawPicture(image, style, progress.Watch());
    progress.Stage("writing");
    output.Save(picture);
    progress.End();
    std::printf("picture: %s, %d x %d pixels, drawn on %d x %d\n", style.title.c_str(), image.cols, image.rows,
                picture.cols, picture.rows);
}

}  // namespace

void AddPictureCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("picture", kAbout, kDetails);
    command.Add("IN", options->in, "Result: float, 16-bit or 8-bit").Required();
    command.Add("--out", options->out, "File for the picture: .png, .bmp or .tiff").Required().Type("FILE");
    command.Add("--range", options->range, "Values of the first and the last colour [found]").Type("A..B");
    command.Add("--percent", options->style.percent, "Without --range: values at either end beyond the colours")
        .Between(0, 50, "a percentage from 0 to 50")
        .ShowDefault()
        .Type("P");
    command
        .Add("--unit", options->unit,
             "Unit at the scale bar [by the name of IN]; periods divides radians by 2 pi, whole numbers by --period")
        .OneOf({"mm", "periods", "rad", "px"});
    command.Add("--period", options->period, "Values a period apart have one colour: 256, 65536, 2pi ...").Type("P");
    command.Add("--map", options->map, "Colours [viridis; twilight with --period]")
        .OneOf({"viridis", "cividis", "twilight", "grey"});
    command.Add("--title", options->title, "Words above the picture [the name of IN]").Type("TEXT");
    AddSelection(command, options->selection, "are drawn");
    command.AddFlag("--level", options->style.level, "Removes the plane through the drawn values first");
    command.AddFlag("--shade", options->style.shade, "Shades slopes as light from the upper left would");
    command.Add("--contours", options->style.contours, "Draws N lines of equal value").Between(0, 1000).Type("N");
    command.OnRun([options] {
        RunPicture(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
