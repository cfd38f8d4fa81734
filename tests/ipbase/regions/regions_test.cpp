// Regions: segmentation against connected components and a plain scan of the traced border, region building.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <map>
#include <opencv2/imgproc.hpp>
#include <set>

#include "ipbase/ipBuildRegion.h"
#include "ipbase/ipSegmentScan.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

template <class AOI>
AOI View(cv::Mat& image) {
    return AOI({static_cast<short>(image.cols), static_cast<short>(image.rows)}, image.ptr<typename AOI::Pixel>(),
               static_cast<std::uint32_t>(image.step[0]));
}

// Rows of a picture, separated by blanks; digits stand for ten times their value.
cv::Mat Picture(const std::string& text) {
    std::istringstream rows(text);
    cv::Mat picture;
    for (std::string row; rows >> row;) {
        for (char& c : row) c = static_cast<char>(c == '.' ? 0 : 10 * (c - '0'));
        picture.push_back(cv::Mat(1, static_cast<int>(row.size()), CV_8U, row.data()));
    }
    return picture;
}

// Box, area, perimeter, centroid, weighted centroid, mean.
std::string Text(const KrAttribute& a) {
    std::string text = cv::format("%d %d %d %d", a.minX, a.minY, a.maxX, a.maxY);
    for (const float value :
         {a.area, a.perimeter, a.centroidX, a.centroidY, a.weightedCentroidX, a.weightedCentroidY, a.meanValue})
        text += cv::format(", %.4g", double{value});
    return text;
}

TEST(Segment, MeasuresWhatItTraces) {
    const struct {
        const char* picture;
        KrTPoint<short> start;
        bool allInside;
        float ratio;
        const char* expected;
    } cases[] = {
        {"... .5. ...", {1, 1}, false, 1, "1 1 1 1, 1, 1, 1, 1, 1, 1, 50"},
        {".... .13. ....", {1, 1}, false, 1, "1 1 2 1, 2, 2, 1.5, 1, 1.75, 1, 20"},
        {".... .55. .55. ....", {1, 1}, false, 2, "1 1 2 2, 2, 3, 1.5, 1.5, 1.5, 1.5, 50"},
        {".... .55. .55. ....", {2, 2}, false, 1, "1 1 2 2, 4, 4, 1.5, 1.5, 1.5, 1.5, 50"},  // backwards
        {"..... .555. .5.5. .555. .....", {1, 1}, false, 1, "1 1 3 3, 8, 8, 2, 2, 2, 2, 50"},
        {"..... .555. .5.5. .555. .....", {1, 1}, true, 1, "1 1 3 3, 9, 8, 2, 2, 2, 2, 44.44"},  // with its hole
        {"...... ..55.. .5555. ......", {2, 1}, false, 1, "1 1 4 2, 6, 6.828, 2.5, 1.667, 2.5, 1.667, 50"},
        {"...... ..55.. .5555. ......", {2, 1}, false, 2, "1 1 4 2, 3, 8.472, 2.5, 1.667, 2.5, 1.667, 50"},
        {"9999 9559 9559 9999", {1, 1}, false, 1, "1 1 2 2, 4, 4, 1.5, 1.5, 1.5, 1.5, 50"},  // not the outermost pixels
    };
    for (const auto& c : cases)
        for (const bool labelFirst : {false, true}) {
            cv::Mat picture = Picture(c.picture), workPixels(picture.size(), CV_16U);
            KrAOI8 image = View<KrAOI8>(picture);
            KrAOI16 work = View<KrAOI16>(workPixels);
            KrSegment segment;
            segment.SetPixelRatio(c.ratio);
            if (c.allInside) segment.ConsiderAllInsideOn();
            segment.Init(&image, &work);
            segment.FindSegmentBorder(c.start);
            if (labelFirst) segment.Label(999);
            segment.ExtractSegmentAttributes();
            EXPECT_EQ(c.expected, Text(segment.GetAttribute())) << c.picture;
            if (std::string(c.expected).find("1 1 4 2") != 0) continue;
            std::string points;  // as traced, down first; the start comes last
            for (const auto& p : segment.GetAttribute().borderPoints) points += cv::format("%d%d ", p.x, p.y);
            EXPECT_EQ("12 22 32 42 31 21 ", points);
        }
}

// Numbers of the regions, of which those without holes are connected components.
DRAWN_TEST(Segment, RegionsWithoutHolesAreConnectedComponents, 300) {
    const int w = 1 + static_cast<int>(draw(60)), h = 1 + static_cast<int>(draw(40));
    const std::uint32_t dark = 60 + draw(180);
    Random random(draw(1 << 16));
    cv::Mat image(h, w, CV_8U), filled;
    for (uchar& pixel : cv::Mat_<uchar>(image)) pixel = static_cast<uchar>(random() % 256);
    image = (image > static_cast<int>(dark)) & image;
    cv::rectangle(image, {0, 0}, {image.cols - 1, image.rows - 1}, 0);
    filled = image > 0;
    cv::floodFill(filled, cv::Point(0, 0), 128, nullptr, 0, 0, 8);
    image.setTo(77, (filled == 0) | (image == 128));  // no holes
    cv::Mat components, stats, centroids, numbers(image.size(), CV_32S, cv::Scalar(7));
    cv::connectedComponentsWithStats(image, components, stats, centroids, 4);
    KrAOI8 view = View<KrAOI8>(image);
    KrAOI32 numberView = View<KrAOI32>(numbers);
    std::map<int, int> componentOf{{0, 0}};
    const int count = KrSegmentScan().Execute(&view, &numberView, [&](int number, const KrAttribute& a) {
        const int c = componentOf[number] = components.at<int>(a.borderPoints[0].y, a.borderPoints[0].x);
        const cv::Rect box(a.minX, a.minY, a.maxX - a.minX + 1, a.maxY - a.minY + 1);
        const int* s = stats.ptr<int>(c);
        EXPECT_EQ(cv::Rect(s[0], s[1], s[2], s[3]), box);
        EXPECT_EQ(static_cast<float>(s[4]), a.area);
        EXPECT_FLOAT_EQ(static_cast<float>(centroids.at<double>(c, 0)), a.centroidX);
        EXPECT_FLOAT_EQ(static_cast<float>(centroids.at<double>(c, 1)), a.centroidY);
    });
    ASSERT_EQ(stats.rows - 1, count);
    for (int& number : cv::Mat_<int>(numbers)) number = componentOf.at(number);
    ASSERT_EQ(0, cv::norm(components, numbers, cv::NORM_INF));
}

// Labels by a scan over whole rows around a region; returns the number of pixels in the region's own rows, and the sums
// of their grey values and of their columns, also weighted with these.
std::array<double, 4> LabelByScan(GuardedImage& work, const GuardedImage& image, const KrAttribute& a, int threshold,
                                  bool allInside, double label) {
    std::array<double, 4> sums{};
    for (int y = a.minY - 1; y <= a.maxY + 1; ++y) {
        bool inside = false;
        for (int x = a.minX - 1; x <= a.maxX + 1; ++x) {
            const double value = work.Get(x, y);
            if (value == 256) inside = !inside;
            if (value != 256 && value != 257 && (!inside || (!allInside && value <= threshold))) continue;
            work.Set(x, y, label);
            if (y < a.minY || y > a.maxY) continue;
            const double grey = image.Get(x, y);
            sums = {sums[0] + 1, sums[1] + grey, sums[2] + x, sums[3] + x * grey};
        }
    }
    return sums;
}

// From every start of every image: whatever was traced, measured or labelled before.
DRAWN_TEST(Segment, EqualsAPlainScanOfItsTrace, 4000) {
    const int cx = static_cast<int>(draw(12)), cy = static_cast<int>(draw(12));
    const int threshold = static_cast<int>(draw(256));
    const Form form = draw(4) == 0 ? Form::eRowless : Form::eView;
    const unsigned seed = draw(1 << 16), before = draw(8);
    const bool allInside = draw(3) == 0, labelFirst = draw(2) != 0;
    GuardedImage image(eDev8, cx, cy, seed, form), work(eDev16, cx, cy, seed, form), expected(eDev16, cx, cy, seed);
    if (draw(2))  // large regions with holes
        image.Fill([&](int x, int y) { return Random(seed + static_cast<unsigned>(x * 31 + y))() % 5 ? 255 : 0; });
    KrSegment segment;
    segment.SetThreshold(static_cast<unsigned char>(threshold));
    if (allInside) segment.ConsiderAllInsideOn();
    segment.Init(static_cast<KrAOI8*>(image.image.get()), static_cast<KrAOI16*>(work.image.get()));
    const auto starts = [&](int u, int v) {
        return u > 0 && v > 0 && u < cx - 1 && v < cy - 1 && image.Get(u, v) > threshold;
    };
    if (draw(5) == 0)  // whatever the caller does to its edge
        work.Fill([&](int x, int y) { return x == 0 || y == 0 || x == cx - 1 || y == cy - 1 ? 200 : work.Get(x, y); });
    const auto x = static_cast<short>(static_cast<int>(draw(16)) - 2);
    const auto y = static_cast<short>(static_cast<int>(draw(16)) - 2);
    const bool hasMarks = before > 3;  // of a region that is not labelled
    if (hasMarks) segment.FindSegmentBorder({short{3}, short{3}});
    if (before > 5 && starts(x, y)) segment.Label(before == 6 ? 256 : 257);  // labels that look like marks
    segment.FindSegmentBorder({x, y});
    expected.Fill([&](int u, int v) { return work.Get(u, v); });
    KrSegment copy = segment;
    if (labelFirst) segment.Label(777);
    segment.ExtractSegmentAttributes();
    const KrAttribute& a = segment.GetAttribute();
    ASSERT_EQ(starts(x, y) || (hasMarks && starts(3, 3)), a.minX <= a.maxX);  // a refused start changes nothing
    std::set<std::pair<int, int>> points;
    for (const auto& p : a.borderPoints) points.insert({p.x, p.y});
    ASSERT_EQ(points.size(), a.borderPoints.Size());
    const auto [count, grey, columns, weighted] = LabelByScan(expected, image, a, threshold, allInside, 777);
    ASSERT_EQ(count, a.area);
    if (count > 0) {
        EXPECT_FLOAT_EQ(static_cast<float>(grey / count), a.meanValue);
        EXPECT_FLOAT_EQ(static_cast<float>(columns / count), a.centroidX);
        if (grey > 0) EXPECT_FLOAT_EQ(static_cast<float>(weighted / grey), a.weightedCentroidX);
    }
    KrSegment& other = labelFirst ? copy : segment;
    other.Label(777);
    EXPECT_EQ(a.minX <= a.maxX, other.GetAttribute().label == 777);
    ASSERT_EQ(expected.memory, work.memory) << "from " << x << ", " << y;
}

// Each would take minutes if anything searched the list of border points, or whole boxes, for every point or region.
TEST(Segment, CostsAreLinear) {
    cv::Mat dots(521, 523, CV_8U), bars(1500, 1500, CV_8U), spiral(800, 800, CV_8U, cv::Scalar(0));
    dots.forEach<uchar>([](uchar& pixel, const int* p) { pixel = (p[0] & p[1] & 1) != 0; });
    bars.forEach<uchar>([](uchar& pixel, const int* p) { pixel = (p[0] + p[1]) % 4 < 2; });
    for (int i = 1; i < 398; i += 2) {
        const int far = 799 - i;
        const cv::Point corners[] = {{i - (i > 1 ? 2 : 0), i}, {far, i}, {far, far}, {i, far}, {i, i + 2}};
        for (int k = 0; k < 4; ++k) cv::line(spiral, corners[k], corners[k + 1], 9);
    }
    for (auto [image, regions, borderPoints] :
         {std::tuple{dots, 67860, 67860U}, std::tuple{bars, 749, 1000000U}, std::tuple{spiral, 1, 100000U}}) {
        const auto begin = std::chrono::steady_clock::now();
        KrAOI8 view = View<KrAOI8>(image);
        std::size_t points = 0;
        int label = 0;
        const int found = KrSegmentScan().Execute(&view, nullptr, [&](int, const KrAttribute& a) {
            points += a.borderPoints.Size();
            label = a.label;
        });
        EXPECT_EQ(regions, found);
        EXPECT_EQ(258 + (regions - 1) % 65278, label);  // starts again when 16 bits are used up
        EXPECT_GE(points, borderPoints);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    }
}

TEST(Segment, RefusesWhatItCannotWorkWith) {
    KrBufferAOI8 image({5, 5});
    KrBufferAOI16 work({5, 5});
    KrBufferAOI32 numbers({5, 4});
    *image.GetPointer({2, 2}) = 50;
    *numbers.GetPointer({1, 1}) = 4;
    KrSegment segment;
    segment.Init(&image, nullptr);
    EXPECT_FALSE(segment.IsInitialized());
    segment.FindSegmentBorder({2, 2});
    segment.Init(&image, &work);
    segment.FindSegmentBorder({2, 2});
    segment.Number(&numbers, 3);
    segment.Label(300);
    segment.Number(&numbers, 5);  // the marks that tell the region are gone
    EXPECT_EQ(3, *numbers.GetPointer({2, 2}));
    segment.Init(&image, &work);
    segment.FindSegmentBorder({2, 2});
    work.Resize({2, 2});  // does not fit any more
    segment.ExtractSegmentAttributes();
    segment.Label(300);
    segment.FindSegmentBorder({2, 2});
    EXPECT_EQ(Text(KrAttribute()), Text(segment.GetAttribute()));
    KrSegmentScan scan;
    EXPECT_TRUE(Thrown([&] { scan.Execute(&image, &numbers); }));
    EXPECT_TRUE(Thrown([&] { scan.Execute(nullptr, &numbers); }));
    EXPECT_EQ(4, *numbers.GetPointer({1, 1}));
    const auto stop = [](int, const KrAttribute&) { throw std::runtime_error("enough"); };
    EXPECT_THROW(scan.Execute(&image, nullptr, stop), std::runtime_error);
    EXPECT_FALSE(scan.GetSegment().IsInitialized());
    for (const int minArea : {1, 2}) {
        scan.SetMinArea(static_cast<float>(minArea));
        EXPECT_EQ(2 - minArea, scan.Execute(&image, nullptr));
    }
}

// Pixel by pixel: filled from neighbour to neighbour, and what holds the value of a fill without one.
DRAWN_TEST(BuildRegion, EqualsAPlainFill, 1000) {
    const Form form = draw(4) == 0 ? Form::eRowless : Form::eView;
    const int w = 1 + static_cast<int>(draw(20)), h = 1 + static_cast<int>(draw(12));
    const int dw = static_cast<int>(draw(26)), dh = static_cast<int>(draw(16));
    const std::uint32_t blocked = 1 + draw(12), label = draw(256), notLabel = draw(256), runs = 1 + draw(3);
    Random random(draw(1 << 16));
    GuardedImage image(eDev8, w, h, 1, form), mask(eDev8, w, h, 2, form);
    KrBuildRegion region;
    region.RegionLabel() = static_cast<std::uint8_t>(label);
    region.NotRegionLabel() = static_cast<std::uint8_t>(notLabel);
    region.SetMask(static_cast<KrAOI8*>(mask.image.get()));
    region.SetMask(nullptr);  // ignored
    for (std::uint32_t run = 0; run < runs; ++run) {
        mask.Fill([&](int, int) { return random() % blocked ? 0 : random() % 3 ? 255 : 32; });
        GuardedImage dst(eDev8, dw, dh, run, form), expected(eDev8, dw, dh, run);
        const KrTPoint<short> seed{static_cast<short>(static_cast<int>(draw(24)) - 2),
                                   static_cast<short>(static_cast<int>(draw(16)) - 2)};
        cv::Mat1b filled(h, w);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) filled(y, x) = static_cast<uchar>(mask.Get(x, y));
        std::vector<cv::Point> open = {{seed.x, seed.y}};
        while (!open.empty()) {
            const cv::Point p = open.back();
            open.pop_back();
            if (p.x < 0 || p.y < 0 || p.x >= w || p.y >= h || filled(p) != 0) continue;
            filled(p) = 32;
            for (const cv::Point step : {cv::Point{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) open.push_back(p + step);
        }
        expected.Fill([&](int x, int y) {
            const bool far = x >= w + 2 || y >= h + 2;
            return (far ? expected.Get(x, y) == 32 : x < w && y < h && filled(y, x) == 32) ? label : notLabel;
        });
        KrBuildRegion copy = region;
        (draw(2) ? copy : region)
            .Execute(static_cast<KrAOI8*>(image.image.get()), seed, static_cast<KrAOI8*>(dst.image.get()));
        ASSERT_EQ(expected.memory, dst.memory) << w << " x " << h << " from " << seed.x << ", " << seed.y;
    }
}

TEST(BuildRegion, ReportsErrors) {
    KrBufferAOI8 image({3, 1}), mask({3, 1}), dst({3, 1}), other({5, 1}), wide({32766, 1}), tall({1, 32766});
    KrBufferAOI8 widest({32765, 1}), tallest({1, 32765});
    KrBuildRegion region;
    EXPECT_TRUE(Thrown([&] { region.Execute(&image, {1, 0}, &dst); }));  // no mask yet
    region.SetMask(&mask);
    for (const KrAOI8* mask : {&wide, &tall}) EXPECT_TRUE(Thrown([&] { region.SetMask(mask); }));
    for (KrBufferAOI8* largest : {&widest, &tallest}) {
        KrBuildRegion inLargest;
        inLargest.SetMask(largest);
        inLargest.Execute(largest, {0, 0}, largest);
        EXPECT_EQ(std::vector<std::uint8_t>(32765, 255), PixelsOf(*largest));
    }
    EXPECT_TRUE(Thrown([&] { region.Execute(nullptr, {1, 0}, &dst); }));
    EXPECT_TRUE(Thrown([&] { region.Execute(&image, {1, 0}, nullptr); }));
    EXPECT_THROW(region.Execute(&other, {1, 0}, &dst), cv::Exception);
    EXPECT_EQ(0, *dst.GetPointer({1, 0}));
}

}  // namespace
