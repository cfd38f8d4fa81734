#include <cstdint>
#include <cstdio>
#include <opencv2/imgproc.hpp>

#include "measure/io.h"
#include "measure/picture.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/pictures/regionpicture.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "The bright regions of a picture: outlines, areas, positions";
constexpr char kDetails[] =
    "A region is a set of pixels above the threshold that touch at their sides, together with the bright pixels in "
    "its\n"
    "holes. IN is 8-bit; of a 16-bit picture the upper 8 bits count.\n"
    "\n"
    "Writes labels.npy (32-bit numbers 1, 2, ... of the regions, 0 between them), labels.png (the same in colours),\n"
    "outlines.png (the picture, darkened, with the outlines), regions.csv (a line per region: number, bounding box,\n"
    "centroid, centroid weighted with the grey values, area, perimeter, mean grey value and number of border points)\n"
    "and summary.json.\n"
    "Columns and rows count from 0; areas are in squares of the pixel width, perimeters are in pixels.\n"
    "\n"
    "Example:\n"
    "  vorip regions parts.png --threshold 90 --min-area 20 --out result";

constexpr int kFromHistogram = -1;
constexpr int kFrame = 1;  // dark pixels around the picture: the tracer leaves out the outermost ones
constexpr int kLargestSide = measure::kMaxImageSide - 2 * kFrame;

struct RegionsOptions {
    std::string picture;
    std::string out;
    int threshold = kFromHistogram;
    double minArea = 0;
    double pixelRatio = 1;
    bool fillHoles = false;
};

int ThresholdBetweenModes(const cv::Mat1b& picture, const std::string& file) {
    const auto view = measure::ViewOf(picture);
    KrN::KrLHistogram histogram;
    histogram.Create(&view, 256);
    KrN::KrBimodalHistoAnalyzer modes;
    if (!modes.Analyze(histogram)) Refuse(file + ": has one grey value only, which needs a --threshold");
    return static_cast<int>(modes.GetThreshold());
}

cv::Mat ReadFramed(const std::string& file) {
    const cv::Mat picture = ReadGrey8(file);
    if (picture.cols > kLargestSide || picture.rows > kLargestSide) {
        Refuse(cv::format("%s: %d x %d pixels is too large, a side may have %d", file.c_str(), picture.cols,
                          picture.rows, kLargestSide));
    }
    cv::Mat framed;
    cv::copyMakeBorder(picture, framed, kFrame, kFrame, kFrame, kFrame, cv::BORDER_CONSTANT, 0);
    return framed;
}

std::string CsvLine(int number, const KrN::KrAttribute& a) {
    const auto inPicture = [](float framed) { return static_cast<double>(framed) - kFrame; };
    return cv::format("%d,%d,%d,%d,%d,%.3f,%.3f,%.3f,%.3f,%.9g,%.3f,%.3f,%zu\n", number, a.minX - kFrame,
                      a.minY - kFrame, a.maxX - kFrame, a.maxY - kFrame, inPicture(a.centroidX), inPicture(a.centroidY),
                      inPicture(a.weightedCentroidX), inPicture(a.weightedCentroidY), static_cast<double>(a.area),
                      static_cast<double>(a.perimeter), static_cast<double>(a.meanValue), a.borderPoints.Size());
}

void RunRegions(const RegionsOptions& options) {
    OutputSet outputs(options.out);
    Progress progress("vorip regions");
    progress.Stage("reading");
    cv::Mat1b framed = ReadFramed(options.picture);
    AnnounceMemory(framed);
    const cv::Rect inside(kFrame, kFrame, framed.cols - 2 * kFrame, framed.rows - 2 * kFrame);
    const cv::Mat1b picture = framed(inside);
    cv::Mat1i labels(framed.size());
    const bool given = options.threshold != kFromHistogram;
    const int threshold = given ? options.threshold : ThresholdBetweenModes(picture, options.picture);

    progress.Stage("tracing");
    auto view = measure::ViewOf(framed);
    auto labelView = measure::ViewOf(labels);
    KrN::KrSegmentScan scan;
    scan.GetSegment().SetThreshold(static_cast<unsigned char>(threshold));
    scan.GetSegment().SetPixelRatio(static_cast<float>(options.pixelRatio));
    if (options.fillHoles) scan.GetSegment().ConsiderAllInsideOn();
    scan.SetMinArea(static_cast<float>(options.minArea));
    RegionPicture outlines = RegionPicture::Outlines(picture);
    std::string table =
        "number,min_x,min_y,max_x,max_y,centroid_x,centroid_y,weighted_x,weighted_y,area,perimeter,mean,"
        "border_points\n";
    const int count = scan.Execute(&view, &labelView, [&](int number, const KrN::KrAttribute& attribute) {
        progress.Stage("tracing", static_cast<double>(attribute.minY) / framed.rows);
        table += CsvLine(number, attribute);
        for (const auto& p : attribute.borderPoints) outlines.Paint(p.x - kFrame, p.y - kFrame, number);
    });

    progress.Stage("writing");
    const cv::Mat result = labels(inside).clone();
    outputs.AddImage("labels.npy", result);
    outputs.AddImage("labels.png", measure::DrawComponents(result));
    outputs.AddImage("outlines.png", outlines.Draw());
    outputs.AddText("regions.csv", table);
    outputs.AddText("summary.json", SummaryOf("regions", {{"width", std::to_string(result.cols)},
                                                          {"height", std::to_string(result.rows)},
                                                          {"regions", std::to_string(count)},
                                                          {"threshold", std::to_string(threshold)},
                                                          {"threshold_found", JsonTruth(!given)},
                                                          {"min_area", JsonNumber(options.minArea)},
                                                          {"pixel_ratio", JsonNumber(options.pixelRatio)},
                                                          {"fill_holes", JsonTruth(options.fillHoles)}}));
    outputs.Commit();
    progress.End();
    std::printf("regions: %d in %d x %d pixels, above the grey value %d%s\n", count, result.cols, result.rows,
                threshold, given ? "" : " (between the two modes of the histogram)");
}

}  // namespace

void AddRegionsCommand(CommandLine& program) {
    const auto options = std::make_shared<RegionsOptions>();
    Command& command = program.Add("regions", kAbout, kDetails);
    command.Add("IN", options->picture, "Picture").Required();
    command.Add("--out", options->out, "Folder for the results").Required().Type("DIR");
    command
        .Add("--threshold", options->threshold,
             "Grey value that the pixels of regions exceed [between the two modes of the histogram]")
        .Between(0, 254)
        .Type("0..254");
    command.Add("--min-area", options->minArea, "Smaller regions are left out")
        .Between(0, 1e9, "an area of 0 or more")
        .ShowDefault()
        .Type("AREA");
    command.Add("--pixel-ratio", options->pixelRatio, "Width of a pixel divided by its height")
        .Between(0.001, 1000)
        .ShowDefault()
        .Type("RATIO");
    command.AddFlag("--fill-holes", options->fillHoles,
                    "The dark pixels in the holes of a region belong to it, too [they do not]");
    command.OnRun([options] {
        RunRegions(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
