#include "measure/board.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/calib3d.hpp>  // its names of flags alone
#include <opencv2/imgproc.hpp>
#include <tuple>
#include <utility>

#include "measure/error.h"
#include "measure/world/refine.h"
#include "measure/world/spotlattice.h"
#include "measure/world/vision.h"

namespace measure {
namespace {

// The places of points of a reduced picture.
std::vector<cv::Point2d> Enlarged(const std::vector<cv::Point2f>& points, double scale) {
    std::vector<cv::Point2d> enlarged;
    for (const cv::Point2f& p : points) enlarged.emplace_back((p.x + 0.5) / scale - 0.5, (p.y + 0.5) / scale - 0.5);
    return enlarged;
}

// The picture with its longer side reduced to so many pixels, and by which factor.
std::pair<cv::Mat1b, double> Reduced(const cv::Mat1b& picture, double side) {
    const double scale = std::min(1.0, side / std::max(picture.cols, picture.rows));
    cv::Mat1b reduced = picture;
    const cv::Size size(std::max(1, cvRound(picture.cols * scale)), std::max(1, cvRound(picture.rows * scale)));
    if (scale < 1) cv::resize(picture, reduced, size, 0, 0, cv::INTER_AREA);
    return {reduced, scale};
}

// Small pictures show boards as well as large ones, and sooner; those with many or small squares need more pixels.
std::vector<cv::Point2d> FindCorners(const cv::Mat1b& picture, cv::Size count, const Progress& progress) {
    const std::pair<double, int> attempts[] = {
        {640, 0}, {960, cv::CALIB_CB_EXHAUSTIVE}, {960, cv::CALIB_CB_NORMALIZE_IMAGE}, {1600, 0}};
    for (const auto& [side, flags] : attempts) {
        progress.Report("finding the board");
        const auto [reduced, scale] = Reduced(picture, side);
        std::vector<cv::Point2f> found;
        if (!GetVision().findCorners(reduced, count, flags, found)) continue;
        return Enlarged(found, scale);
    }
    return {};
}

// Whether spots are where a board has its circles tells a general search too, which is slow where there are many.
std::vector<cv::Point2f> FindAmongFew(const std::vector<cv::KeyPoint>& spots, const BoardDescription& board,
                                      const Progress& progress) {
    constexpr std::size_t kMost = 250;
    if (spots.empty() || spots.size() > kMost) return {};
    std::vector<cv::Point2f> places, found;
    cv::KeyPoint::convert(spots, places);
    const bool isStaggered = board.pattern == BoardPattern::eStaggeredCircles;
    const int grid = isStaggered ? cv::CALIB_CB_ASYMMETRIC_GRID : cv::CALIB_CB_SYMMETRIC_GRID;
    for (const int flags : {grid, grid | cv::CALIB_CB_CLUSTERING}) {
        progress.Report("finding the board");
        if (GetVision().findCircles(places, board.count, flags, found)) return found;
    }
    return {};
}

// The circles of a board, and of how many spots they are.
std::pair<std::vector<cv::Point2d>, int> FindCircles(const cv::Mat1b& picture, const BoardDescription& board,
                                                     const Progress& progress) {
    progress.Report("finding the board");
    const auto [reduced, scale] = Reduced(picture, 960);
    std::vector<cv::KeyPoint> spots;
    GetVision().findSpots(reduced, static_cast<float>(reduced.total()) / static_cast<float>(board.count.area()), spots);
    std::vector<cv::Point2f> found = FindInLattice(spots, board, progress);
    if (found.empty()) found = FindAmongFew(spots, board, progress);
    return {Enlarged(found, scale), static_cast<int>(spots.size())};
}

// A symmetric board gives the same points other numbers when it is turned by half a circle. That changes no
// calibration, as each pose has a frame of its own; in reports the first point is up and left.
void Upright(std::vector<cv::Point2d>& points, const BoardDescription& board) {
    const bool isStaggered = board.pattern == BoardPattern::eStaggeredCircles;
    const bool isSymmetric = !isStaggered || board.count.height % 2 == 0;
    const auto weight = [](cv::Point2d p) { return p.x + p.y; };
    if (isSymmetric && weight(points.back()) < weight(points.front())) std::reverse(points.begin(), points.end());
}

}  // namespace

BoardPattern BoardPatternOf(const std::string& name) {
    if (name == "chessboard") return BoardPattern::eChessboard;
    if (name == "circles") return BoardPattern::eCircles;
    if (name == "acircles") return BoardPattern::eStaggeredCircles;
    throw InputError("there is no board pattern \"" + name + "\"; there are chessboard, circles and acircles");
}

std::vector<cv::Point2d> BoardPoints(const BoardDescription& board) {
    constexpr int kMost = 200;
    const auto [columns, rows] = std::array{board.count.width, board.count.height};
    if (columns < 3 || rows < 3 || columns > kMost || rows > kMost)
        throw InputError(
            cv::format("a board of %d x %d points: 3 to %d in rows and columns are possible", columns, rows, kMost));
    if (!(board.spacing > 0) || !std::isfinite(board.spacing))
        throw InputError("the size of the board's squares, or the distance of its circles, must be above 0 mm");
    const bool isStaggered = board.pattern == BoardPattern::eStaggeredCircles;
    std::vector<cv::Point2d> points;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x)
            points.emplace_back((isStaggered ? 2 * x + y % 2 : x) * board.spacing, y * board.spacing);
    return points;
}

FoundBoard FindBoard(const cv::Mat& picture, const BoardDescription& board, const Progress& progress) {
    if (picture.empty() || picture.channels() != 1) throw InputError("a board is found in a picture of one channel");
    const std::size_t count = BoardPoints(board).size();
    cv::Mat1f values;
    picture.convertTo(values, CV_32F);
    cv::patchNaNs(values, 0);
    const cv::Mat1b stretched = Stretch(values);
    const bool isChessboard = board.pattern == BoardPattern::eChessboard;
    FoundBoard result;
    if (isChessboard)
        result.points = FindCorners(stretched, board.count, progress);
    else
        std::tie(result.points, result.spots) = FindCircles(stretched, board, progress);
    if (result.points.size() != count) return {{}, 0, result.spots};
    if (isChessboard)
        RefineCorners(values, board, result.points);
    else
        result.diameter = RefineCircles(values, board, result.points);
    Upright(result.points, board);
    return result;
}

}  // namespace measure
