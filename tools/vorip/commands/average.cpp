#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "boards/pictureboard.h"
#include "measure/io.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "The average of recorded camera pictures of the same scene, which has less noise";
constexpr char kDetails[] =
    "All pictures must have the same size and type. The average has their type: of two pictures (a + b) / 2, rounded\n"
    "down; of more their sum divided by their number, rounded. 8-bit pictures: at most 257, 16-bit ones: 65,535.\n"
    "\n"
    "A folder stands for all pictures in it, in the order of their names.\n"
    "\n"
    "With --cameras 2 the pictures are those of two cameras in turns; each camera's are averaged, and OUT gets a 0 and "
    "a\n"
    "1 before its ending.\n"
    "\n"
    "Example:\n"
    "  vorip average snap0.png snap1.png snap2.png snap3.png --out fringe0.png\n"
    "  vorip average recorded --cameras 2 --out average.tiff   (average0.tiff, average1.tiff)";

constexpr std::size_t kMostSums8 = 257;  // what fits the 16-bit sums of 8-bit pictures
constexpr std::size_t kMost16 = 65535;

struct Options {
    std::vector<std::string> frames;
    std::string out;
    int cameras = 1;
};

std::vector<std::string> ListFiles(const std::vector<std::string>& frames) {
    std::vector<std::string> files;
    for (const std::string& frame : frames) {
        std::error_code ignored;
        if (!std::filesystem::is_directory(frame, ignored)) {
            files.push_back(frame);
            continue;
        }
        const std::vector<std::string> pictures = measure::ListPictures(frame);
        if (pictures.empty()) Refuse(frame + ": there are no pictures in this folder");
        files.insert(files.end(), pictures.begin(), pictures.end());
    }
    return files;
}

unsigned short CountPerCamera(std::size_t files, std::size_t cameras, int depth) {
    if (files % cameras != 0) Refuse(cv::format("%zu pictures cannot be those of two cameras in turns", files));
    const std::size_t count = files / cameras, most = depth == CV_8U ? kMostSums8 : kMost16;
    if (count > most) {
        Refuse(cv::format("at most %zu %s pictures can be averaged, %zu given", most,
                          depth == CV_8U ? "8-bit" : "16-bit", count));
    }
    return static_cast<unsigned short>(count);
}

// The library takes pictures from the current board.
class Current {
public:
    explicit Current(KrN::KrBoard& board) { KrN::pBoardMgr->SetCurrBoard(&board); }
    ~Current() { KrN::pBoardMgr->SetCurrBoard(nullptr); }
    Current(const Current&) = delete;
    Current& operator=(const Current&) = delete;
};

// One image per camera.
class CameraJob : public KrN::KrBoard::KrJob {
public:
    explicit CameraJob(std::vector<KrN::KrAOI*> images) : mImages(std::move(images)) {}
    int GetAOICount() const override { return static_cast<int>(mImages.size()); }
    KrN::KrAOI* GetAOI(int i) override { return mImages[static_cast<std::size_t>(i)]; }
    KrN::KrAOI* DetachAOI(int i) override { return std::exchange(mImages[static_cast<std::size_t>(i)], nullptr); }
    void AttachAOI(int i, KrN::KrAOI* aoi) override { mImages[static_cast<std::size_t>(i)] = aoi; }

private:
    std::vector<KrN::KrAOI*> mImages;
};

template <class Averager, class Pixel>
void Average(const std::vector<cv::Mat>& results, unsigned short count) {
    Averager averager;
    std::vector<measure::ImageOf<Pixel>> views;
    views.reserve(results.size());
    for (cv::Mat_<Pixel> result : results) views.push_back(measure::ViewOf(result));
    if (views.size() == 1) return averager.Execute(&views[0], count);
    std::vector<KrN::KrAOI*> images(views.size());
    std::transform(views.begin(), views.end(), images.begin(), [](auto& view) { return &view; });
    CameraJob job(images);
    averager.Execute(&job, count);
}

void RunAverage(const Options& options) {
    OutputFile output(options.out);
    Progress progress("vorip average");
    progress.Stage("averaging");
    const std::vector<std::string> files = ListFiles(options.frames);
    boards::PictureBoard board(files);
    std::vector<cv::Mat> results(static_cast<std::size_t>(options.cameras));
    for (cv::Mat& result : results) result = board.MakePicture();
    const cv::Mat& result = results.front();
    AnnounceMemory(result, results.size());
    const unsigned short count = CountPerCamera(files.size(), results.size(), result.depth());
    {
        const Current current(board);
        if (result.depth() == CV_8U)
            Average<KrN::KrLAverageSnap, std::uint8_t>(results, count);
        else
            Average<KrN::KrLAverageSnap2, std::uint16_t>(results, count);
    }
    progress.Stage("writing");
    std::vector<std::string> written{options.out};
    if (results.size() == 1)
        output.Save(result);
    else
        written = output.SaveNumbered(results);
    progress.End();
    std::printf("average: %zu %s pictures of %d x %d pixels\n", files.size(), measure::PixelTypeName(result).c_str(),
                result.cols, result.rows);
    for (const std::string& name : written) std::printf("written to %s\n", name.c_str());
}

}  // namespace

void AddAverageCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("average", kAbout, kDetails);
    command.Add("FRAME", options->frames, "Pictures, or folders of pictures").Required();
    command.Add("--out", options->out, std::string("File for the average: ") + measure::kWritableFormats)
        .Required()
        .Type("OUT");
    command.Add("--cameras", options->cameras, "How many cameras took the pictures in turns")
        .Accept([](double v) { return v == 1 || v == 2; }, "1 or 2")
        .ShowDefault()
        .Type("1|2");
    command.OnRun([options] { RunAverage(*options); });
}

}  // namespace vorip
