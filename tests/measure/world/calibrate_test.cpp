// Calibration against simulated poses of a board, of which camera, projector and place are known.
#include "measure/calibrate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <random>

#include "measure/error.h"
#include "measure/simulatescan.h"
#include "measure/world/rotation.h"
#include "tests/support/refusal.h"

namespace {

using namespace measure;
using simulate::Pose;
using simulate::Rig;

const BoardDescription kBoard{BoardPattern::eChessboard, {9, 6}, 14},
    kFineBoard{BoardPattern::eChessboard, {13, 9}, 10};

simulate::Board Printed(const BoardDescription& board) {
    if (board.pattern == BoardPattern::eChessboard) return simulate::Chessboard(board.count, board.spacing);
    return simulate::CircleGrid(board.count, board.spacing, board.pattern == BoardPattern::eStaggeredCircles);
}

cv::Point2d InCamera(const Rig& rig, const cv::Vec3d& p) { return rig.camera.Project({p[0] / p[2], p[1] / p[2]}); }
cv::Point2d InProjector(const Rig& rig, const cv::Vec3d& p) {
    const cv::Vec3d q = rig.toProjector.rotation * p + rig.toProjector.translation;
    return rig.projector.Project({q[0] / q[2], q[1] / q[2]});
}

// What the projector shows where the camera sees a board.
cv::Point2d Shown(const Rig& rig, const Pose& pose, cv::Point2d pixel) {
    const cv::Point2d d = rig.camera.Direction(pixel);
    const cv::Vec3d ray(d.x, d.y, 1), normal = pose.rotation * cv::Vec3d(0, 0, 1);
    return InProjector(rig, normal.dot(pose.translation) / normal.dot(ray) * ray);
}

BoardView ViewOfPoints(const Rig& rig, const Pose& pose, const std::vector<cv::Point2d>& pixels) {
    BoardView view;
    view.picture = cv::Mat1b(rig.cameraSize, 0);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const cv::Point2d at = Shown(rig, pose, pixels[i]),
                          right = Shown(rig, pose, pixels[i] + cv::Point2d(1, 0)) - at,
                          below = Shown(rig, pose, pixels[i] + cv::Point2d(0, 1)) - at;
        view.points.push_back({static_cast<int>(i), pixels[i], at, {right.x, below.x, right.y, below.y}, 0});
    }
    return view;
}

// Points with noise of their own (pixels of camera and projector), and noise that shifts a point for both alike, as a
// corner that is found beside its place does.
struct Noise {
    double own = 0, shared = 0;
};

std::vector<BoardView> MakeViews(const Rig& rig, int count, const Noise& noise, double tilt = 30,
                                 const BoardDescription& board = kBoard) {
    std::mt19937 random(7);
    std::normal_distribution<double> normal;
    const auto shift = [&](double size) { return size * cv::Point2d(normal(random), normal(random)); };
    std::vector<BoardView> views;
    for (const Pose& pose : simulate::BoardPoses(rig, Printed(board), count, tilt)) {
        std::vector<cv::Point2d> pixels;
        for (const cv::Point2d& p : BoardPoints(board))
            pixels.push_back(InCamera(rig, pose.rotation * cv::Vec3d(p.x, p.y, 0) + pose.translation) +
                             shift(noise.shared));
        views.push_back(ViewOfPoints(rig, pose, pixels));
        views.back().name = "pose" + std::to_string(views.size());
        for (BoardPoint& point : views.back().points) {
            point.camera += shift(noise.own);
            point.projector += shift(noise.own);
        }
    }
    return views;
}

// Errors of all parameters in units of their reported deviations, without those that were not to be found.
std::vector<double> StandardErrors(const Rig& rig, const Calibration& c) {
    std::vector<double> errors;
    const auto add = [&](double found, double truth, double deviation) {
        if (deviation > 0) errors.push_back((found - truth) / deviation);
    };
    for (const auto& [found, truth, d] : {std::tuple(c.camera, rig.camera, c.cameraDeviation),
                                          std::tuple(c.projector, rig.projector, c.projectorDeviation)})
        for (double Lens::*const each :
             {&Lens::fx, &Lens::fy, &Lens::cx, &Lens::cy, &Lens::k1, &Lens::k2, &Lens::p1, &Lens::p2, &Lens::k3})
            add(found.*each, truth.*each, d.*each);
    const cv::Matx33d turn = c.rotation * rig.toProjector.rotation.t();
    add(0.5 * (turn(2, 1) - turn(1, 2)), 0, c.rotationDeviation[0]);
    add(0.5 * (turn(0, 2) - turn(2, 0)), 0, c.rotationDeviation[1]);
    add(0.5 * (turn(1, 0) - turn(0, 1)), 0, c.rotationDeviation[2]);
    for (int i = 0; i < 3; ++i) add(c.translation[i], rig.toProjector.translation[i], c.translationDeviation[i]);
    return errors;
}

void ExpectWithinDeviations(const Rig& rig, const Calibration& c) {
    double squares = 0;
    const std::vector<double> errors = StandardErrors(rig, c);
    for (const double e : errors) {
        EXPECT_LT(std::abs(e), 3);
        squares += e * e;
    }
    // Nor are they far too large.
    EXPECT_GT(std::sqrt(squares / static_cast<double>(errors.size())), 0.25);
}

TEST(Calibrate, ErrorsStayWithinTheReportedDeviations) {
    const Rig rig = simulate::StandardRig({1936, 1216});
    const struct {
        int poses;
        Noise noise;
        DistortionModel model;
        double mostFocal, mostShift;  // shares, millimetres
    } rows[] = {
        {6, {0, 0}, {}, 1e-9, 1e-6},      {6, {0.1, 0}, {}, 8e-4, 0.6},
        {12, {0.1, 0}, {}, 4e-4, 0.4},    {20, {0.3, 0}, {}, 1.2e-3, 0.6},
        {12, {0.03, 0.1}, {}, 4e-4, 0.4}, {12, {0.1, 0}, {true, true, true, true}, 8e-4, 0.6},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.poses + 100 * row.noise.own);
        const std::vector<BoardView> views = MakeViews(rig, row.poses, row.noise, 30, kFineBoard);
        const CalibrationResult result = Calibrate(views, kFineBoard, rig.projectorSize, row.model);
        const Calibration& c = result.calibration;
        EXPECT_NEAR(c.camera.fx / rig.camera.fx, 1, row.mostFocal);
        EXPECT_NEAR(c.projector.fx / rig.projector.fx, 1, 2 * row.mostFocal);
        EXPECT_LT(cv::norm(c.translation - rig.toProjector.translation), row.mostShift);
        EXPECT_EQ(c.cameraSize, rig.cameraSize);
        EXPECT_EQ(c.poses, row.poses);
        EXPECT_TRUE(result.isSound);
        EXPECT_EQ(c.cameraDeviation.k3 > 0, row.model.k3);
        if (row.noise.own == 0) continue;
        ExpectWithinDeviations(rig, c);
        EXPECT_NEAR(result.spacing, 10, 10e-4);
        if (row.noise.shared == 0) {
            EXPECT_NEAR(std::hypot(c.cameraRms, c.projectorRms), 2 * row.noise.own, 0.1 * row.noise.own);
            // A pixel of the camera is 0.15 mm, across depth some 0.35 mm.
            EXPECT_LT(result.pointRms, row.noise.own);
            EXPECT_GT(result.pointRms, 0.3 * row.noise.own);
        }
    }
}

// A board that was turned by half a circle in some poses has other numbers for its points, and nothing changes.
TEST(Calibrate, TurnedBoardsAreAllTheSame) {
    const Rig rig = simulate::StandardRig({640, 480});
    std::vector<BoardView> views = MakeViews(rig, 6, {0.05, 0});
    const Calibration upright = Calibrate(views, kBoard, rig.projectorSize).calibration;
    for (std::size_t i = 0; i < views.size(); i += 2)
        for (BoardPoint& point : views[i].points) point.index = kBoard.count.area() - 1 - point.index;
    const Calibration mixed = Calibrate(views, kBoard, rig.projectorSize).calibration;
    EXPECT_NEAR(mixed.camera.fx, upright.camera.fx, 1e-3);
    EXPECT_LT(cv::norm(mixed.translation - upright.translation), 1e-3);
    // Points that are missing are no trouble.
    views[0].points.erase(views[0].points.begin(), views[0].points.begin() + 20);
    ExpectWithinDeviations(rig, Calibrate(views, kBoard, rig.projectorSize).calibration);
}

bool Says(const std::vector<std::string>& texts, const std::string& what) {
    return std::any_of(texts.begin(), texts.end(), [&](auto& t) { return t.find(what) != std::string::npos; });
}

TEST(Calibrate, Advises) {
    const Rig rig = simulate::StandardRig({640, 480});
    const CalibrationResult many = Calibrate(MakeViews(rig, 14, {0.03, 0}), kBoard, rig.projectorSize);
    EXPECT_TRUE(many.isSound);
    EXPECT_FALSE(Says(many.advice, "10 to 20") || Says(many.advice, "left out"));
    const DistortionModel radial{true, true, false, false};
    const CalibrationResult less = Calibrate(MakeViews(rig, 14, {0.005, 0}), kBoard, rig.projectorSize, radial);
    EXPECT_TRUE(Says(less.advice, "left out (p1 of the camera"));
    const CalibrationResult flat = Calibrate(MakeViews(rig, 8, {0.03, 0}, 6), kBoard, rig.projectorSize);
    EXPECT_TRUE(Says(flat.advice, "8 poses")) << flat.advice.size();
    EXPECT_TRUE(Says(flat.advice, "tilt"));
    EXPECT_FALSE(flat.isSound);
    EXPECT_FALSE(Calibrate(MakeViews(rig, 5, {0.03, 0}), kBoard, rig.projectorSize).isSound);

    std::vector<BoardView> moved = MakeViews(rig, 12, {0.03, 0});
    moved[9].points[11].camera.x += 1.5;
    const CalibrationResult one = Calibrate(moved, kBoard, rig.projectorSize);
    EXPECT_TRUE(one.worst[0].pose == 9 && one.worst[0].point == 11);
    EXPECT_NE(SummaryOf(one, moved, kBoard).find("\"row\": 2"), std::string::npos);
    for (BoardPoint& point : moved[4].points) point.projector.x += 0.02 * point.camera.y;
    const CalibrationResult off = Calibrate(moved, kBoard, rig.projectorSize);
    EXPECT_TRUE(Says(off.advice, "pose5 fits badly"));
    EXPECT_FALSE(off.isSound);
    EXPECT_EQ(ReportOf(off, kBoard).rfind("calibration: doubtful", 0), 0U);
    moved[4].picture = cv::Mat1b(rig.cameraSize, 90);
    EXPECT_EQ(DrawPose(moved[4], off.poses[4], kBoard).size(), rig.cameraSize);
    EXPECT_FALSE(DrawCoverage(moved, off).empty());
}

// The picture of a board before a sheet with spots all over, which are more than a general search could go through.
cv::Mat Cluttered(const cv::Mat& picture, const FoundBoard& found, int spots) {
    cv::Mat1b board(picture.size(), uchar{0});
    const cv::Point2d middle = std::accumulate(found.points.begin(), found.points.end(), cv::Point2d()) /
                               static_cast<double>(found.points.size());
    std::vector<cv::Point> hull, wider;
    for (const cv::Point2d& p : found.points) wider.emplace_back(middle + 1.25 * (p - middle));
    cv::convexHull(wider, hull);
    cv::fillConvexPoly(board, hull, 255);
    double bright = 0;
    cv::minMaxLoc(picture, nullptr, &bright);
    cv::Mat clutter(picture.size(), picture.type(), cv::Scalar(bright));
    std::mt19937 random(5);
    for (int i = 0; i < spots; ++i) {
        const int x = static_cast<int>(random() % 400), y = static_cast<int>(random() % 300);
        cv::circle(clutter, {x, y}, 2 + i % 4, cv::Scalar(0.2 * bright), cv::FILLED);
    }
    picture.copyTo(clutter, board);
    return clutter;
}

// Boards in rendered pictures; where circles are tilted the centre of darkness is not their centre.
TEST(Calibrate, FindsBoards) {
    const Rig rig = simulate::StandardRig({400, 300});
    const struct {
        BoardDescription board;
        double mostOff, mostResidual, diameter;  // pixels, pixels, millimetres
    } rows[] = {
        {{BoardPattern::eChessboard, {9, 6}, 14}, 0.2, 0.06, 0},
        {{BoardPattern::eCircles, {8, 6}, 15}, 0.12, 0.02, 7.5},
        {{BoardPattern::eStaggeredCircles, {4, 9}, 12}, 0.15, 0.02, 9.6},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(static_cast<int>(row.board.pattern));
        const std::vector<cv::Point2d> points = BoardPoints(row.board);
        std::vector<BoardView> views;
        for (const Pose& pose : simulate::BoardPoses(rig, Printed(row.board), 4)) {
            const simulate::Simulation simulation(simulate::BoardScene(rig, Printed(row.board), pose), 4);
            simulate::Capture capture;
            capture.cameraBlur = 0.7;
            const cv::Mat picture = simulation.Render(simulate::Uniform(0.6), capture);
            const FoundBoard found = FindBoard(picture, row.board);
            ASSERT_EQ(found.points.size(), points.size());
            EXPECT_NEAR(found.diameter, row.diameter, 0.02 * row.diameter);
            for (std::size_t i = 0; i < points.size(); ++i) {
                const cv::Point2d at =
                    InCamera(rig, pose.rotation * cv::Vec3d(points[i].x, points[i].y, 0) + pose.translation);
                EXPECT_LT(cv::norm(found.points[i] - at), row.mostOff) << i;
            }
            if (row.diameter > 0) {
                const FoundBoard again = FindBoard(Cluttered(picture, found, 600), row.board);
                ASSERT_EQ(again.points.size(), points.size());
                EXPECT_LT(cv::norm(again.points, found.points, cv::NORM_INF), 0.02);
            }
            views.push_back(ViewOfPoints(rig, pose, found.points));
            views.back().name = "pose";
            views.back().diameter = found.diameter;
        }
        const Calibration c = Calibrate(views, row.board, rig.projectorSize).calibration;
        EXPECT_LT(c.cameraRms, row.mostResidual);
        ExpectWithinDeviations(rig, c);
    }
    // A perforated sheet has the board's rows and columns in many ways.
    cv::Mat1b sheet(720, 960, uchar{200});
    for (int i = 0; i < 48 * 36; ++i) cv::circle(sheet, {10 + i % 48 * 20, 10 + i / 48 * 20}, 5, 40, cv::FILLED);
    const FoundBoard none = FindBoard(sheet, {BoardPattern::eCircles, {8, 6}, 15});
    EXPECT_TRUE(none.points.empty());
    EXPECT_EQ(none.spots, 48 * 36);
    EXPECT_TRUE(FindBoard(cv::Mat1b(360, 480, 100), kBoard).points.empty());
    EXPECT_TRUE(FindBoard(cv::Mat1w(100, 80, std::uint16_t{0}), {BoardPattern::eCircles, {5, 4}, 3}).points.empty());
}

// The dual conic of a circle is seen as that of an ellipse, whose centre can be read off. Circles this large are seen
// far beside their centres.
TEST(Calibrate, PutsCentresOfCirclesWhereTheyAre) {
    Rig rig = simulate::StandardRig({640, 480});
    rig.camera.k1 = rig.camera.k2 = rig.camera.p1 = rig.camera.p2 = 0;
    const BoardDescription board{BoardPattern::eCircles, {8, 6}, 15};
    constexpr double kRadius = 20;
    const cv::Matx33d matrix(rig.camera.fx, 0, rig.camera.cx, 0, rig.camera.fy, rig.camera.cy, 0, 0, 1);
    std::vector<BoardView> views;
    std::vector<Pose> poses = simulate::BoardPoses(rig, Printed(board), 7);
    poses.erase(poses.begin());  // the board of the first one is not tilted
    for (const Pose& pose : poses) {
        cv::Matx33d plane = pose.rotation;
        for (int i = 0; i < 3; ++i) plane(i, 2) = pose.translation[i];
        std::vector<cv::Point2d> seen;
        for (const cv::Point2d& p : BoardPoints(board)) {
            const cv::Matx33d circle(1, 0, -p.x, 0, 1, -p.y, -p.x, -p.y, p.dot(p) - kRadius * kRadius);
            const cv::Matx33d dual = matrix * plane * circle.inv() * (matrix * plane).t();
            seen.emplace_back(dual(0, 2) / dual(2, 2), dual(1, 2) / dual(2, 2));
        }
        views.push_back(ViewOfPoints(rig, pose, seen));
        views.back().diameter = 2 * kRadius;
    }
    const CalibrationResult result = Calibrate(views, board, rig.projectorSize);
    EXPECT_LT(result.calibration.cameraRms, 1e-3);
    EXPECT_NEAR(result.calibration.camera.fx / rig.camera.fx, 1, 1e-3);
}

// Points, and how far they are off, stand where they are; also in the picture of a large camera, which is reduced.
TEST(Calibrate, DrawsPointsWhereTheyAre) {
    const BoardDescription board{BoardPattern::eChessboard, {4, 3}, 10};
    for (const int side : {800, 3200}) {
        const double scale = std::min(1.0, 1600.0 / side);
        const int pen = side == 800 ? 1 : 2, line = side == 800 ? 28 : 51;
        BoardView view;
        view.picture = cv::Mat1b(side * 3 / 4, side, std::uint8_t{0});
        PoseFit fit;
        fit.name = "pose";
        for (int i = 0; i < 12; ++i)
            view.points.push_back(
                {i, cv::Point2d(0.2 * (1 + i % 4), 0.15 * (1 + i / 4) + 0.04 * (i % 4)) * side, {}, {}, 0});
        fit.cameraResiduals = fit.projectorResiduals = std::vector<cv::Vec2d>(view.points.size(), cv::Vec2d());
        fit.cameraResiduals[6] = {0, side == 800 ? 0.2 : 0.08};  // enlarged 200 or 500 times
        const cv::Mat3b picture = DrawPose(view, fit, board, 1);
        const auto redAt = [&](cv::Point at) { return picture(at)[2] > 150 && picture(at)[1] < 90; };
        const auto greenAt = [&](cv::Point at) { return picture(at)[1] > 100 && picture(at)[2] < 150; };
        const auto inkOf = [&](cv::Rect part) {
            cv::Mat1b ink;
            cv::inRange(picture(part), cv::Scalar::all(200), cv::Scalar::all(255), ink);
            return cv::boundingRect(ink) + part.tl();
        };
        for (int i = 0; i < 12; ++i) {
            const cv::Point2d p = (view.points[std::size_t(i)].camera + cv::Point2d(0.5, 0.5)) * scale;
            const cv::Point at(cvRound(p.x), cvRound(p.y));
            EXPECT_EQ(i == 6, redAt(at + cv::Point(0, 39)) && redAt(at - cv::Point(8 * pen, 0))) << i;
            EXPECT_EQ(i != 6, greenAt(at - cv::Point(3 * pen, 0)) && greenAt(at + cv::Point(0, 3 * pen))) << i;
            if (i != 6) continue;
            EXPECT_FALSE(redAt(at + cv::Point(0, 42 + pen)));
            const cv::Rect text = inkOf({at.x + 8 * pen, at.y - 40, picture.cols - at.x - 8 * pen, 60});
            EXPECT_NEAR(text.x - at.x, 8 * pen + 6, 1);
            EXPECT_NEAR(text.y + text.height / 2 - at.y, 0, 3);
        }
        for (const int row : {1, 2}) {
            const cv::Rect text = inkOf({0, (row - 1) * line + 10, picture.cols, line});
            EXPECT_NEAR(text.x, 12, 1);
            EXPECT_NEAR(text.y + text.height, row * line + 5 * pen, 4 * pen);
        }
    }
}

TEST(Calibrate, SaysWhatIsWrong) {
    const Rig rig = simulate::StandardRig({640, 480});
    const std::vector<BoardView> good = MakeViews(rig, 5, {0.02, 0});
    const struct {
        std::function<void(std::vector<BoardView>&)> change;
        const char* says;
    } rows[] = {
        {[](auto& v) { v.resize(3); }, "3 poses of the board: at least 4"},
        {[](auto& v) { v[2].picture = cv::Mat1b(10, 12); }, "pose3 has 12 x 10 pixels, pose1 has 640 x 480"},
        {[](auto& v) { v[1].points.resize(5); }, "pose2: 5 points"},
        {[](auto& v) { v[1].points[3].index = 54; }, "pose2: has points that the board has not"},
        {[](auto& v) { v[1].picture.release(); }, "pose2: there is no picture"},
        {[](auto& v) { std::fill(v.begin(), v.end(), v[0]); }, "do not determine"},
        {[](auto& v) {
             for (BoardPoint& p : v[0].points) p.slope(0, 0) = p.slope(0, 1) = -1, p.slope(1, 0) = 0;
         },
         "mirrored"},
    };
    for (const auto& row : rows) {
        std::vector<BoardView> views = good;
        row.change(views);
        test::ExpectRefusal([&] { Calibrate(views, kBoard, rig.projectorSize); }, row.says);
    }
    EXPECT_THROW(Calibrate(good, kBoard, rig.projectorSize, {}, [](const char*, double) { return false; }), Stopped);
    for (const char* names : {"", "k4", "k1,p1", "k2", "k1,", "k1 k2"})
        EXPECT_THROW(DistortionModelOf(names), InputError) << names;
    EXPECT_TRUE(DistortionModelOf("k1,k2,k3").k3 && !DistortionModelOf("k1").tangential);
    EXPECT_THROW(BoardPatternOf("checks"), InputError);
    EXPECT_THROW(BoardPoints({BoardPattern::eCircles, {2, 5}, 10}), InputError);
}

TEST(Calibrate, RefusesPosesByWhatIsWrongWithThem) {
    const Rig rig = simulate::StandardRig({160, 120});
    Scan scan;
    scan.columns = simulate::SineAxis(1920, {96, 1920}, 3);
    const simulate::Simulation nothing(simulate::MakeScene("plane", rig), 1);
    const AxisPictures columns = RenderAxis(nothing, simulate::Axis::eColumns, *scan.columns);
    const auto expect = [&](const AxisPictures& rows, const char* says) {
        test::ExpectRefusal([&] { ViewBoard("pose", scan, columns, rows, kBoard); }, says);
    };
    expect(columns, "no \"rows\"");
    scan.rows = scan.columns;
    expect(columns, "no board of 9 x 6 inner corners");
    AxisPictures holes = columns;
    for (int i = 0; i < 40; ++i)
        for (std::vector<cv::Mat>& set : holes.sines)
            for (cv::Mat& frame : set) cv::circle(frame, {12 + i % 8 * 16, 12 + i / 8 * 16}, 4, 0, cv::FILLED);
    test::ExpectRefusal(
        [&] {
            ViewBoard("pose", scan, holes, holes, {BoardPattern::eCircles, {6, 6}, 15});
        },
        "of 40 round spots none");
    AxisPictures other = columns;
    other.sines[0][1] = cv::Mat1b(20, 20);
    expect(other, "same size");
    // Nothing valid around the points: there is nothing to fit.
    AbsolutePhase phase;
    phase.mask = cv::Mat1b(60, 60, std::uint8_t{0});
    phase.coordinate = cv::Mat1f(60, 60, 5.0f);
    phase.modulation = cv::Mat1f(60, 60, 50.0f);
    EXPECT_TRUE(MatchBoard({{30, 30}, {-5, 70}}, phase, phase).empty());
    // Only on one side: the value would be a guess; on two opposite sides, as at a corner, it is none.
    for (const bool opposite : {false, true}) {
        for (int y = 0; y < 60; ++y)
            for (int x = 0; x < 60; ++x) {
                phase.coordinate(y, x) = static_cast<float>(100 + 2.5 * x - 0.5 * y + (x == 33 && y == 28 ? 40 : 0));
                phase.mask(y, x) = opposite ? ((x < 30) == (y < 30) ? 255 : 0) : (x > 33 ? 255 : 0);
            }
        const std::vector<BoardPoint> found = MatchBoard({{30.25, 29.5}}, phase, phase);
        ASSERT_EQ(found.size(), opposite ? 1U : 0U);
        if (!opposite) continue;
        EXPECT_NEAR(found[0].projector.x, 100 + 2.5 * 30.25 - 0.5 * 29.5, 1e-3);
        EXPECT_NEAR(found[0].slope(0, 0), 2.5, 1e-3);
        EXPECT_NEAR(found[0].slope(0, 1), -0.5, 1e-3);
    }
}

// From no turn to half a turn, about any axis.
TEST(Calibrate, TurnsAndRotations) {
    for (const double angle : {0.0, 1e-12, 1e-5, 0.3, 2.0, 3.1, CV_PI - 1e-7})
        for (int i = 0; i < 26; ++i) {
            const cv::Vec3d axis((i + 1) / 9 - 1, (i + 1) / 3 % 3 - 1, (i + 1) % 3 - 1.0);
            if (cv::norm(axis) == 0) continue;
            const cv::Vec3d turn = cv::normalize(axis) * angle;
            const cv::Matx33d rotation = RotationOf(turn);
            EXPECT_LT(cv::norm(rotation.t() * rotation - cv::Matx33d::eye()), 1e-14);
            EXPECT_NEAR(cv::trace(rotation), 1 + 2 * std::cos(angle), 1e-14);
            EXPECT_LT(cv::norm(TurnOf(rotation) - turn), 1e-14) << turn;
        }
}

}  // namespace
