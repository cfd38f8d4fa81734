#include <string>

#include "measure/base/arguments.h"
#include "measure/board.h"
#include "measure/error.h"
#include "measure/frames.h"
#include "measure/world/refine.h"

namespace measure {
namespace {

// Of the finest sets of both directions; equal shifts make the fringes cancel.
cv::Mat1f MeanPicture(const AxisPictures& columns, const AxisPictures& rows) {
    cv::Mat1f sum;
    int count = 0;
    for (const AxisPictures* pictures : {&columns, &rows})
        for (const std::vector<cv::Mat>& set : pictures->sines)
            for (const cv::Mat& frame : set) {
                if (sum.empty()) sum = cv::Mat1f(frame.size(), 0.0f);
                RequireOneSize({"the first picture", sum}, {{"a later one", frame}});
                if (frame.channels() != 1) throw InputError("a fringe picture has one channel, not several");
                cv::add(sum, frame, sum, {}, CV_32F);
                ++count;
            }
    if (count == 0) throw InputError("there are no fringe pictures");
    sum *= 1.0 / count;
    return sum;
}

AbsolutePhase Decode(const char* direction, const CodedAxis& axis, const AxisPictures& pictures, double fullScale,
                     const Progress& progress) {
    DecodeOptions options;
    options.limits.fullScale = fullScale;
    AbsolutePhase phase;
    try {
        phase = DecodeAxis(axis, pictures, options, progress);
    } catch (const InputError& error) {
        throw InputError(std::string(direction) + ": " + error.what());
    } catch (const NothingUsable& error) {
        const std::string hint = fullScale > 0 ? "" : HintOfCameraBits(pictures.sines);
        throw NothingUsable(std::string(direction) + ": " + error.what() + (hint.empty() ? "" : "; " + hint));
    }
    if (phase.repeat > 0)
        throw InputError(std::string(direction) +
                         ": the fringes repeat before the end of the projector, so that it is not known which are "
                         "which: add a coarser set or a Gray code");
    return phase;
}

void RequireBothDirections(const Scan& scan) {
    if (scan.columns && scan.rows) return;
    throw InputError(std::string("the scan description has no \"") + (scan.columns ? "rows" : "columns") +
                     "\": a calibration needs fringes in both directions");
}

std::string WhyNone(const BoardDescription& board, const FoundBoard& found) {
    const bool isChessboard = board.pattern == BoardPattern::eChessboard;
    std::string text = cv::format("no board of %d x %d %s is seen: it must be in view as a whole, sharp and evenly lit",
                                  board.count.width, board.count.height, isChessboard ? "inner corners" : "circles");
    if (isChessboard) text += "; inner corners are counted, one less than squares";
    if (found.spots > board.count.area())
        text += cv::format("; of %d round spots none make up such a board: cover holes and patterns around it",
                           found.spots);
    return text;
}

}  // namespace

BoardView ViewBoard(const std::string& name, const Scan& scan, const BoardDescription& board,
                    const Progress& progress) {
    RequireBothDirections(scan);
    const AxisPictures columns = ReadPictures(*scan.columns, progress);
    return ViewBoard(name, scan, columns, ReadPictures(*scan.rows, progress), board, progress);
}

BoardView ViewBoard(const std::string& name, const Scan& scan, const AxisPictures& columns, const AxisPictures& rows,
                    const BoardDescription& board, const Progress& progress) {
    RequireBothDirections(scan);
    BoardView view;
    view.name = name;
    const std::size_t count = BoardPoints(board).size();
    const cv::Mat1f mean = MeanPicture(columns, rows);
    const FoundBoard found = FindBoard(mean, board, progress);
    if (found.points.empty()) throw InputError(WhyNone(board, found));
    view.picture = Stretch(mean);
    view.diameter = found.diameter;
    view.points = MatchBoard(found.points, Decode("columns", *scan.columns, columns, scan.fullScale, progress),
                             Decode("rows", *scan.rows, rows, scan.fullScale, progress), progress);
    if (2 * view.points.size() < count)
        throw InputError(
            cv::format("the projector reaches only %zu of the board's %zu points", view.points.size(), count));
    return view;
}

}  // namespace measure
