// Height maps: how points become one, and the files that keep them.
#include "measure/heightmap.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "measure/error.h"
#include "measure/io.h"
#include "measure/plot.h"
#include "measure/simulate.h"
#include "measure/writesurface.h"
#include "tests/support/folder.h"
#include "tests/support/refusal.h"

using namespace measure;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// A plane and a block before it, seen by a camera with perspective and distortion.
Cloud SimulatedCloud(cv::Size size) {
    simulate::Scene scene;
    scene.rig = simulate::StandardRig(size);
    scene.objects.push_back({simulate::Facing({0, 0, 430}, 8, -5), {}});
    scene.objects.push_back({simulate::Facing({10, 5, 400}, 0, 0, 30, 20), {}});
    const simulate::Truth truth = simulate::Simulation(scene, 1).GetTruth();
    Cloud cloud;
    truth.x.convertTo(cloud.x, CV_32F);
    truth.y.convertTo(cloud.y, CV_32F);
    truth.z.convertTo(cloud.z, CV_32F);
    return cloud;
}

TEST(HeightGrid, IsLinearInTrianglesAndKeepsHoles) {
    Cloud cloud = SimulatedCloud({320, 240});
    cloud.z(cv::Rect(60, 60, 20, 12)) = kNaN;
    cloud.z.rowRange(0, 3) = kNaN;
    for (const double pitch : {0.31, 0.8, 2.5}) {
        SCOPED_TRACE(pitch);
        const HeightMap map = ResampleToGrid(cloud, {pitch, 0});
        EXPECT_EQ(map.pitch, pitch);
        EXPECT_NEAR(std::remainder(map.origin.x, pitch), 0, 1e-9);
        EXPECT_NEAR(std::remainder(map.origin.y, pitch), 0, 1e-9);
        // The plane z = z0 + a x + b y of the scene, from three far points.
        const auto at = [&](int r, int c) { return cv::Vec3d(cloud.x(r, c), cloud.y(r, c), cloud.z(r, c)); };
        const cv::Vec3d p = at(5, 5), normal = (at(5, 310) - p).cross(at(230, 5) - p);
        int onPlane = 0, onBlock = 0, between = 0;
        for (int r = 0; r < map.z.rows; ++r) {
            for (int c = 0; c < map.z.cols; ++c) {
                if (std::isnan(map.z(r, c))) continue;
                const double x = map.origin.x + pitch * c, y = -(map.origin.y - pitch * r);
                const double plane = p[2] - (normal[0] * (x - p[0]) + normal[1] * (y - p[1])) / normal[2];
                const double z = -static_cast<double>(map.z(r, c));
                if (std::abs(z - plane) < 2e-3)
                    ++onPlane;
                else if (std::abs(z - 400) < 2e-3)
                    ++onBlock;
                else
                    ++between;
            }
        }
        EXPECT_EQ(between, 0);  // steps are not bridged
        EXPECT_NEAR(onBlock * pitch * pitch, 60 * 40, 100 + 100 * pitch);
        EXPECT_GT(onPlane, 6 * onBlock);
        // The hole: its middle has no height.
        const cv::Vec3d hole = 0.5 * (at(66, 58) + at(66, 82));
        const int c = cvRound((hole[0] - map.origin.x) / pitch), r = cvRound((map.origin.y + hole[1]) / pitch);
        EXPECT_TRUE(std::isnan(map.z(r, c)));
    }
    // Exactly on the points, and turned by a quarter: rows of the camera become columns.
    Cloud turned{cv::Mat1f(40, 50), cv::Mat1f(40, 50), cv::Mat1f(40, 50), {}};
    for (int r = 0; r < 40; ++r) {
        for (int c = 0; c < 50; ++c) {
            turned.x(r, c) = static_cast<float>(-r);
            turned.y(r, c) = static_cast<float>(c);
            turned.z(r, c) = static_cast<float>(100 + (r * 7 + c * 3) % 2);
        }
    }
    const HeightMap same = ResampleToGrid(turned, {1, 0});
    ASSERT_EQ(same.z.size(), cv::Size(40, 50));
    for (int r = 0; r < 40; ++r)
        for (int c = 0; c < 50; ++c) EXPECT_EQ(same.z(c, 39 - r), -turned.z(r, c));

    // Points 1 mm apart have a grid of 1 mm.
    EXPECT_EQ(ResampleToGrid(turned, {}).pitch, 1);
    EXPECT_THROW(ResampleToGrid(cloud, {1e-5, 0}), InputError);
    const Cloud empty{cv::Mat1f(9, 9, kNaN), cv::Mat1f(9, 9, kNaN), cv::Mat1f(9, 9, kNaN), {}};
    EXPECT_THROW(ResampleToGrid(empty, {1, 0}), NothingUsable);
}

class HeightFiles : public test::Folder {
protected:
    HeightFiles() {
        cv::RNG random(5);
        map.pitch = 0.05;
        map.origin = {-1.25, 3.5};
        map.z.create(31, 22);
        for (float& z : map.z) z = random.uniform(0, 10) == 0 ? kNaN : random.uniform(-2.0f, 3.0f);
        map.z(0, 0) = -2;
        map.z(0, 1) = 3;
    }
    std::string File(const std::string& name) const { return Folder::File(name).string(); }

    HeightMap map;
};

TEST_F(HeightFiles, KeepHeightsPitchOriginAndUnit) {
    HeightMap bare = map, radians = map;
    bare.pitch = 0;
    bare.origin = {};
    radians.unit = "rad";
    const struct {
        const char* name;
        int bits;
        double tolerance;
    } formats[] = {{"a.npy", 32, 0},
                   {"a.tiff", 32, 0},
                   {"b.tiff", 16, 5.0 / 65534},
                   {"a.png", 16, 5.0 / 65534},
                   {"a.gsf", 32, 1e-6}};
    for (const HeightMap& written : {map, bare, radians}) {
        for (const auto& format : formats) {
            SCOPED_TRACE(format.name);
            SurfaceFileOptions options;
            options.bits = format.bits;
            options.title = "a\nb";
            WriteHeightMap(File(format.name), written, options);
            const HeightMap read = ReadHeightMap(File(format.name));
            EXPECT_NEAR(read.pitch, written.pitch, 1e-9);
            EXPECT_NEAR(read.origin.x, written.origin.x, 1e-9);
            EXPECT_NEAR(read.origin.y, written.origin.y, 1e-9);
            EXPECT_EQ(read.unit, written.unit);
            ASSERT_EQ(read.z.size(), written.z.size());
            for (int y = 0; y < read.z.rows; ++y) {
                for (int x = 0; x < read.z.cols; ++x) {
                    ASSERT_EQ(std::isnan(read.z(y, x)), std::isnan(written.z(y, x)));
                    if (std::isnan(read.z(y, x))) continue;
                    EXPECT_NEAR(read.z(y, x), written.z(y, x), format.tolerance);
                }
            }
        }
    }
    // Whole numbers hold the extremes exactly, and 0 is no height.
    const cv::Mat values = ReadPicture(File("a.png"));
    EXPECT_EQ(values.at<ushort>(0, 0), 1);
    EXPECT_EQ(values.at<ushort>(0, 1), 65535);
    EXPECT_EQ(cv::countNonZero(values == 0), static_cast<int>(map.z.total()) - cv::countNonZero(map.z == map.z));
}

TEST_F(HeightFiles, AreWrittenAsOthersReadThem) {
    const std::string command = "localedef -i de_DE -f UTF-8 " + File("de_DE.UTF-8") + " >/dev/null 2>&1";
    if (std::system(command.c_str()) == 0) setenv("LOCPATH", File("").c_str(), 1);
    bool hasComma = false;
    std::string gsf;
    for (const char* locale : {"de_DE.UTF-8", "C"}) {  // a comma before decimals, where that locale can be had
        if (std::setlocale(LC_NUMERIC, locale) != nullptr) hasComma |= *std::localeconv()->decimal_point == ',';
        EXPECT_EQ(CsvOf({{"tilt", 0.5, "mm"}}), "quantity,value,unit\ntilt,0.5,mm\n") << locale;
        WriteHeightMap(File("a.gsf"), map);
        gsf = ReadText("a.gsf");
        const std::string start = "Gwyddion Simple Field 1.0\nXRes = 22\nYRes = 31\nXReal = 0.0011\nYReal = 0.00155\n";
        EXPECT_EQ(gsf.substr(0, start.size()), start) << locale;
    }
    unsetenv("LOCPATH");
    const std::size_t data = gsf.size() - 4 * map.z.total();
    EXPECT_EQ(data % 4, 0U);
    EXPECT_EQ(gsf[data - 1], '\0');
    float first = 0;
    std::memcpy(&first, gsf.data() + data, 4);
    EXPECT_FLOAT_EQ(first, -0.002f);

    HeightMap small = map;
    small.z = (cv::Mat1f(2, 3) << 1, 2, kNaN, 1.5f, 2.5f, 3);
    WriteHeightMap(File("a.csv"), small);
    EXPECT_EQ(ReadText("a.csv"), "1,2,\n1.5,2.5,3\n");
    WriteHeightMap(File("a.xyz"), small);
    EXPECT_EQ(ReadText("a.xyz"), "-1.25 3.5 1\n-1.2 3.5 2\n-1.25 3.45 1.5\n-1.2 3.45 2.5\n-1.15 3.45 3\n");
    SurfaceFileOptions options;
    options.largestStep = 5;
    WriteHeightMap(File("a.stl"), small, options);
    const std::string stl = ReadText("a.stl");
    ASSERT_EQ(stl.size(), 84U + 3 * 50U);  // a corner has no height
    for (int i = 0; i < 3; ++i) {
        float v[12];
        std::memcpy(v, stl.data() + 84 + 50 * i, sizeof v);
        const cv::Vec3f p(v + 3), q(v + 6), r(v + 9), normal = cv::normalize((q - p).cross(r - p));
        EXPECT_GT(v[2], 0) << "normals look up";
        EXPECT_LT(cv::norm(normal - cv::Vec3f(v)), 1e-5);
    }
    EXPECT_THROW(ReadHeightMap(File("a.stl")), InputError);
    EXPECT_THROW(EncodeHeightMap("a.stl", small), NothingUsable);  // all steps are above the usual 0.2 mm

    // Large ones are made in pieces, between which one can stop.
    HeightMap large = map;
    large.z = cv::Mat1f(1100, 1000, 0.0f);
    const auto stop = [](const char* stage, double share) { return stage[0] != 'w' || share == 0; };
    EXPECT_THROW(EncodeHeightMap("a.stl", large, {}, stop), Stopped);

    HeightMap bare = map;
    bare.pitch = 0;
    for (const char* name : {"a.stl", "a.xyz"}) EXPECT_THROW(EncodeHeightMap(name, bare), InputError);
    for (const char* name : {"a.jpg", "a", "gsf"}) EXPECT_THROW(EncodeHeightMap(name, map), InputError);
    options.bits = 16;
    EXPECT_THROW(EncodeHeightMap("a.npy", map, options), InputError);
    EXPECT_THROW(WriteHeightMap(File("none/a.npy"), map), OutputError);
    if (!hasComma) GTEST_SKIP() << "a locale with decimal commas could not be had, all else was tested";
}

TEST_F(HeightFiles, ThatAreNoneAreRefused) {
    WriteHeightMap(File("a.npy"), map);
    const std::string json = ReadText("a.npy.json");
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string changed = json;
        const auto at = changed.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return changed.replace(at, from.size(), to);
    };
    const std::string wrong[] = {"",
                                 "{}",
                                 "[1]",
                                 "no JSON",
                                 with("\"height_map\": 1", "\"height_map\": 2"),
                                 with("\"width\": 22", "\"width\": 21"),
                                 with("0.05", "0"),
                                 with("0.05", "-1"),
                                 with("\"unit\": \"mm\"", "\"unit\": 3"),
                                 with("\"x\": -1.25", "\"z\": 1"),
                                 with("\"axes\"", "\"values\": {\"offset\": 0, \"scale\": 1}, \"axes\""),
                                 with("\"axes\"", "\"values\": {\"offset\": 0, \"scale\": 0}, \"axes\"")};
    for (const std::string& text : wrong) {
        WriteBytes("a.npy.json", text);
        EXPECT_THROW(ReadHeightMap(File("a.npy")), InputError) << text;
    }
    WriteBytes("a.npy.json", with("\"width\": 22", "\"width\": \"22\""));
    const std::string refusal = test::Refusal([&] { ReadHeightMap(File("a.npy")); });
    EXPECT_EQ(refusal.substr(refusal.find(": ")), ": width: must be a number");
    // Of two runs; unless somebody has written the description himself.
    WriteBytes("a.npy.json", json);
    HeightMap other = map;
    other.z(0, 0) += 1;
    WritePicture(File("a.npy"), other.z);
    EXPECT_THROW(ReadHeightMap(File("a.npy")), InputError);
    WriteBytes("a.npy.json", with("\"bytes\"", "\"b\"").replace(json.find("\"crc32\"") - 4, 7, "\"check\""));
    EXPECT_EQ(ReadHeightMap(File("a.npy")).z(0, 0), other.z(0, 0));

    WriteHeightMap(File("a.gsf"), map);
    const std::string gsf = ReadText("a.gsf");
    for (const char* change :
         {"XRes = 0 ", "XRes = 1e", "XRes = x ", "XReal = 1 ", "XReal = -", "XOffset = -1,", "XYUnits = s"}) {
        std::string changed = gsf;
        const std::string key = std::string(change).substr(0, 5);
        WriteBytes("b.gsf", changed.replace(changed.find(key), std::strlen(change), change));
        EXPECT_THROW(ReadHeightMap(File("b.gsf")), InputError) << change;
    }
    WriteBytes("b.gsf", std::string(gsf).replace(gsf.find("XRes"), 4, "None"));
    EXPECT_THROW(ReadHeightMap(File("b.gsf")), InputError);
    WriteBytes("b.gsf", std::string(gsf).insert(gsf.find("XReal"), "XReal = 0.00110\n"));  // twice
    EXPECT_THROW(ReadHeightMap(File("b.gsf")), InputError);
    WriteBytes("b.gsf", gsf.substr(0, gsf.size() - 1));
    EXPECT_THROW(ReadHeightMap(File("b.gsf")), InputError);
    WriteBytes("b.gsf", gsf.substr(0, 40));
    EXPECT_THROW(ReadHeightMap(File("b.gsf")), InputError);
    WritePicture(File("grey.png"), cv::Mat1b(5, 5, uchar{7}));
    EXPECT_THROW(ReadHeightMap(File("grey.png")), InputError);
    WritePicture(File("nan.npy"), cv::Mat1f(5, 5, INFINITY));
    EXPECT_THROW(ReadHeightMap(File("nan.npy")), NothingUsable);
    EXPECT_THROW(ReadHeightMap(File("")), InputError);  // a folder without points
    EXPECT_THROW(ReadHeightMap(File("missing.npy")), InputError);
    // Points of a folder: heights rise towards the camera.
    WritePicture(File("x.npy"), map.z);
    WritePicture(File("y.npy"), map.z);
    WritePicture(File("z.npy"), map.z);
    EXPECT_EQ(ReadHeightMap(File("")).z(0, 1), -3);
    WritePicture(File("y.npy"), cv::Mat1f(3, 3, 1.0f));
    EXPECT_THROW(ReadHeightMap(File("")), InputError);
}

TEST(Plot, DrawsCurvesWithGaps) {
    Plot plot{"title", "distance (mm)", "height (mm)", {}, {}};
    for (int i = 0; i < 20000; ++i) {
        plot.positions.push_back(0.01 * i);
        plot.values.push_back(i > 8000 && i < 9000 ? kNaN : static_cast<float>(std::sin(0.001 * i)));
    }
    const cv::Mat3b picture = DrawPlot(plot);
    const auto isCurve = [](const cv::Vec3b& c) { return c[1] > 150 && c[2] > 200 && c[0] < 120; };
    int columns = 0;
    for (int x = 0; x < picture.cols; ++x) {
        bool any = false;
        for (int y = 0; y < picture.rows; ++y) any = any || isCurve(picture(y, x));
        columns += any;
    }
    EXPECT_NEAR(columns, 0.95 * 1290, 60);
    plot.values.assign(plot.values.size(), 7.0f);
    EXPECT_FALSE(DrawPlot(plot).empty());
}

}  // namespace
