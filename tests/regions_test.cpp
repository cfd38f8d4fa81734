// Regions: segmentation against connected components and a plain measurement of the traced border, region building.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <map>
#include <opencv2/imgproc.hpp>
#include <set>

#include "ipbase/ipBuildRegion.h"
#include "ipbase/ipSegmentScan.h"
#include "tests/support/harness.h"

namespace {

using namespace test;
using Point = KrTPoint<short>;

template <class AOI>
AOI View(cv::Mat& image) {
    return AOI({static_cast<short>(image.cols), static_cast<short>(image.rows)}, image.ptr<typename AOI::Pixel>(),
               static_cast<std::uint32_t>(image.step[0]));
}

// Rows of a picture, separated by blanks: '.' is 0, other characters stand for 10 times their digit.
cv::Mat Picture(const std::string& text) {
    std::istringstream rows(text);
    cv::Mat picture;
    for (std::string row; rows >> row;) {
        cv::Mat line(1, static_cast<int>(row.size()), CV_8U);
        for (int x = 0; x < line.cols; ++x) {
            const char c = row[static_cast<std::size_t>(x)];
            line.at<uchar>(x) = static_cast<uchar>(c == '.' ? 0 : 10 * (c - '0'));
        }
        picture.push_back(line);
    }
    return picture;
}

struct Region {
    const char* picture;
    bool allInside;
    double ratio, area, perimeter, x, y, weightedX, weightedY, mean;
    KrTRectangle<short> box;
};

TEST(Segment, MeasuresWhatItTraces) {
    const double diagonal = std::sqrt(2.0);
    const Region regions[] = {
        {"... .5. ...", false, 1, 1, 1, 1, 1, 1, 1, 50, {1, 1, 1, 1}},
        {".... .55. .55. ....", false, 1, 4, 4, 1.5, 1.5, 1.5, 1.5, 50, {1, 1, 2, 2}},
        {".... .13. ....", false, 1, 2, 2, 1.5, 1, 1.75, 1, 20, {1, 1, 2, 1}},  // the grey values count
        {".... .55. .55. ....", false, 2, 2, 3, 1.5, 1.5, 1.5, 1.5, 50, {1, 1, 2, 2}},
        {"..... .555. .5.5. .555. .....", false, 1, 8, 8, 2, 2, 2, 2, 50, {1, 1, 3, 3}},
        {"..... .555. .5.5. .555. .....", true, 1, 9, 8, 2, 2, 2, 2, 400 / 9.0, {1, 1, 3, 3}},  // with its hole
        {"...... ..55.. .5555. ......", false, 1, 6, 4 + 2 * diagonal, 2.5, 10 / 6.0, 2.5, 10 / 6.0, 50, {1, 1, 4, 2}},
        {"9999 9559 9559 9999", false, 1, 4, 4, 1.5, 1.5, 1.5, 1.5, 50, {1, 1, 2, 2}},  // without the outermost pixels
    };
    for (const Region& r : regions) {
        cv::Mat picture = Picture(r.picture), workPixels(picture.size(), CV_16U);
        KrAOI8 image = View<KrAOI8>(picture);
        KrAOI16 work = View<KrAOI16>(workPixels);
        Point start{1, 1};
        while (picture.at<uchar>(1, start.x) == 0) ++start.x;
        for (const bool labelFirst : {false, true}) {
            SCOPED_TRACE(testing::Message() << r.picture << (labelFirst ? ", labelled first" : ""));
            KrSegment segment;
            segment.SetPixelRatio(static_cast<float>(r.ratio));
            if (r.allInside) segment.ConsiderAllInsideOn();
            segment.Init(&image, &work);
            segment.FindSegmentBorder(start);
            if (labelFirst) segment.Label(999);
            segment.ExtractSegmentAttributes();
            segment.Label(1000);
            const KrAttribute& a = segment.GetAttribute();
            EXPECT_EQ(1000, a.label);
            const KrTRectangle<short> box(a.minX, a.minY, static_cast<short>(a.maxX - a.minX + 1),
                                          static_cast<short>(a.maxY - a.minY + 1));
            EXPECT_TRUE(box == KrTRectangle<short>(r.box.origin.x, r.box.origin.y,
                                                   static_cast<short>(r.box.size.cx - r.box.origin.x + 1),
                                                   static_cast<short>(r.box.size.cy - r.box.origin.y + 1)));
            EXPECT_FLOAT_EQ(static_cast<float>(r.area), a.area);
            EXPECT_FLOAT_EQ(static_cast<float>(r.perimeter), a.perimeter);
            EXPECT_FLOAT_EQ(static_cast<float>(r.x), a.centroidX);
            EXPECT_FLOAT_EQ(static_cast<float>(r.y), a.centroidY);
            EXPECT_FLOAT_EQ(static_cast<float>(r.weightedX), a.weightedCentroidX);
            EXPECT_FLOAT_EQ(static_cast<float>(r.weightedY), a.weightedCentroidY);
            EXPECT_FLOAT_EQ(static_cast<float>(r.mean), a.meanValue);
            EXPECT_EQ(cv::countNonZero(workPixels == (labelFirst ? 999 : 1000)), std::lround(r.area * r.ratio));
        }
    }
}

// Fills the holes of what is above the threshold and clears the outermost pixels.
cv::Mat WithoutHoles(const cv::Mat& image, int threshold) {
    cv::Mat bright = image > threshold, filled;
    cv::rectangle(bright, {0, 0}, {bright.cols - 1, bright.rows - 1}, 0);
    filled = bright.clone();
    cv::floodFill(filled, cv::Point(0, 0), 128, nullptr, 0, 0, 8);
    return (filled != 128) & (image | 201);
}

TEST(Segment, RegionsWithoutHolesAreConnectedComponents) {
    cv::RNG random(3);
    for (int n = 0; n < 300; ++n) {
        cv::Mat image(random.uniform(1, 40), random.uniform(1, 60), CV_8U);
        random.fill(image, cv::RNG::UNIFORM, 0, 256);
        image = WithoutHoles(image, random.uniform(60, 240));
        cv::Mat components, stats, centroids, numbers(image.size(), CV_32S, cv::Scalar(7));
        cv::connectedComponentsWithStats(image, components, stats, centroids, 4);
        KrAOI8 view = View<KrAOI8>(image);
        KrAOI32 numberView = View<KrAOI32>(numbers);
        KrSegmentScan scan;
        scan.GetSegment().SetThreshold(200);
        std::map<int, int> componentOf{{0, 0}};
        const int count = scan.Execute(&view, &numberView, [&](int number, const KrAttribute& a) {
            const Point& p = a.borderPoints[0];
            const int c = components.at<int>(p.y, p.x);
            componentOf[number] = c;
            EXPECT_EQ(stats.at<int>(c, cv::CC_STAT_LEFT), a.minX);
            EXPECT_EQ(stats.at<int>(c, cv::CC_STAT_TOP), a.minY);
            EXPECT_EQ(stats.at<int>(c, cv::CC_STAT_WIDTH), a.maxX - a.minX + 1);
            EXPECT_EQ(stats.at<int>(c, cv::CC_STAT_HEIGHT), a.maxY - a.minY + 1);
            EXPECT_EQ(static_cast<float>(stats.at<int>(c, cv::CC_STAT_AREA)), a.area);
            EXPECT_FLOAT_EQ(static_cast<float>(centroids.at<double>(c, 0)), a.centroidX);
            EXPECT_FLOAT_EQ(static_cast<float>(centroids.at<double>(c, 1)), a.centroidY);
        });
        ASSERT_EQ(stats.rows - 1, count) << n;
        for (int i = 0; i < numbers.rows * numbers.cols; ++i)
            ASSERT_EQ(components.at<int>(i / numbers.cols, i % numbers.cols),
                      componentOf.at(numbers.at<int>(i / numbers.cols, i % numbers.cols)));
    }
}

// Labels by a scan over the whole rows of the box; returns the number of pixels.
int LabelByScan(cv::Mat& work, const cv::Rect& box, int threshold, bool allInside, std::uint16_t label) {
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
        cv::Mat image(cy, cx, CV_8U), workBuffer(cy + 2, cx + 3, CV_16U, cv::Scalar(0xBEEF));
        if (!image.empty()) random.fill(image, cv::RNG::UNIFORM, 0, 256);
        cv::Mat work = workBuffer(cv::Rect(1, 1, cx, cy));
        const Form form = n % 4 == 0 ? Form::eRowless : Form::eView;
        const auto imageAOI = MakeAOI({0, eDev8, 0, image.step[0], cx, cy, form}, image.data);
        const auto workAOI = MakeAOI({1, eDev16, 0, work.step[0], cx, cy, form}, work.data);
        KrSegment segment;
        segment.SetThreshold(static_cast<unsigned char>(threshold));
        if (n % 3 == 0) segment.ConsiderAllInsideOn();
        segment.Init(static_cast<KrAOI8*>(imageAOI.get()), static_cast<KrAOI16*>(workAOI.get()));
        if (n % 5 == 0 && !work.empty()) work.row(0).setTo(200);  // whatever the caller does to it
        const Point start{static_cast<short>(random.uniform(-2, 14)), static_cast<short>(random.uniform(-2, 14))};
        segment.FindSegmentBorder(start);
        segment.ExtractSegmentAttributes();
        const KrAttribute& a = segment.GetAttribute();
        const bool inner = start.x > 0 && start.y > 0 && start.x < cx - 1 && start.y < cy - 1;
        ASSERT_EQ(inner && image.at<uchar>(start.y, start.x) > threshold, a.minX <= a.maxX);
        if (a.minX <= a.maxX) {
            std::set<std::pair<int, int>> points;
            for (const Point& p : a.borderPoints) points.insert({p.x, p.y});
            ASSERT_EQ(points.size(), a.borderPoints.Size());
            cv::Mat expected = workBuffer.clone(), inView = expected(cv::Rect(1, 1, cx, cy));
            const cv::Rect box(a.minX - 1, a.minY - 1, a.maxX - a.minX + 3, a.maxY - a.minY + 3);
            const int count = LabelByScan(inView, box, threshold, n % 3 == 0, 777);
            segment.Label(777);
            ASSERT_EQ(static_cast<float>(count), a.area);
            ASSERT_EQ(0, cv::norm(expected, workBuffer, cv::NORM_INF)) << image << start.x << ", " << start.y;
        }
        cv::Mat frame(workBuffer.size(), CV_8U, cv::Scalar(255));
        frame(cv::Rect(1, 1, cx, cy)).setTo(0);
        ASSERT_EQ(0, cv::countNonZero((workBuffer != 0xBEEF) & frame));  // nothing outside the view
    }
}

// Each would take minutes if anything searched the list of border points, or whole boxes, for every point or region.
TEST(Segment, CostsAreLinear) {
    cv::Mat dots(521, 523, CV_8U, cv::Scalar(0)), stripes(1500, 1500, CV_8U), spiral(800, 800, CV_8U, cv::Scalar(0));
    for (int y = 1; y < 520; y += 2)
        for (int x = 1; x < 522; x += 2) dots.at<uchar>(y, x) = 9;
    for (int y = 0; y < stripes.rows; ++y)
        for (int x = 0; x < stripes.cols; ++x) stripes.at<uchar>(y, x) = (x + y) % 4 < 2;
    for (int i = 1; i < 398; i += 2) {  // arms of one pixel with gaps of one pixel
        const int far = 799 - i;
        const cv::Point corners[] = {{i - (i > 1 ? 2 : 0), i}, {far, i}, {far, far}, {i, far}, {i, i + 2}};
        for (int k = 0; k < 4; ++k) cv::line(spiral, corners[k], corners[k + 1], 9);
    }
    const struct {
        cv::Mat& image;
        int regions;
        std::size_t least, most;  // border points
    } cases[] = {{dots, 67860, 67860, 67860}, {stripes, 749, 1000000, 2250000}, {spiral, 1, 100000, 400000}};
    for (const auto& c : cases) {
        const auto begin = std::chrono::steady_clock::now();
        KrAOI8 view = View<KrAOI8>(c.image);
        cv::Mat numbers(c.image.size(), CV_32S);
        KrAOI32 numberView = View<KrAOI32>(numbers);
        std::size_t points = 0;
        std::uint16_t label = 0;
        EXPECT_EQ(c.regions, KrSegmentScan().Execute(&view, &numberView, [&](int, const KrAttribute& a) {
            points += a.borderPoints.Size();
            label = a.label;
        }));
        EXPECT_EQ(258 + (c.regions - 1) % 65278, label);  // starts again when 16 bits are used up
        double last = 0;
        cv::minMaxLoc(numbers, nullptr, &last);
        EXPECT_EQ(c.regions, last);
        EXPECT_TRUE(c.least <= points && points <= c.most) << points;
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    }
}

TEST(Segment, RefusesWhatItCannotWorkWith) {
    KrBufferAOI8 image({5, 5});
    KrBufferAOI16 work({5, 5});
    *image.GetPointer({2, 2}) = 50;
    KrSegment segment;
    segment.FindSegmentBorder({2, 2});  // nothing, before Init
    segment.Init(&image, nullptr);
    EXPECT_FALSE(segment.IsInitialized());
    segment.SetPixelRatio(2.0f);
    segment.Init(&image, &work);
    EXPECT_TRUE(segment.IsInitialized());
    EXPECT_EQ(2.0f, segment.GetPixelRatio());
    segment.FindSegmentBorder({2, 2});
    KrSegment copy = segment;
    work.Resize({2, 2});
    for (KrSegment* s : {&segment, &copy}) {  // the work image does not fit any more
        s->ExtractSegmentAttributes();
        s->Label(300);
        s->FindSegmentBorder({2, 2});
        EXPECT_EQ(0.0f, s->GetAttribute().area);
        EXPECT_EQ(32767, s->GetAttribute().minX);
    }
    KrBufferAOI32 numbers({5, 4});
    *numbers.GetPointer({1, 1}) = 4;
    EXPECT_TRUE(Thrown([&] { KrSegmentScan().Execute(&image, &numbers); }));
    EXPECT_TRUE(Thrown([&] { KrSegmentScan().Execute(nullptr, &numbers); }));
    EXPECT_EQ(4, *numbers.GetPointer({1, 1}));
    KrSegmentScan scan;
    EXPECT_EQ(1, scan.Execute(&image, nullptr));
    scan.SetMinArea(2);
    EXPECT_EQ(0, scan.Execute(&image, nullptr));
}

struct Building {
    const char* mask;
    Point seed;
    unsigned char label, notLabel;
    const char* expected;  // in a destination of 5 x 4, filled with 90
};

TEST(BuildRegion, IsTheUnblockedAreaAroundTheSeed) {
    const Building cases[] = {
        {"..9. .9.. 9...", {0, 0}, 90, 0, "99... 9.... ..... ....."},  // 4-connected
        {"..9. .9.. 9...", {3, 2}, 90, 0, "...9. ..99. .999. ....."},
        {"..9. .9.. 9...", {2, 0}, 90, 0, "..... ..... ..... ....."},   // on a blocked pixel
        {"..9. .9.. 9...", {4, 0}, 90, 10, "11111 11111 11111 11111"},  // outside
        {"..9. .9.. 9...", {0, -1}, 90, 10, "11111 11111 11111 11111"},
        {"..9. .9.. 9...", {0, 0}, 10, 20, "11222 12222 22222 22222"},
        {".... .... ....", {1, 1}, 90, 0, "9999. 9999. 9999. ....."},
    };
    for (const Building& c : cases) {
        cv::Mat maskPixels = Picture(c.mask), dstPixels(4, 5, CV_8U), pixels(maskPixels.size(), CV_8U);
        cv::randu(pixels, 0, 256);
        KrAOI8 mask = View<KrAOI8>(maskPixels), image = View<KrAOI8>(pixels), dst = View<KrAOI8>(dstPixels);
        KrBuildRegion first;
        EXPECT_EQ(255, first.RegionLabel());
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
    KrBufferAOI8 image({4, 1}), mask({4, 1}), dst({4, 1});
    *mask.GetPointer({1, 0}) = 1;
    *mask.GetPointer({3, 0}) = 32;  // cannot be told from a filled pixel
    KrBuildRegion region;
    std::unique_ptr<KrException> error = Thrown([&] { region.Execute(&image, {0, 0}, &dst); });  // no mask yet
    EXPECT_TRUE(error);
    region.SetMask(&mask);
    for (const bool noImage : {false, true}) {
        error = Thrown([&] { region.Execute(noImage ? nullptr : &image, {0, 0}, noImage ? &dst : nullptr); });
        EXPECT_TRUE(dynamic_cast<KrNotImplementedException*>(error.get()));
    }
    KrBufferAOI8 other({5, 1}), wide({32766, 1});
    EXPECT_THROW(region.Execute(&other, {0, 0}, &dst), cv::Exception);
    EXPECT_TRUE(Thrown([&] { region.SetMask(&wide); }));
    EXPECT_EQ(0, *dst.GetPointer({0, 0}));
    region.Execute(&image, {0, 0}, &dst);
    const std::uint8_t expected[] = {255, 0, 0, 255};
    EXPECT_TRUE(std::equal(expected, expected + 4, dst.GetRowPointer(0)));
}

}  // namespace
