// Bad arguments of what leads from absolute phase to points, surfaces, calibrations, pictures and files.
#include <algorithm>
#include <cmath>
#include <filesystem>

#include "measure/board.h"
#include "measure/calibrate.h"
#include "measure/cloud.h"
#include "measure/compare.h"
#include "measure/io.h"
#include "measure/picture.h"
#include "measure/plot.h"
#include "measure/roughness.h"
#include "measure/simulatescan.h"
#include "measure/systemcheck.h"
#include "measure/writesurface.h"
#include "tests/support/arguments.h"
#include "tests/support/truecalibration.h"

using namespace measure;
using namespace test;

namespace {

struct CloudArguments {
    CloudArguments() {
        cloud = {Filled<float>(0, 0), Filled<float>(0, 0), Filled<float>(400, 401), {}};
        for (int y = 0; y < kSize.height; ++y)
            for (int x = 0; x < kSize.width; ++x) {
                cloud.x(y, x) = 1 + 0.1f * static_cast<float>(x);
                cloud.y(y, x) = 0.1f * static_cast<float>(y);
            }
        result.cloud = cloud;
        result.points = kSize.area();
    }
    Cloud cloud;
    CloudResult result;
    PlyOptions ply{Filled<std::uint8_t>(9, 9)};
    GridOptions grid;
    cv::Mat1b area = Filled<std::uint8_t>(255, 255);
    double share = 0.003, calibrated = 1;
    std::string name = (std::filesystem::path(testing::TempDir()) / "arguments.ply").string();
};

TEST(Arguments, OfClouds) {
    const CloudArguments good;
    const std::vector<Image<CloudArguments>> images{IMAGE(cloud.x), IMAGE(cloud.y), IMAGE(cloud.z)};
    const auto with = [&](const Image<CloudArguments>& more) {
        std::vector<Image<CloudArguments>> all = images;
        all.push_back(more);
        return all;
    };
    ExpectRefusals<CloudArguments>(
        good, {{OF(DepthStep(a.cloud)), images, {}},
               {OF(EncodePly(a.cloud, a.ply)), with(MAYBE(ply.grey)), {SETS(ply.maxDepthStep, kNaN, -1)}},
               {OF(EncodeXyz(a.cloud)), images, {}},
               {OF(ResampleToGrid(a.cloud, a.grid)),
                images,
                {SETS(grid.pitch, kNaN, kInf, -1, 1e-300, 1e300), SET(grid.largestStep, kNaN)}},
               {OF(CheckPlane(a.cloud, a.area, a.share)), with(MAYBE(area)), {SETS(share, kNaN, 0.6, -0.1)}},
               {OF(QuantitiesOf(SphereFit(), a.calibrated)), {}, {SET(calibrated, kNaN)}},
               {"SphereDistance", [](auto& a) { SphereDistance({}, {}, a.calibrated); }, {}, {SET(calibrated, -1)}}});
    // A grid of points does not lie on a sphere, and files that are refused are not begun.
    CloudArguments bad;
    bad.cloud.x = Exact({3, 2}, CV_32F);
    Refusal([&] { CheckSphere(bad.cloud, {}); });
    Refusal([&] { WriteCloud(bad.name, bad.cloud); });
    EXPECT_FALSE(std::filesystem::exists(bad.name));
    bad.result.cloud.x = cv::Mat1f();
    Refusal([&] { SummaryOf(bad.result); });
    // A point without x is none.
    CloudArguments hole;
    const std::size_t all = EncodePly(hole.cloud, {{}, false}).size();
    hole.cloud.x(4, 4) = std::nanf("");
    EXPECT_EQ(all - 12, EncodePly(hole.cloud, {{}, false}).size());
    const std::vector<std::uint8_t> text = EncodeXyz(hole.cloud);
    EXPECT_EQ(kSize.area() - 1, std::count(text.begin(), text.end(), '\n'));
}

struct CoordinateArguments {
    CoordinateArguments() {
        const simulate::Rig rig = simulate::StandardRig(kSize);
        const simulate::Simulation scene(simulate::MakeScene("plane", rig), 1);
        calibration = CalibrationOf(rig);
        scene.GetTruth().column.convertTo(seen.columns, CV_32F);
        scene.GetTruth().row.convertTo(seen.rows, CV_32F);
        Settle(seen.columns);
        Settle(seen.rows);
    }
    ProjectorCoordinates seen;
    Calibration calibration;
    CloudOptions options;
    cv::Mat1f noise = Filled<float>(0.1, 0.1), phase = Filled<float>(0, 9);
    double period = 9, origin = 0;
    int direction = 1;
};

TEST(Arguments, OfCoordinates) {
    const std::vector<Change<CoordinateArguments>> changes{SET(seen, ProjectorCoordinates()),
                                                           SET(calibration, Calibration()),
                                                           SET(calibration.camera.fx, 0),
                                                           SET(calibration.camera.k1, kNaN),
                                                           SET(calibration.rotation, cv::Matx33d()),
                                                           SET(calibration.cameraSize.width, 9)};
    auto more = changes;
    more.push_back(SET(options.maxResidual, kNaN));
    more.push_back(SET(options.maxResidual, -1));
    ExpectRefusals<CoordinateArguments>(
        {}, {{OF(MakeCloud(a.seen, a.calibration, a.options)), {MAYBE(seen.columns), MAYBE(seen.rows)}, more},
             {OF(PredictDepthNoise(a.seen, a.noise, a.calibration)),
              {MAYBE(seen.columns), MAYBE(seen.rows), IMAGE(noise)},
              changes},
             {OF(CoordinatesOf(a.phase, a.period, a.origin, a.direction)),
              {IMAGE(phase)},
              {SETS(period, 0, kNaN, kInf), SET(origin, kNaN), SET(direction, 0)}}});
}

struct SurfaceArguments {
    SurfaceArguments() {
        for (HeightMap* each : {&map, &other}) {
            each->z = Filled<float>(0, 1);
            each->pitch = 0.1;
        }
        loose = reference = other;
        loose.pitch = reference.pitch = 0;
        base(cv::Rect(0, 0, 15, 30)).setTo(255);
        top(cv::Rect(20, 0, 15, 30)).setTo(255);
        line.line = {{1, 1}, {20, 20}};
        profile = TakeProfile(map, line);
    }
    HeightMap map, other, loose, reference;  // the last two without a pitch
    FormOptions form{Form::ePlane, false, Filled<std::uint8_t>(255, 255)};
    FormFit fit;
    std::array<cv::Point, 3> pixels{cv::Point(1, 1), cv::Point(30, 1), cv::Point(1, 20)};
    int radius = 2, margin = 1;
    cv::Mat1b base = Filled<std::uint8_t>(0, 0), top = Filled<std::uint8_t>(0, 0);
    ProfileOptions line;
    Profile profile;
    RoughnessOptions roughness{{Form::ePlane, false, Filled<std::uint8_t>(255, 255)}, 1.5, 0.4};
    CompareOptions compare{Alignment::eNone, false, Filled<std::uint8_t>(255, 255)};
    SurfaceFileOptions file;
    std::string name = "map.tiff";
    double cutoff = 5, step = 0.5;
    cv::Size size = kSize;
    cv::Rect2d rectangle{1, 1, 9, 9};
    cv::Point2d centre{5, 5};
};

#define BAD_MAPS SET(map, HeightMap()), SETS(map.pitch, kNaN, -1, kInf), SET(map.unit, ""), SET(map.origin.x, kNaN)

TEST(Arguments, OfSurfaces) {
    ExpectRefusals<SurfaceArguments>(
        {}, {{OF(RequireHeights(a.map)), {IMAGE(map.z)}, {BAD_MAPS}},
             {OF(FitForm(a.map, a.form)),
              {IMAGE(map.z), MAYBE(form.mask)},
              {BAD_MAPS, SET(form.form, static_cast<Form>(9))}},
             {OF(PlaneThrough(a.map, a.pixels, a.radius)),
              {IMAGE(map.z)},
              {BAD_MAPS, SET(radius, -1), SET(pixels[0].x, -1), SET(pixels[2].y, 30), SET(pixels[1], a.pixels[0])}},
             {OF(RemoveForm(a.map, a.fit)), {IMAGE(map.z)}, {}},
             {OF(RemovePlane(a.map.z, a.form.mask)), {IMAGE(map.z), MAYBE(form.mask)}, {}},
             {OF(MeasureStep(a.map, a.base, a.top, a.margin)),
              {IMAGE(map.z), IMAGE(base), IMAGE(top)},
              {BAD_MAPS, SET(margin, -1), SET(top, a.base)}},
             {OF(WithoutEdges(a.base, a.margin)), {IMAGE(base)}, {SET(margin, -1)}},
             {OF(TakeProfile(a.map, a.line)),
              {IMAGE(map.z)},
              {BAD_MAPS, DO(line.line.pop_back()), SET(line.line[0].x, kNaN), SET(line.line[1].y, 30),
               SETS(line.step, 0, kNaN, kInf, 1e-300), SETS(line.width, kNaN, -1, 1e12),
               SET(line.line[1], a.line.line[0])}},
             {"QuantitiesOf a profile",
              [](auto& a) { QuantitiesOf(a.profile, a.map); },
              {},
              {SET(profile, Profile()), DO(profile.distance.pop_back()), DO(profile.height.clear())}},
             {"CsvOf a profile",
              [](auto& a) { CsvOf(a.profile, a.map); },
              {},
              {SET(profile, Profile()), DO(profile.pixels.pop_back()), DO(profile.samples.clear())}},
             {"MaskOf a rectangle",
              [](auto& a) { MaskOf(a.size, a.rectangle); },
              {},
              {SET(size, cv::Size()), SET(size.width, -1), SET(size.height, 1 << 30), SETS(rectangle.x, kNaN, 1e300),
               SET(rectangle.width, kInf), SET(rectangle.height, -1)}},
             {"MaskOf a circle",
              [](auto& a) { MaskOf(a.size, a.centre, a.step); },
              {},
              {SET(size, cv::Size()), SET(size.width, -1), SETS(centre.x, kNaN, 1e300), SET(centre.y, kNaN),
               SETS(step, kNaN, kInf, -1)}},
             {OF(LargestArea(a.map.z, a.step)), {IMAGE(map.z)}, {SETS(step, kNaN, 0, -1)}},
             {OF(GaussianFilter(a.map.z, a.cutoff)), {IMAGE(map.z)}, {SETS(cutoff, 0, kNaN, 1e5)}},
             {OF(AnalyseRoughness(a.map, a.roughness)),
              {IMAGE(map.z), MAYBE(roughness.form.mask)},
              {BAD_MAPS, SETS(roughness.cutoff, kNaN, kInf, -1, 0.01, 1e9), SETS(roughness.finest, kNaN, 0.1, 1.5, 3)}},
             {OF(CompareHeights(a.map, a.other, a.compare)),
              {MAYBE(compare.mask)},
              {BAD_MAPS, SET(other, HeightMap()), SET(other.unit, "um"), SETS(other.pitch, 0.2, 0)}},
             {"CompareHeights without a pitch",
              [](auto& a) { CompareHeights(a.loose, a.reference, a.compare); },
              {IMAGE(loose.z), MAYBE(compare.mask)},
              {}},
             {OF(PointsOf(a.map)), {IMAGE(map.z)}, {BAD_MAPS, SET(map.pitch, 0)}},
             {OF(EncodeHeightMap(a.name, a.map, a.file)),
              {IMAGE(map.z)},
              {BAD_MAPS, SET(file.bits, 8), SET(name, "map.xml"), SETS(file.largestStep, kNaN, -1)}}});
    EXPECT_NE(JsonOf({{"\xff", kNaN, "\xff"}}).find("null"), std::string::npos);
    EXPECT_THROW(MeasureStep(SurfaceArguments().map, SurfaceArguments().base, SurfaceArguments().top, 1 << 30),
                 NothingUsable);
}

struct PictureArguments {
    cv::Mat values = Filled<float>(0, 1);
    PictureStyle style;
    cv::Mat1i numbers = Filled<int>(0, 3);
    cv::Mat3b left = Exact(kSize, CV_8UC3), right = Exact(kSize, CV_8UC3);
    Plot plot{"", "", "", {0, 1, 2}, {5, 7, 3}};
    std::string folder = testing::TempDir();
};

// A period is too fine to be told apart at 100 unless it is above 1e-14, and never at 0.
PictureStyle FineCycle(double period, double lower = 100) {
    PictureStyle style;
    style.range = ValueRange{lower, lower + 1};
    style.period = period;
    return style;
}

TEST(Arguments, OfPictures) {
    for (const auto& style : {FineCycle(2e-14), FineCycle(1e308), FineCycle(5e-324, 0)})
        EXPECT_FALSE(DrawPicture(Exact(kSize, CV_32F), style).empty());
    PictureArguments good;
    good.style.shade = true;
    good.style.contours = 3;
    good.style.mask = Filled<std::uint8_t>(255, 255);
    good.style.components = good.numbers;
    good.style.marks = Filled<std::uint8_t>(0, 1);
    const std::vector<Change<PictureArguments>> steps{SETS(style.step, 0, -3)};
    ExpectRefusals<PictureArguments>(
        good,
        {{OF(DrawPicture(a.values, a.style)),
          {IMAGE(values), MAYBE(style.mask), MAYBE(style.components), MAYBE(style.marks)},
          {SET(values, Exact(kSize, CV_8S)), SET(values, Exact(kSize, CV_32FC2)), SET(style.step, 0),
           SETS(style.percent, kNaN, 51, -1), SETS(style.period, kNaN, -1), SET(style, FineCycle(1e-15)),
           SET(style.contours, -1), SET(style.range, (ValueRange{kNaN, 1})), SET(style.range, (ValueRange{0, kInf})),
           SET(style.range, (ValueRange{3, 1})), SET(style.range, (ValueRange{-1e308, 1e308}))}},
         {OF(DrawComponents(a.numbers)), {IMAGE(numbers)}, {}},
         {"DrawComponents, framed", [](auto& a) { DrawComponents(a.numbers, a.style); }, {IMAGE(numbers)}, steps},
         {OF(SideBySide(a.left, a.right)), {IMAGE(left)}, {SET(right, cv::Mat3b())}},
         {OF(DrawPlot(a.plot)),
          {},
          {SET(plot, Plot()), DO(plot.values.pop_back()), SETS(plot.positions[1], kNaN, 9),
           SETS(plot.positions[2], kInf, 0), SET(plot.positions, (std::vector<double>{-1e308, 0, 1e308})),
           SET(plot.values, (std::vector<float>(3, NAN)))}}});
    for (const char* ending : {".png", ".tiff", ".bmp", ".npy"}) {
        SCOPED_TRACE(ending);
        const std::string name = good.folder + "nothing" + ending;
        for (const cv::Mat& bad : {cv::Mat(), cv::Mat(0, 9, CV_8U), Exact(kSize, CV_8SC2)})
            Refusal([&] { WritePicture(name, bad); });
        Refusal([&] { WritePicture(name, cv::Mat(std::vector<int>{3, 3, 3}, CV_8U)); });
        EXPECT_FALSE(std::filesystem::exists(name));
    }
    // Numbers that make sense, but just so, end soon.
    good.style.step = std::numeric_limits<int>::max();
    good.style.contours = std::numeric_limits<int>::max();
    EXPECT_FALSE(DrawPicture(good.values, good.style).empty());
    good.plot.positions = {1e20, std::nextafter(1e20, kInf), std::nextafter(std::nextafter(1e20, kInf), kInf)};
    good.plot.values = {-3e38f, 3e38f, 0.0f};
    EXPECT_FALSE(DrawPlot(good.plot).empty());
}

struct BoardArguments {
    BoardArguments() {
        for (AbsolutePhase* each : {&columns, &rows}) {
            each->mask = Filled<std::uint8_t>(255, 255);
            each->coordinate = Filled<float>(0, 9);
            each->modulation = Filled<float>(50, 90);
        }
        view.name = "\xff";  // of a file in another encoding than UTF-8
        view.picture = Filled<std::uint8_t>(0, 255);
        view.points = {{0, {1, 1}, {2, 2}, {1, 0, 0, 1}, 0.1}, {1, {9, 1}, {12, 2}, {1, 0, 0, 1}, 0.1}};
        fit.cameraResiduals = fit.projectorResiduals = {{0.1, 0}, {0, 0.1}};
        result.poses = {fit};
        result.worst = {{0, 1, 0.3}};
        result.calibration.cameraSize = result.calibration.projectorSize = kSize;
        views = {view};
    }
    BoardDescription board{BoardPattern::eChessboard, {9, 6}, 10};
    cv::Mat picture = Filled<std::uint8_t>(0, 255);
    std::vector<cv::Point2d> points{{20, 15}};
    AbsolutePhase columns, rows;
    BoardView view;
    PoseFit fit;
    std::vector<BoardView> views;
    CalibrationResult result;
};

TEST(Arguments, OfBoards) {
    const std::vector<Change<BoardArguments>> boards{SET(board, BoardDescription()), SET(board.count.width, 2),
                                                     SET(board.count.height, 1 << 30), SETS(board.spacing, kNaN, 0)};
    auto poses = boards;
    for (const Change<BoardArguments>& change : std::vector<Change<BoardArguments>>{
             DO(fit.cameraResiduals.pop_back()), DO(fit.projectorResiduals.clear()), SET(view, BoardView()),
             SET(fit, PoseFit()), SET(fit.cameraResiduals[0][0], kNaN), SET(view.points[0].camera.x, kNaN),
             SET(view.points[1].camera.x, 1e300)})
        poses.push_back(change);
    ExpectRefusals<BoardArguments>(
        {},
        {{OF(BoardPoints(a.board)), {}, boards},
         {OF(FindBoard(a.picture, a.board)), {IMAGE(picture)}, boards},
         {OF(MatchBoard(a.points, a.columns, a.rows)),
          {IMAGE(columns.mask), IMAGE(columns.modulation), IMAGE(columns.coordinate), IMAGE(rows.mask),
           IMAGE(rows.modulation), IMAGE(rows.coordinate)},
          {SET(columns, AbsolutePhase()), SET(points[0].x, kNaN), SET(points[0].y, kInf)}},
         {OF(DrawPose(a.view, a.fit, a.board)), {IMAGE(view.picture)}, poses},
         {OF(DrawCoverage(a.views, a.result)),
          {},
          {SET(result, CalibrationResult()), DO(views.clear()), DO(result.poses[0].cameraResiduals.clear()),
           SET(result.calibration.cameraSize, cv::Size()), SET(views[0].points[0].projector.y, kInf)}},
         {OF(SummaryOf(a.result, a.views, a.board)),
          {},
          {DO(views.clear()), DO(views[0].points.clear()), SET(result.worst[0].pose, -1), SET(board.count.width, 0)}}});
    // What is found beside what is refused: the slopes of both directions.
    BoardArguments sloped;
    for (int y = 0; y < kSize.height; ++y)
        for (int x = 0; x < kSize.width; ++x) {
            sloped.columns.coordinate(y, x) = static_cast<float>(3 * x + 0.5 * y);
            sloped.rows.coordinate(y, x) = static_cast<float>(2 * y - 0.25 * x);
        }
    const std::vector<BoardPoint> matched = MatchBoard(sloped.points, sloped.columns, sloped.rows);
    ASSERT_EQ(matched.size(), 1U);
    EXPECT_LT(cv::norm(matched[0].slope - cv::Matx22d(3, 0.5, -0.25, 2)), 1e-3);
    BoardArguments far;
    far.points = {{-1e300, 1e300}, {1e5, 3}};
    EXPECT_TRUE(MatchBoard(far.points, far.columns, far.rows).empty());
    EXPECT_TRUE(FindBoard(Filled<float>(0, 9, {5000, 1}), far.board).points.empty());
    // Of views from which nothing can be calibrated.
    BoardView view = far.view;
    for (int i = 0; i < 54; ++i)
        view.points.push_back({i, {i % 9 * 4.0, i / 9 * 4.0}, {i % 9 * 40.0, i / 9 * 40.0}, {1, 0, 0, 1}, 0.1});
    const auto refuse = [&](const std::function<void(BoardView&)>& spoil, cv::Size projector) {
        std::vector<BoardView> views(5, view);
        spoil(views[3]);
        Refusal([&] { Calibrate(views, far.board, projector); });
    };
    refuse([](auto&) {}, {});
    refuse([](auto& v) { v.points[7].camera.x = kNaN; }, kSize);
    refuse([](auto& v) { v.points[7].projector.y = kInf; }, kSize);
    refuse([](auto& v) { v.points[7].index = -1; }, kSize);
    refuse([](auto& v) { v.diameter = kNaN; }, kSize);
}

}  // namespace
