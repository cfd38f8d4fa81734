#include <cmath>
#include <cstdio>

#include "measure/base/quantile.h"
#include "measure/io.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/pictures/pixels.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Finds edges by Canny's method: 255 on an edge, 0 elsewhere";
constexpr char kDetails[] =
    "An edge is where the gradient (Sobel, 3 x 3) is greatest across it and above --high, and what hangs together "
    "with\n"
    "that above --low. A step of 100 grey values has a gradient of 400. Without thresholds, --high is the gradient "
    "that\n"
    "every tenth pixel exceeds, and --low is 0.4 times that.\n"
    "\n"
    "Example:\n"
    "  vorip edges camera.png --out edges.png";

struct Options {
    std::string in, out;
    double low = -1.0, high = -1.0;
};

// The gradient that a tenth of the pixels exceeds.
double UsualGradient(const cv::Mat& image, Progress& progress) {
    cv::Mat1f values;
    image.convertTo(values, CV_32F);
    std::vector<float> gradients;
    for (int y = 1; y + 1 < values.rows; ++y) {
        progress.Stage("finding thresholds", 0.5 * y / values.rows);  // and as long to sort
        for (int x = 1; x + 1 < values.cols; ++x) {
            const float gradient =
                4.0f * std::hypot(values(y, x + 1) - values(y, x - 1), values(y + 1, x) - values(y - 1, x));
            if (std::isfinite(gradient)) gradients.push_back(gradient);
        }
    }
    return static_cast<double>(measure::QuantileOf(gradients, 0.9));
}

void RunEdges(const Options& options) {
    OutputFile output(options.out);
    Progress progress("vorip edges");
    const cv::Mat image = measure::ReadPicture(options.in, progress.Watch());
    AnnounceMemory(image);
    cv::Mat1b edges(image.size());
    const double high = options.high < 0.0 ? UsualGradient(image, progress) : options.high;
    const double low = options.low < 0.0 ? 0.4 * high : options.low;
    if (low > high) Refuse(cv::format("--low=%g: must not be above --high (%g)", low, high));
    progress.Stage("finding edges");
    VisitPixels<std::uint8_t, std::uint16_t, float>(image, options.in, "a picture", [&](const auto& pixels) {
        const auto in = measure::ViewOf(pixels);
        auto out = measure::ViewOf(edges);
        KrN::KrLGeomet().Canny(&in, &out, low, high, true);
    });
    progress.Stage("writing");
    output.Save(edges);
    progress.End();
    std::printf("edges: %d of %d x %d pixels, thresholds %g and %g\n", cv::countNonZero(edges), edges.cols, edges.rows,
                low, high);
}

}  // namespace

void AddEdgesCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("edges", kAbout, kDetails);
    const auto positive = [](double v) { return v >= 0.0 && std::isfinite(v); };
    command.Add("IN", options->in, "Picture").Required();
    command.Add("--out", options->out, std::string("File for the edges: ") + measure::kWritableFormats)
        .Required()
        .Type("FILE");
    command.Add("--low", options->low, "Gradient that continues an edge").Accept(positive, "0 or more").Type("G");
    command.Add("--high", options->high, "Gradient that makes an edge").Accept(positive, "0 or more").Type("G");
    command.OnRun([options] {
        RunEdges(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
