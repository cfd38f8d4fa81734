#include <cmath>
#include <cstdio>

#include "measure/io.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/filterinputs.h"
#include "tools/vorip/pictures/pixels.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Removes slow changes of brightness (shading) from a camera picture";
constexpr char kDetails[] =
    "The background is found on a reduced copy of the picture: --dilate times each pixel becomes the brightest of the\n"
    "--size window around it, which closes dark spots; then each becomes the mean of its window. Enlarged to full\n"
    "size, the picture is divided by it, and the result stretched so that its brightest pixel is 255 or 65,535.\n"
    "\n"
    "What is dark over more than about twice the reach of the dilatations counts as background: by default 3 times "
    "one\n"
    "of 12 pixels to each side, so that dark objects up to 72 pixels wide stay dark.\n"
    "\n"
    "Writes corrected.png and background.png, of the same pixel type as IN, and summary.json.\n"
    "\n"
    "Example:\n"
    "  vorip shade camera.png --out even";

struct Options {
    std::string in;
    std::string out;
    std::string size = "3x3";
    unsigned int reduce = 12;
    unsigned int dilate = 3;
};

class Shading : public KrN::KrLShadeCorrection {
public:
    Shading(const Options& options, WindowSize size) {
        SetKernelSize(size);
        SetDilatationNum(options.dilate);
        SetReduceFactor(options.reduce);
    }
};

// Corrects the image in place and returns the background.
cv::Mat Correct(Shading& shading, const cv::Mat& image, const std::string& file) {
    return VisitPixels<std::uint8_t, std::uint16_t>(image, file, "a camera picture", [&](auto& pixels) -> cv::Mat {
        auto background = pixels.clone();
        auto in = measure::ViewOf(pixels);
        auto out = measure::ViewOf(background);
        shading.GetBackgroundShade(&in, &out);
        shading.ShadeCorrection(&in, &in);
        return background;
    });
}

void RunShade(const Options& options) {
    Shading shading(options, ParseSize("--size", options.size));
    OutputSet outputs(options.out);
    Progress progress("vorip shade");
    cv::Mat image = measure::ReadPicture(options.in, progress.Watch());
    progress.Stage("computing");
    AnnounceMemory(image);
    const cv::Mat background = Correct(shading, image, options.in);
    double least = 0, greatest = 0;
    cv::minMaxLoc(background, &least, &greatest);
    progress.Stage("writing");
    outputs.AddImage("corrected.png", image);
    outputs.AddImage("background.png", background);
    outputs.AddText("summary.json", SummaryOf("shade", {{"width", std::to_string(image.cols)},
                                                        {"height", std::to_string(image.rows)},
                                                        {"reduce", std::to_string(options.reduce)},
                                                        {"size", JsonText(options.size)},
                                                        {"dilate", std::to_string(options.dilate)},
                                                        {"background_min", JsonNumber(least)},
                                                        {"background_max", JsonNumber(greatest)}}));
    outputs.Commit();
    progress.End();
    std::printf("shade: %d x %d %s pixels, background from %g to %g\n", image.cols, image.rows,
                measure::PixelTypeName(image).c_str(), least, greatest);
    if (greatest == 0) std::printf("the background is 0 everywhere, and so is the corrected picture\n");
}

void AddCount(Command& command, const char* name, unsigned int& count, int least, const char* help) {
    const std::string rule = cv::format("a whole number of %d to %d", least, measure::kMaxImageSide);
    command.Add(name, count, help).Between(least, measure::kMaxImageSide, rule).ShowDefault().Type("N");
}

}  // namespace

void AddShadeCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("shade", kAbout, kDetails);
    command.Add("IN", options->in, "Camera picture, 8-bit or 16-bit").Required();
    command.Add("--out", options->out, "Folder for the results").Required().Type("DIR");
    AddCount(command, "--reduce", options->reduce, 1, "The reduced copy has every N-th pixel of every N-th row");
    command.Add("--size,--kernel", options->size, "Window of the dilatation and of the mean, in reduced pixels")
        .ShowDefault()
        .Type("WxH");
    AddCount(command, "--dilate", options->dilate, 0, "How many times to dilate; 0: not at all");
    command.OnRun([options] {
        RunShade(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
