// Regions: segmentation against connected components and a plain scan of the traced border, region building.
#include <gtest/gtest.h>

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

std::string Text(const KrAttribute& a) {
    return cv::format("%d %d %d %d, area %.3f, perimeter %.3f, at %.3f %.3f, weighted %.3f %.3f, mean %.3f", a.minX,
                      a.minY, a.maxX, a.maxY, double{a.area}, double{a.perimeter}, double{a.centroidX},
                      double{a.centroidY}, double{a.weightedCentroidX}, double{a.weightedCentroidY},
                      double{a.meanValue});
}

TEST(Segment, MeasuresWhatItTraces) {
    const struct {
        const char* picture;
        bool allInside;
        float ratio;
        const char* expected;
    } cases[] = {
        {"... .5. ...", false, 1,
         "1 1 1 1, area 1.000, perimeter 1.000, at 1.000 1.000, weighted 1.000 1.000, mean 50.000"},
        {".... .13. ....", false, 1,
         "1 1 2 1, area 2.000, perimeter 2.000, at 1.500 1.000, weighted 1.750 1.000, mean 20.000"},
        {".... .55. .55. ....", false, 2,
         "1 1 2 2, area 2.000, perimeter 3.000, at 1.500 1.500, weighted 1.500 1.500, mean 50.000"},
        {"..... .555. .5.5. .555. .....", false, 1,
         "1 1 3 3, area 8.000, perimeter 8.000, at 2.000 2.000, weighted 2.000 2.000, mean 50.000"},
        {"..... .555. .5.5. .555. .....", true, 1,  // with its hole
         "1 1 3 3, area 9.000, perimeter 8.000, at 2.000 2.000, weighted 2.000 2.000, mean 44.444"},
        {"...... ..55.. .5555. ......", false, 1,
         "1 1 4 2, area 6.000, perimeter 6.828, at 2.500 1.667, weighted 2.500 1.667, mean 50.000"},
        {"9999 9559 9559 9999", false, 1,  // without the outermost pixels
         "1 1 2 2, area 4.000, perimeter 4.000, at 1.500 1.500, weighted 1.500 1.500, mean 50.000"},
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
            segment.FindSegmentBorder({static_cast<short>(picture.at<uchar>(1, 1) ? 1 : 2), 1});
            if (labelFirst) segment.Label(999);
            segment.ExtractSegmentAttributes();
            EXPECT_EQ(c.expected, Text(segment.GetAttribute())) << c.picture;
            segment.Label(999);
            EXPECT_EQ(static_cast<float>(cv::countNonZero(workPixels == 999)), segment.GetAttribute().area * c.ratio);
        }
}

TEST(Segment, RegionsWithoutHolesAreConnectedComponents) {
    cv::RNG random(3);
    for (int n = 0; n < 300; ++n) {
        cv::Mat image(random.uniform(1, 40), random.uniform(1, 60), CV_8U), filled;
        random.fill(image, cv::RNG::UNIFORM, 0, 256);
        image = (image > random.uniform(60, 240)) & image;
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
        ASSERT_EQ(stats.rows - 1, count) << n;
        numbers.forEach<int>([&](int& number, const int*) { number = componentOf.at(number); });
        ASSERT_EQ(0, cv::norm(components, numbers, cv::NORM_INF));
    }
}

// Labels by a scan over the whole rows of the box; returns the number of pixels.
int LabelByScan(cv::Mat work, const cv::Rect& box, int threshold, bool allInside, std::uint16_t label) {
    int count = 0;
    for (int y = box.y; y < box.y + box.height; ++y) {
        bool inside = false;
        for (int x = box.x; x < box.x + box.width; ++x) {
            auto& value = work.at<std::uint16_t>(y, x);
            if (value == 256) inside = !inside;
            if (value != 256 && value != 257 && (!inside || (!allInside && value <= threshold))) continue;
            value = label;
            ++count;
        }
    }
    return count;
}

TEST(Segment, EndsFromEveryStartOfEveryImage) {
    cv::RNG random(4);
    for (int n = 0; n < 4000; ++n) {
        const int cx = random.uniform(0, 12), cy = random.uniform(0, 12), threshold = random.uniform(0, 256);
        cv::Mat image(cy, cx, CV_8U), buffer(cy + 2, cx + 3, CV_16U, cv::Scalar(999));
        if (!image.empty()) random.fill(image, cv::RNG::UNIFORM, 0, 256);
        const cv::Rect inside(1, 1, cx, cy);
        cv::Mat work = buffer(inside);
        const Form form = n % 4 == 0 ? Form::eRowless : Form::eView;
        const auto imageAOI = MakeAOI({0, eDev8, 0, image.step[0], cx, cy, form}, image.data);
        const auto workAOI = MakeAOI({1, eDev16, 0, work.step[0], cx, cy, form}, work.data);
        KrSegment segment;
        segment.SetThreshold(static_cast<unsigned char>(threshold));
        if (n % 3 == 0) segment.ConsiderAllInsideOn();
        segment.Init(static_cast<KrAOI8*>(imageAOI.get()), static_cast<KrAOI16*>(workAOI.get()));
        if (n % 5 == 0 && !image.empty()) work.row(0).setTo(200);  // whatever the caller does to it
        const short x = static_cast<short>(random.uniform(-2, 14)), y = static_cast<short>(random.uniform(-2, 14));
        segment.FindSegmentBorder({x, y});
        segment.ExtractSegmentAttributes();
        const KrAttribute& a = segment.GetAttribute();
        const bool inner = x > 0 && y > 0 && x < cx - 1 && y < cy - 1;
        ASSERT_EQ(inner && image.at<uchar>(y, x) > threshold, a.minX <= a.maxX);
        std::set<std::pair<int, int>> points;
        for (const auto& p : a.borderPoints) points.insert({p.x, p.y});
        ASSERT_EQ(points.size(), a.borderPoints.Size());
        if (a.minX <= a.maxX) {
            const cv::Mat expected = buffer.clone();
            const cv::Rect box(a.minX - 1, a.minY - 1, a.maxX - a.minX + 3, a.maxY - a.minY + 3);
            const int count = LabelByScan(expected(inside), box, threshold, n % 3 == 0, 777);
            segment.Label(777);
            ASSERT_EQ(static_cast<float>(count), a.area);
            ASSERT_EQ(0, cv::norm(expected, buffer, cv::NORM_INF)) << image << x << ", " << y;
        }
        work.setTo(999);
        ASSERT_EQ(0, cv::countNonZero(buffer != 999));  // nothing written outside the view
    }
}

// Each would take minutes if anything searched the list of border points, or whole boxes, for every point or region.
TEST(Segment, CostsAreLinear) {
    cv::Mat dots(521, 523, CV_8U, cv::Scalar(0)), bars(1500, 1500, CV_8U), spiral(800, 800, CV_8U, cv::Scalar(0));
    for (int y = 1; y < 520; y += 2)
        for (int x = 1; x < 522; x += 2) dots.at<uchar>(y, x) = 9;
    bars.forEach<uchar>([](uchar& pixel, const int* p) { pixel = (p[0] + p[1]) % 4 < 2; });
    for (int i = 1; i < 398; i += 2) {
        const int far = 799 - i;
        const cv::Point corners[] = {{i - (i > 1 ? 2 : 0), i}, {far, i}, {far, far}, {i, far}, {i, i + 2}};
        for (int k = 0; k < 4; ++k) cv::line(spiral, corners[k], corners[k + 1], 9);
    }
    const struct {
        cv::Mat& image;
        int regions;
        std::size_t borderPoints;  // at least
    } cases[] = {{dots, 67860, 67860}, {bars, 749, 1000000}, {spiral, 1, 100000}};
    for (const auto& c : cases) {
        const auto begin = std::chrono::steady_clock::now();
        KrAOI8 view = View<KrAOI8>(c.image);
        std::size_t points = 0;
        int label = 0;
        EXPECT_EQ(c.regions, KrSegmentScan().Execute(&view, nullptr, [&](int, const KrAttribute& a) {
            points += a.borderPoints.Size();
            label = a.label;
        }));
        EXPECT_EQ(258 + (c.regions - 1) % 65278, label);  // starts again when 16 bits are used up
        EXPECT_GE(points, c.borderPoints);
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
    work.Resize({2, 2});  // does not fit any more
    segment.ExtractSegmentAttributes();
    segment.Label(300);
    segment.FindSegmentBorder({2, 2});
    EXPECT_EQ(Text(KrAttribute()), Text(segment.GetAttribute()));
    KrSegmentScan scan;
    EXPECT_TRUE(Thrown([&] { scan.Execute(&image, &numbers); }));
    EXPECT_TRUE(Thrown([&] { scan.Execute(nullptr, &numbers); }));
    EXPECT_EQ(4, *numbers.GetPointer({1, 1}));
    for (const int minArea : {1, 2}) {
        scan.SetMinArea(static_cast<float>(minArea));
        EXPECT_EQ(2 - minArea, scan.Execute(&image, nullptr));
    }
}

TEST(BuildRegion, IsTheUnblockedAreaAroundTheSeed) {
    const struct {
        const char* mask;
        KrTPoint<short> seed;
        unsigned char label, notLabel;
        const char* expected;  // in a destination of 5 x 4
    } cases[] = {
        {"..9. .9.. 9...", {0, 0}, 90, 0, "99... 9.... ..... ....."},  // 4-connected
        {"..9. .9.. 9...", {3, 2}, 90, 0, "...9. ..99. .999. ....."},
        {"..9. .9.. 9...", {2, 0}, 90, 0, "..... ..... ..... ....."},   // on a blocked pixel
        {"..9. .9.. 9...", {4, 0}, 90, 10, "11111 11111 11111 11111"},  // outside
        {"..9. .9.. 9...", {0, -1}, 90, 10, "11111 11111 11111 11111"},
        {"..9. .9.. 9...", {0, 0}, 10, 20, "11222 12222 22222 22222"},
        {".... .... ....", {1, 1}, 90, 0, "9999. 9999. 9999. ....."},
    };
    for (const auto& c : cases) {
        cv::Mat maskPixels = Picture(c.mask), dstPixels(4, 5, CV_8U), pixels(maskPixels.size(), CV_8U);
        cv::randu(pixels, 0, 256);
        KrAOI8 mask = View<KrAOI8>(maskPixels), image = View<KrAOI8>(pixels), dst = View<KrAOI8>(dstPixels);
        KrBuildRegion first;
        first.RegionLabel() = c.label;
        first.NotRegionLabel() = c.notLabel;
        first.SetMask(&mask);
        first.SetMask(nullptr);  // ignored
        KrBuildRegion copy = first;
        for (KrBuildRegion* region : {&first, &copy, &first}) {
            dstPixels.setTo(90);
            region->Execute(&image, c.seed, &dst);
            EXPECT_EQ(0, cv::norm(Picture(c.expected), dstPixels, cv::NORM_INF)) << dstPixels;
        }
    }
}

TEST(BuildRegion, KeepsWhatHoldsTheFillValueAndReportsErrors) {
    KrBufferAOI8 image({4, 1}), mask({4, 1}), dst({4, 1}), other({5, 1}), wide({32766, 1});
    *mask.GetPointer({1, 0}) = 1;
    *mask.GetPointer({3, 0}) = 32;  // cannot be told from a filled pixel
    KrBuildRegion region;
    EXPECT_TRUE(Thrown([&] { region.Execute(&image, {0, 0}, &dst); }));  // no mask yet
    region.SetMask(&mask);
    EXPECT_TRUE(Thrown([&] { region.SetMask(&wide); }));
    EXPECT_TRUE(Thrown([&] { region.Execute(nullptr, {0, 0}, &dst); }));
    EXPECT_TRUE(Thrown([&] { region.Execute(&image, {0, 0}, nullptr); }));
    EXPECT_THROW(region.Execute(&other, {0, 0}, &dst), cv::Exception);
    EXPECT_EQ(0, *dst.GetPointer({0, 0}));
    region.Execute(&image, {0, 0}, &dst);
    const std::uint8_t expected[] = {255, 0, 0, 255};
    EXPECT_TRUE(std::equal(expected, expected + 4, dst.GetRowPointer(0)));
}

}  // namespace
