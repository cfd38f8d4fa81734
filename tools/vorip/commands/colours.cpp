#include <array>
#include <cmath>
#include <cstdio>

#include "measure/io.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/pictures/watchedimage.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Reduces a colour picture to a few colours";
constexpr char kDetails[] =
    "The colours are found by an octree, then --refine times moved to the mean of the pixels that are nearest to "
    "them;\n"
    "each pixel gets the nearest one. A picture of no more colours than asked for stays as it is.\n"
    "\n"
    "Example:\n"
    "  vorip colours screenshot.png --colours 16 --out small.png";

struct Options {
    std::string in, out;
    int colours = 256;
    int refine = 3;
};

void RunColours(const Options& options) {
    OutputFile output(options.out);
    Progress progress("vorip colours");
    const cv::Mat3b picture = measure::ReadColourPicture(options.in, progress.Watch());
    AnnounceMemory(picture);
    std::array<cv::Mat1b, 3> planes;  // blue, green, red
    cv::split(picture, planes.data());
    const auto b = measure::ViewOf(planes[0]);
    const auto g = measure::ViewOf(planes[1]);
    const auto r = measure::ViewOf(planes[2]);
    cv::Mat1b indices(picture.size());
    auto out = measure::ViewOf(indices);
    KrN::KrOctreeQuantizer quantizer;
    const auto watch = [&](const char* stage) {
        return [&progress, stage, rows = picture.rows](int row) { progress.Stage(stage, (row + 1.0) / rows); };
    };
    using Watched = WatchedImage<KrN::KrAOI8>;
    const Watched counted(r, watch("counting colours"), Watched::Access::eRead);
    quantizer.Build(&counted, &g, &b, nullptr, options.colours);
    for (int i = 0; i < options.refine; ++i) {
        progress.Stage("moving colours", static_cast<double>(i) / options.refine);
        quantizer.Refine(1);
    }
    Watched mapped(out, watch("mapping pixels"));
    quantizer.Map(&r, &g, &b, &mapped);
    KrN::KrLut3x8 palette;
    quantizer.GetPalette(palette);
    cv::Mat3b result(picture.size());
    for (int y = 0; y < result.rows; ++y)
        for (int x = 0; x < result.cols; ++x) {
            const unsigned short i = indices.at<std::uint8_t>(y, x);
            result(y, x) = {palette.GetElemB(i), palette.GetElemG(i), palette.GetElemR(i)};
        }
    progress.Stage("writing");
    output.Save(result);
    progress.End();
    const double error = cv::norm(picture, result, cv::NORM_L2SQR) / (3.0 * static_cast<double>(picture.total()));
    std::printf("colours: %d x %d pixels in %d colours, ", picture.cols, picture.rows, quantizer.Count());
    error > 0.0 ? std::printf("PSNR %.1f dB\n", 10.0 * std::log10(255.0 * 255.0 / error)) : std::printf("exact\n");
}

}  // namespace

void AddColoursCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("colours", kAbout, kDetails);
    command.Add("IN", options->in, "Colour picture: PNG, TIFF or BMP").Required();
    command.Add("--out", options->out, "File for the result: .png, .bmp or .tiff").Required().Type("FILE");
    command.Add("--colours", options->colours, "How many colours at most").Between(2, 256).ShowDefault().Type("N");
    command.Add("--refine", options->refine, "How often to move the colours").Between(0, 100).ShowDefault().Type("N");
    command.OnRun([options] {
        RunColours(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
