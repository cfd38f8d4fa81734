#include <cmath>
#include <cstdio>

#include "tools/vorip/commands.h"
#include "tools/vorip/failure.h"
#include "tools/vorip/filterinputs.h"
#include "tools/vorip/inputs.h"
#include "tools/vorip/outputset.h"
#include "tools/vorip/picturefile.h"
#include "tools/vorip/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Removes slow changes of brightness (shading) from a camera picture";
constexpr char kDetails[] =
    "The background is found on a reduced copy of the picture: --dilate times each pixel becomes the brightest of the\n"
    "--kernel window around it, which closes dark spots; then each becomes the mean of its window. Enlarged to full\n"
    "size, the picture is divided by it, and the result stretched so that its brightest pixel is 255 or 65,535.\n"
    "\n"
    "What is dark over more than about twice the reach of the dilatations counts as background: by default 3 times "
    "one\n"
    "of 12 pixels to each side, so that dark objects up to 72 pixels wide stay dark.\n"
    "\n"
    "Writes corrected.png and background.png, of the same pixel type as IN.\n"
    "\n"
    "Example:\n"
    "  vorip shade camera.png --out even";

struct Options {
    std::string in;
    std::string out;
    std::string kernel = "3x3";
    unsigned int reduce = 12;
    unsigned int dilate = 3;
};

class Shading : public KrN::KrLShadeCorrection {
public:
    Shading(const Options& options, WindowSize kernel) {
        SetKernelSize(kernel);
        SetDilatationNum(options.dilate);
        SetReduceFactor(options.reduce);
    }
};

template <class AOI>
void Correct(Shading& shading, cv::Mat& image, cv::Mat& background) {
    auto in = View<AOI>(image, L"picture");
    auto out = View<AOI>(background, L"background");
    shading.GetBackgroundShade(&in, &out);
    shading.ShadeCorrection(&in, &in);
}

void RunShade(const Options& options) {
    Shading shading(options, ParseSize("--kernel", options.kernel));
    OutputSet outputs(options.out);
    Progress progress("vorip shade");
    progress.Stage("computing");
    cv::Mat image = ReadPicture(options.in);
    cv::Mat background(image.size(), image.type());
    switch (image.depth()) {
        case CV_8U: Correct<KrN::KrAOI8>(shading, image, background); break;
        case CV_16U: Correct<KrN::KrAOI16>(shading, image, background); break;
        default: Refuse(options.in + ": a camera picture is 8-bit or 16-bit, this is " + PixelTypeName(image));
    }
    progress.Stage("writing");
    outputs.AddImage("corrected.png", image);
    outputs.AddImage("background.png", background);
    outputs.Commit();
    progress.End();
    double least = 0, greatest = 0;
    cv::minMaxLoc(background, &least, &greatest);
    std::printf("shade: %d x %d %s pixels, background from %g to %g\n", image.cols, image.rows,
                PixelTypeName(image).c_str(), least, greatest);
    if (greatest == 0) std::printf("the background is 0 everywhere, and so is the corrected picture\n");
}

CLI::Validator WholeNumberFrom(int least) {
    return NumberThat([least](double v) { return v >= least && v <= kMaxImageSide && v == std::floor(v); },
                      cv::format("a whole number of %d to %d", least, kMaxImageSide));
}

}  // namespace

void AddShadeCommand(CLI::App& program) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = program.add_subcommand("shade", kAbout);
    command->footer(kDetails);
    command->add_option("IN", options->in, "Camera picture, 8-bit or 16-bit")->required();
    command->add_option("--out", options->out, "Folder for the results")->required()->type_name("DIR");
    command->add_option("--reduce", options->reduce, "The reduced copy has every N-th pixel of every N-th row")
        ->check(WholeNumberFrom(1))
        ->capture_default_str()
        ->type_name("N");
    command->add_option("--kernel", options->kernel, "Window of the dilatation and of the mean, in reduced pixels")
        ->capture_default_str()
        ->type_name("WxH");
    command->add_option("--dilate", options->dilate, "How many times to dilate; 0: not at all")
        ->check(WholeNumberFrom(0))
        ->capture_default_str()
        ->type_name("N");
    command->callback([options] {
        RunShade(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
