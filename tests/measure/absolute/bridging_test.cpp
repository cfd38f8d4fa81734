// Pixels of doubtful orders between two trusted ones in a line.
#include "measure/absolute/bridging.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "measure/absolute.h"

namespace {

using namespace measure;

// A line of pixels between fixed ones, along a row or down a column, from edge to edge of images or within them.
struct Line {
    const char* name;
    // F fixed, G fixed in another area, P fixed a period higher; not fixed: . its own order is right, u one too high,
    // n one too high and more than nearly known, d far off and doubtful; blank: no phase
    std::string pixels;
    std::string fixed;  // F where the pixel is fixed afterwards, and continues its neighbours
    float kink = 0;     // radians by which the phase bends in the middle
};

void ExpectBridged(const Line& line, bool isColumn, int margin, bool hasAreas) {
    const int count = static_cast<int>(line.pixels.size());
    const int across = 1 + 2 * margin, along = count + 2 * margin;
    const cv::Size size = isColumn ? cv::Size(across, along) : cv::Size(along, across);
    GrowthImages images{cv::Mat1f(size, 0.0f), cv::Mat1b(size, uchar{eNoPhase}), cv::Mat1b(size, uchar{eOut}),
                        cv::Mat1f(size, 0.0f), hasAreas ? cv::Mat1i(size, -1) : cv::Mat1i()};
    const auto place = [&](int i) { return isColumn ? cv::Point(margin, i + margin) : cv::Point(i + margin, margin); };
    const auto truth = [&](int i) { return 0.8f * static_cast<float>(i) + 5 + (2 * i > count ? line.kink : 0.0f); };
    const float period = static_cast<float>(2 * CV_PI);
    for (int i = 0; i < count; ++i) {
        const char kind = line.pixels[static_cast<std::size_t>(i)];
        const cv::Point p = place(i);
        images.phase(p) = std::remainder(truth(i), period);
        if (kind == ' ') continue;  // excluded whatever its phase is
        const bool isFixed = kind == 'F' || kind == 'G' || kind == 'P';
        const float off = kind == 'u' || kind == 'P' ? 1 : kind == 'n' ? 2 : kind == 'd' ? -3 : 0;
        images.absolute(p) = truth(i) + off * period;
        images.state(p) = isFixed ? eFixed : eRest;
        images.trust(p) = isFixed ? eTrusted : kind == 'd' ? eDoubtful : eNearly;
        if (hasAreas && isFixed) images.area(p) = kind == 'G' ? 8 : 7;
    }
    BridgeGaps(images);
    for (int i = 0; i < count; ++i) {
        const bool expected = line.fixed[static_cast<std::size_t>(i)] == 'F';
        EXPECT_EQ(images.state(place(i)) == eFixed, expected) << i;
        if (!expected || line.pixels[static_cast<std::size_t>(i)] == 'P') continue;
        EXPECT_NEAR(images.absolute(place(i)), truth(i), 1e-4) << i;
        if (hasAreas) EXPECT_EQ(images.area(place(i)), line.pixels[static_cast<std::size_t>(i)] == 'G' ? 8 : 7) << i;
    }
}

TEST(Bridging, GapsInALineCloseWhereThePhaseRunsOn) {
    const Line lines[] = {
        {"a gap", "FF.........FF", "FFFFFFFFFFFFF"},
        {"two gaps", "FF...F.....FF", "FFFFFFFFFFFFF"},
        {"some orders off by one", "FF..u....u.FF", "FFFFFFFFFFFFF"},
        {"an object before a wall", "FF..uuuuu..FF", "FF         FF"},
        {"more off than what is known", "FF....n....FF", "FFFFFF FFFFFF"},
        {"doubtful", "FF....d....FF", "FFFFFFFFFFFFF"},
        {"ends that do not fit", "FF.........PP", "FF         FF"},
        {"an edge", "FF.........FF", "FF         FF", 0.7f},
        {"a hole", "FF... .....FF", "FF         FF"},
        {"a hole behind a gap", "FF..F .....FF", "FFFFF      FF"},
        {"an open end", "....FF...  ..", "    FF       "},
    };
    for (const Line& line : lines)
        for (const bool isColumn : {false, true})
            for (const int margin : {0, 1})
                for (const bool hasAreas : {false, true}) {
                    SCOPED_TRACE(std::string(line.name) + (isColumn ? ", column" : ", row"));
                    ExpectBridged(line, isColumn, margin, hasAreas);
                }
    for (const bool isColumn : {false, true})
        ExpectBridged({"behind a pixel at the edge", "F.........FF", "FFFFFFFFFFFF"}, isColumn, 0, true);
    ExpectBridged({"areas that are lifted apart", "FF.........GG", "FF         FF"}, false, 1, true);
    ExpectBridged({"areas without a meaning", "FF.........GG", "FFFFFFFFFFFFF"}, false, 1, false);
}

}  // namespace
