#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/absolute.h"
#include "measure/export.h"
#include "measure/progress.h"

// A flat printed board and what camera and projector see of it: the pairs of points from which calibrations are found.
namespace measure {

// Corners of a chessboard; dark circles on white on a square lattice; dark circles of which every second row is
// shifted by half a step.
enum class BoardPattern { eChessboard, eCircles, eStaggeredCircles };

// "chessboard", "circles" or "acircles"; throws InputError for other words.
MEASURE_API BoardPattern BoardPatternOf(const std::string& name);

struct BoardDescription {
    BoardPattern pattern = BoardPattern::eChessboard;
    cv::Size count;      // inner corners, or circles: in a row, and rows
    double spacing = 0;  // millimetres: the side of a square, the distance of circles; of staggered circles the
                         // distance of the rows, which is half of that in a row
};

// The points of a board in its own frame, row by row, millimetres; the first one is (0, 0). Throws InputError for
// boards of fewer than 3 x 3 points, more than 200 in a row or column, and for spacings that are not above 0.
MEASURE_API std::vector<cv::Point2d> BoardPoints(const BoardDescription& board);

struct FoundBoard {
    std::vector<cv::Point2d> points;  // pixels, in the order of BoardPoints; none when the board is not seen as a whole
    double diameter = 0;              // of circles: millimetres, as the picture shows it
    int spots = 0;                    // round dark spots of the picture, among which circles are sought
};

// Finds a board in a picture of one channel. Of the orders that a symmetric board allows it is the one whose first
// point lies nearest to the picture's upper left. Corners are refined to where the edges meet, by gradients; of circles
// the centre of darkness is found, which lies beside the centre when the board is tilted (Calibrate sees to it). Other
// spots around a board of circles, also thousands of them, do not matter unless they continue its rows.
MEASURE_API FoundBoard FindBoard(const cv::Mat& picture, const BoardDescription& board, const Progress& progress = {});

// A point of the board that both have seen.
struct BoardPoint {
    int index = 0;          // in BoardPoints
    cv::Point2d camera;     // pixels
    cv::Point2d projector;  // what the projector shows there: column and row
    cv::Matx22d slope;      // change of `projector` per camera pixel
    double deviation = 0;   // standard deviation of `projector`, pixels, from the noise of the phase
};

// One pose of the board.
struct BoardView {
    std::string name;
    cv::Mat1b picture;  // mean of the fringe pictures, stretched over all grey levels
    std::vector<BoardPoint> points;
    double diameter = 0;  // of circles, see FoundBoard
};

// The projector's coordinates at the points of a board, from the absolute phase of both directions: the value at the
// point of a surface of low order that is fitted to the pixels around, 13 x 13 or, around dark circles, more; pixels
// count by their modulation, and those that lie off are dropped. Points around which there is not enough phase on all
// sides are left out. Throws InputError when images of the two directions are missing or differ in size, and for points
// that are not finite.
MEASURE_API std::vector<BoardPoint> MatchBoard(const std::vector<cv::Point2d>& points, const AbsolutePhase& columns,
                                               const AbsolutePhase& rows, const Progress& progress = {});

// All of it for one pose: reads the pictures of a scan coded in both directions, finds the board and decodes. Throws
// InputError when a direction is not coded, no board is seen, fringe orders are not known over the whole projector or
// fewer than half of the board's points are lit, and what ReadPictures and DecodeAxis throw.
MEASURE_API BoardView ViewBoard(const std::string& name, const Scan& scan, const BoardDescription& board,
                                const Progress& progress = {});
// The same from pictures in memory, as `scan` describes them.
MEASURE_API BoardView ViewBoard(const std::string& name, const Scan& scan, const AxisPictures& columns,
                                const AxisPictures& rows, const BoardDescription& board, const Progress& progress = {});

}  // namespace measure
