#include "measure/fringe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <limits>

#include "measure/fringe/harmonicrows.h"
#include "measure/fringe/phaserows.h"
#include "measure/fringequality.h"
#include "tests/support/refusal.h"

namespace {

using measure::EqualShifts;
using measure::FringeLimits;
using measure::FringePhase;
using measure::FringeSet;

struct Look {
    double periods = 12, gamma = 1, noise = 0, brightness = 1;
    int type = CV_8U;
    int constantBelow = 0;  // rows without fringes
    double slant = 0.3;     // columns per row
    int pin = 0, gap = 0;   // columns; the fringes begin alike on every pin
};

// Slanted fringes whose light passes a projector with gamma.
FringeSet Render(const std::vector<double>& shifts, const Look& look, cv::Mat1f* truth = nullptr) {
    const cv::Size size(400, 61);
    cv::RNG random(7);
    FringeSet set{{}, shifts};
    if (truth) truth->create(size);
    for (const double shift : shifts) {
        cv::Mat1f frame(size);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const int column = look.pin > 0 ? x % (look.pin + look.gap) : x;
                const double angle = 2 * CV_PI * look.periods * (column + look.slant * y) / size.width;
                const bool fringes = y < size.height - look.constantBelow && (look.pin == 0 || column < look.pin);
                const double light = fringes ? std::pow(0.5 + 0.5 * std::cos(angle + shift), look.gamma) : 0.3;
                frame(y, x) = static_cast<float>((20 + 200 * light) * look.brightness + random.gaussian(look.noise));
                if (truth) (*truth)(y, x) = static_cast<float>(std::remainder(angle, 2 * CV_PI));
            }
        }
        cv::Mat converted;
        frame.convertTo(converted, look.type, look.type == CV_16U ? 257.0 : 1.0);
        set.frames.push_back(converted);
    }
    return set;
}

FringeLimits LimitsFor(int type) {
    FringeLimits limits;
    if (type == CV_32F) limits.fullScale = 255;
    return limits;
}

double Deviation(const FringePhase& result, const cv::Mat1f& truth) {
    double squares = 0, count = 0;
    for (int y = 0; y < truth.rows; ++y) {
        for (int x = 0; x < truth.cols; ++x) {
            if (!result.usable(y, x)) continue;
            const double d = std::remainder(static_cast<double>(result.phase(y, x) - truth(y, x)), 2 * CV_PI);
            squares += d * d;
            ++count;
        }
    }
    return count > 0 ? std::sqrt(squares / count) : NAN;
}

TEST(Fringe, PhaseAndRipple) {
    struct Row {
        std::vector<double> shifts;
        double gamma, noise;
        int type;
        double plain, corrected;  // the largest deviations from the truth, radians
    };
    const double third = 2 * CV_PI / 3;
    const std::vector<Row> table{
        {EqualShifts(3), 1, 0, CV_32F, 1e-5, 1e-5},
        {EqualShifts(4), 1, 0, CV_8U, 0.005, 0.005},
        {EqualShifts(8), 1, 0, CV_16U, 1e-4, 1e-4},
        {EqualShifts(3), 2.2, 0, CV_8U, 0.25, 0.06},
        {EqualShifts(4), 2.2, 0, CV_16U, 0.1, 0.03},
        {EqualShifts(3), 1, 4, CV_8U, 0.05, 0.05},
        {EqualShifts(3), 2.2, 4, CV_8U, 0.25, 0.07},
        {{-third, 0, third, -third, 0, third}, 2.2, 0, CV_8U, 0.25, 0.06},         // three steps, twice each
        {{0.5, 0.5 - third, 0.5 + third - 2 * CV_PI}, 1.6, 0, CV_16U, 0.2, 0.05},  // out of order and offset
        {{0, 1.0, 2.2}, 2.2, 0, CV_32F, 0.5, 0.08},
        {{-2, -1, 0, 1.2, 2}, 1, 2, CV_16U, 0.05, 0.05},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(cv::format("%zu shifts from %.1f, gamma %.1f, noise %.0f", row.shifts.size(), row.shifts.front(),
                                row.gamma, row.noise));
        cv::Mat1f truth;
        const Look look{12, row.gamma, row.noise, 1, row.type};
        FringePhase result = measure::SolveFringes(Render(row.shifts, look, &truth), LimitsFor(row.type));
        EXPECT_EQ(cv::countNonZero(result.usable), truth.size().area());
        EXPECT_EQ(result.residual.empty(), row.shifts.size() == 3);
        EXPECT_LE(Deviation(result, truth), row.plain);
        const measure::Ripple ripple = measure::EstimateRipple(result);
        EXPECT_NEAR(ripple.periodsInView, 12.4, 1.0);
        measure::CorrectRipple(result, ripple);
        EXPECT_LE(Deviation(result, truth), row.corrected);
        double least = 0, largest = 0;
        cv::minMaxLoc(result.phase, &least, &largest);
        EXPECT_LE(std::max(-least, largest), CV_PI + 1e-6);
    }
}

// Fringes of few places within a period, or on parts of many periods, are taken for sines unless they are none.
TEST(Fringe, RippleIsNotFeigned) {
    struct Row {
        int steps;
        double pixels;  // of a period
        double slant;
        int pin, gap;
        double gamma;
        bool known, corrected;
    };
    const std::vector<Row> table{
        {4, 8, 0, 0, 0, 1, false, false},  // twice the steps
        {3, 6, 0, 0, 0, 1, false, false},     {4, 4, 0, 0, 0, 1, false, false},   {4, 8, 0.002, 0, 0, 1, false, false},
        {4, 8, 0.3, 0, 0, 1, true, false},    {3, 8, 0, 0, 0, 2.2, true, true},   {3, 6.5, 0, 0, 0, 2.2, true, true},
        {4, 12.4, 0, 16, 8, 1, false, false},  // 1.3 periods, few phases, since all pins begin alike
        {3, 9.2, 0, 16, 8, 1, false, false},  {3, 20, 0, 16, 8, 1, false, false},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(cv::format("%d steps, %g pixels per period, slant %g, pins of %d", row.steps, row.pixels,
                                row.slant, row.pin));
        Look look{400 / row.pixels, row.gamma, 1};
        look.slant = row.slant;
        look.pin = row.pin;
        look.gap = row.gap;
        cv::Mat1f truth;
        FringePhase result = measure::SolveFringes(Render(EqualShifts(row.steps), look, &truth));
        const double plain = Deviation(result, truth);
        const measure::Ripple ripple = measure::EstimateRipple(result);
        EXPECT_EQ(ripple.known, row.known) << measure::SummaryOf(ripple);
        EXPECT_EQ(measure::WhyUnknown(ripple).empty(), row.known);
        EXPECT_EQ(ripple.IsWorthCorrecting(), row.corrected) << measure::SummaryOf(ripple);
        EXPECT_FALSE(ripple.IsOfOtherFrames()) << measure::SummaryOf(ripple);
        measure::CorrectRipple(result, ripple);
        EXPECT_LE(Deviation(result, truth), row.corrected ? 0.4 * plain : plain + 0.005);
    }
}

TEST(Fringe, RippleOfAnotherSet) {
    const Look fine{12, 2.2}, coarse{1, 2.2};
    cv::Mat1f truth;
    const auto ripple = measure::EstimateRipple(measure::SolveFringes(Render(EqualShifts(3), fine)));
    FringePhase result = measure::SolveFringes(Render(EqualShifts(3), coarse, &truth));
    const double plain = Deviation(result, truth);
    const auto own = measure::EstimateRipple(result);
    EXPECT_FALSE(own.known);
    EXPECT_FALSE(own.IsWorthCorrecting());
    measure::CorrectRipple(result, own);
    EXPECT_EQ(Deviation(result, truth), plain);
    measure::CorrectRipple(result, ripple);
    EXPECT_LT(Deviation(result, truth), 0.3 * plain);
    FringePhase other = measure::SolveFringes(Render(EqualShifts(4), coarse));
    EXPECT_THROW(measure::CorrectRipple(other, ripple), measure::InputError);
}

// The share of usable pixels, which must be those that the header describes, with the slope of Render.
double ShareOfUsable(const FringePhase& phase, double periods) {
    const cv::Mat1f& b = phase.modulation;
    const double slope = 2 * CV_PI * periods / b.cols;
    const double least = phase.limits.minModulation * phase.limits.fullScale;
    int usable = 0;
    for (int y = 0; y < b.rows; ++y) {
        for (int x = 0; x < b.cols; ++x) {
            std::complex<double> sum;
            for (int i = 0; i < 9; ++i) {
                const int ny = std::clamp(y + i / 3 - 1, 0, b.rows - 1), nx = std::clamp(x + i % 3 - 1, 0, b.cols - 1);
                sum +=
                    std::polar<double>(b(ny, nx), static_cast<double>(phase.phase(ny, nx)) - slope * (nx + 0.3 * ny));
            }
            const double together = std::abs(sum) / 9, own = b(y, x);
            const bool expected = together >= least && own >= least / 2;
            const bool isClear = std::abs(together / least - 1) > 0.05 && std::abs(2 * own / least - 1) > 1e-3;
            EXPECT_TRUE(!isClear || (phase.usable(y, x) != 0) == expected) << y << ", " << x;
            usable += phase.usable(y, x) != 0 ? 1 : 0;
        }
    }
    return static_cast<double>(usable) / b.size().area();
}

TEST(Fringe, SurfacesNearTheLimitHaveNoHoles) {
    constexpr double kFirstHarmonic = 0.4944;  // of the light at gamma 2.2, by quadrature
    struct Row {
        std::vector<double> shifts;
        double periods;        // five pixels each at the most
        double level;          // modulation as a multiple of the limit
        double before, after;  // share of usable pixels
    };
    const std::vector<Row> table{
        {EqualShifts(3), 12, 1.12, 0.6, 1},
        {EqualShifts(3), 12, 0.85, 0.3, 0.3},
        {{1, 1 + 4 * CV_PI / 3, 1 + 2 * CV_PI / 3}, 12, 1.12, 0.6, 1},
        {{0, 1.0, 2.2}, 12, 1.12, 0.7, 0.7},  // other than equal steps tell nothing
        {EqualShifts(4), 80, 1.12, 1, 1},
        {EqualShifts(4), 80, 0.9, 0, 0},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(cv::format("%.0f periods, level %.2f, shift %.2f", row.periods, row.level, row.shifts[1]));
        FringeLimits limits;
        limits.minMean = 0;
        Look look{row.periods, 2.2, 0, 1, CV_16U};
        look.brightness = row.level * limits.minModulation * 255 / (200 * kFirstHarmonic);
        FringePhase phase = measure::SolveFringes(Render(row.shifts, look), limits);
        const double before = ShareOfUsable(phase, look.periods);
        look.brightness = 1;
        measure::CorrectRipple(phase, measure::EstimateRipple(measure::SolveFringes(Render(row.shifts, look))));
        const double after = cv::mean(phase.usable)[0] / 255;
        EXPECT_NEAR(before, row.before, 0.1);
        EXPECT_NEAR(after, row.after, row.after == 1 ? 0 : 0.1);
    }
    // With a little noise, and above light without fringes.
    Look mixed{12, 2.2, 0.5, 0.045, CV_8U, 20};
    FringeLimits dark;
    dark.minMean = 0;
    FringePhase phase = measure::SolveFringes(Render(EqualShifts(3), mixed), dark);
    mixed.brightness = 1;
    const auto ripple = measure::EstimateRipple(measure::SolveFringes(Render(EqualShifts(3), mixed)));
    measure::CorrectRipple(phase, ripple);
    EXPECT_NEAR(cv::mean(phase.usable)[0] / 255, 0.6, 0.1);
    // Nothing but noise: no more of it passes than before.
    mixed.noise = 4;
    mixed.constantBelow = 61;
    phase = measure::SolveFringes(Render(EqualShifts(3), mixed), dark);
    const cv::Mat1b before = phase.usable.clone();
    measure::CorrectRipple(phase, ripple);
    EXPECT_EQ(cv::norm(before, phase.usable), 0);
}

TEST(Fringe, ResidualIsTheNoiseOfTheFrames) {
    const FringePhase result = measure::SolveFringes(Render(EqualShifts(8), {12, 1, 4}));
    const double expected = 4 * std::sqrt(5.0 / 8.0);  // three of eight degrees of freedom are fitted
    EXPECT_NEAR(std::sqrt(cv::norm(result.residual, cv::NORM_L2SQR) / 24400.0), expected, 0.05);
}

TEST(Fringe, UsablePixels) {
    struct Row {
        const char* what;
        std::function<void(FringeSet&)> change;  // of pixel (10, 20) or around it
        std::function<void(FringeLimits&)> limit;
        bool own, neighbour, far;  // usable
    };
    const auto set = [](cv::Rect where, double level) {
        return [=](FringeSet& s) { s.frames[1](where).setTo(level); };
    };
    const auto flat = [](FringeSet& s) {
        for (cv::Mat& frame : s.frames) frame(cv::Rect(8, 18, 5, 5)).setTo(90);
    };
    const auto none = [](FringeLimits&) {};
    const std::vector<Row> table{
        {"nothing", [](FringeSet&) {}, none, true, true, true},
        {"saturated", set({10, 20, 1, 1}, 255), none, false, true, true},
        {"saturation is allowed", set({10, 20, 1, 1}, 255), [](auto& l) { l.saturation = 1.1; }, true, true, true},
        {"no fringes here", flat, none, false, false, true},
        {"no modulation demanded", flat, [](auto& l) { l.minModulation = 0; }, true, true, true},
        {"all too dark", [](FringeSet&) {}, [](auto& l) { l.minMean = 0.6; }, false, false, false},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(row.what);
        FringeSet frames = Render(EqualShifts(3), {});
        FringeLimits limits;
        row.change(frames);
        row.limit(limits);
        const FringePhase result = measure::SolveFringes(frames, limits);
        EXPECT_EQ(result.usable(20, 10) != 0, row.own);
        EXPECT_EQ(result.usable(20, 11) != 0, row.neighbour);
        EXPECT_EQ(result.usable(50, 300) != 0, row.far);
    }
    // One pixel alone would pass in noise; nine together hardly ever do.
    const FringePhase noise = measure::SolveFringes(Render(EqualShifts(3), {12, 1, 4, 1, CV_8U, 61}));
    EXPECT_LT(cv::countNonZero(noise.usable), 0.1 * 24400);
    EXPECT_GT(cv::countNonZero(noise.modulation >= 0.016 * 255), 0.3 * 24400);

    // Fringes that suffice where all nine pixels have them, and begin at row 20.
    FringeSet weak;
    weak.shifts = EqualShifts(3);
    for (const double shift : weak.shifts) {
        cv::Mat1b frame(40, 30, uchar{100});
        for (int y = 20; y < frame.rows; ++y)
            for (int x = 0; x < frame.cols; ++x)
                frame(y, x) = cv::saturate_cast<uchar>(100 + 5.2 * std::cos(0.1 * x + shift));
        weak.frames.push_back(frame);
    }
    const cv::Mat1b usable = measure::SolveFringes(weak).usable;
    for (int y = 0; y < usable.rows; ++y) EXPECT_EQ(usable(y, 15) != 0, y > 20) << y;
}

TEST(Fringe, NotFinite) {
    FringeSet set = Render(EqualShifts(4), {12, 1, 0, 1, CV_32F});
    set.frames[2].at<float>(5, 7) = NAN;
    set.frames[0].at<float>(6, 399) = INFINITY;
    FringePhase result = measure::SolveFringes(set, LimitsFor(CV_32F));
    measure::CorrectRipple(result, measure::EstimateRipple(result));
    for (const cv::Point p : {cv::Point(7, 5), cv::Point(399, 6)}) {
        EXPECT_TRUE(std::isnan(result.phase(p)));
        EXPECT_FALSE(result.usable(p));
    }
    EXPECT_TRUE(result.usable(20, 20));
}

TEST(Fringe, ArcTangentAndHarmonics) {
    std::vector<float> c, s;
    for (int i = 0; i < 4001; ++i) {
        const double angle = CV_PI * (i - 2000) / 2000.0, length = std::pow(10.0, i % 60 - 30);
        c.push_back(static_cast<float>(length * std::cos(angle)));
        s.push_back(static_cast<float>(length * std::sin(angle)));
    }
    c.insert(c.end(), {0.0f, -0.0f, -1.0f, -1.0f, 3e38f});
    s.insert(s.end(), {0.0f, 0.0f, 0.0f, -0.0f, 3e38f});
    std::vector<float> phase(c.size()), modulation(c.size());
    measure::rows::PhaseOf(c.data(), s.data(), phase.data(), modulation.data(), c.size());
    for (std::size_t i = 0; i < c.size(); ++i) {
        const double exact = std::atan2(static_cast<double>(s[i]), static_cast<double>(c[i]));
        const bool zero = c[i] == 0 && s[i] == 0;
        EXPECT_NEAR(std::remainder(static_cast<double>(phase[i]) - (zero ? 0 : exact), 2 * CV_PI), 0, 4e-7) << c[i];
    }
    for (const int count : {1, 2, 8}) {
        measure::rows::Harmonics harmonics;
        harmonics.count = count;
        for (int m = 0; m < count; ++m) {
            harmonics.sines[static_cast<std::size_t>(m)] = 0.3f / static_cast<float>(m + 1);
            harmonics.cosines[static_cast<std::size_t>(m)] = -0.1f / static_cast<float>(m + 1);
        }
        std::vector<float> sum = phase;
        measure::rows::AddHarmonics(harmonics, 3, sum.data(), sum.size());
        for (std::size_t i = 0; i < sum.size(); ++i) {
            double expected = static_cast<double>(phase[i]);
            for (int m = 1; m <= count; ++m) {
                const double angle = 3.0 * m * static_cast<double>(phase[i]);
                expected += (0.3 * std::sin(angle) - 0.1 * std::cos(angle)) / m;
            }
            EXPECT_NEAR(std::remainder(static_cast<double>(sum[i]) - expected, 2 * CV_PI), 0, 1e-5);
        }
    }
}

TEST(Fringe, Refusals) {
    const FringeSet good = Render(EqualShifts(4), {});
    struct Row {
        const char* text;  // part of the message
        std::function<void(FringeSet&, FringeLimits&)> spoil;
    };
    const std::vector<Row> table{
        {"at least three", [](auto& s, auto&) { s.frames.resize(2); }},
        {"the phase shifts: 3, but the frames: 4", [](auto& s, auto&) { s.shifts.pop_back(); }},
        {"same size", [](auto& s, auto&) { s.frames[2] = s.frames[2].rowRange(0, 60); }},
        {"same pixel type", [](auto& s, auto&) { s.frames[2].convertTo(s.frames[2], CV_16U); }},
        {"frames[3]: there are no pixels", [](auto& s, auto&) { s.frames[3].release(); }},
        {"frames[0]: a fringe picture has one channel of 8-bit, 16-bit or float pixels, this one has double",
         [](auto& s, auto&) {
             for (cv::Mat& frame : s.frames) frame.convertTo(frame, CV_64F);
         }},
        {"do not determine",
         [](auto& s, auto&) {
             s.shifts = {0, 1, 2 * CV_PI, 1 - 2 * CV_PI};
         }},
        {"a phase shift is nan", [](auto& s, auto&) { s.shifts[0] = NAN; }},
        {"the least mean is -1", [](auto&, auto& l) { l.minMean = -1; }},
        {"the full scale is nan", [](auto&, auto& l) { l.fullScale = NAN; }},
        {"full scale",
         [](auto& s, auto&) {
             for (cv::Mat& frame : s.frames) frame.convertTo(frame, CV_32F);
         }},
        {"up to 880, which is more than 511: is it 1023?",
         [](auto& s, auto& l) {
             for (cv::Mat& frame : s.frames) frame.convertTo(frame, CV_16U, 4);
             l.fullScale = 511;
         }},
    };
    for (const Row& row : table) {
        FringeSet set{{}, good.shifts};
        for (const cv::Mat& frame : good.frames) set.frames.push_back(frame.clone());
        FringeLimits limits;
        row.spoil(set, limits);
        test::ExpectRefusal([&] { measure::SolveFringes(set, limits); }, row.text);
    }
    EXPECT_THROW(measure::SolveFringes(good, {}, [](const char*, double) { return false; }), measure::Stopped);
}

TEST(Fringe, Contrast) {
    cv::Mat1f truth;
    const FringePhase result = measure::SolveFringes(Render(EqualShifts(3), {}, &truth));
    const cv::Mat1f contrast = measure::FringeContrast(result);
    for (const cv::Point p : {cv::Point(0, 0), cv::Point(200, 30), cv::Point(399, 60)})
        EXPECT_NEAR(contrast(p), 100.0 / 121.0, 0.01);

    // Gamma lets the modulation swing with the phase.
    FringePhase curved = measure::SolveFringes(Render(EqualShifts(3), {12, 2.2}));
    const auto ripple = measure::EstimateRipple(curved);
    measure::CorrectRipple(curved, ripple);
    const auto swing = [&](const measure::Ripple& known) {
        double least, most;
        cv::minMaxLoc(measure::FringeContrast(curved, known), &least, &most);
        return most / least;
    };
    EXPECT_GT(swing({}), 1.2);
    EXPECT_LT(swing(ripple), 1.1);
}

TEST(FringeQuality, Verdicts) {
    using measure::FringeVerdict;
    struct Row {
        const char* what;
        Look look;
        std::vector<double> shifts;
        FringeVerdict verdict;
        const char* finding;  // part of one of them
        std::function<void(FringeSet&)> spoil = [](FringeSet&) {};
    };
    std::vector<double> exchanged = EqualShifts(5);
    std::swap(exchanged[1], exchanged[3]);
    const auto dim = [](FringeSet& set) { set.frames[1] *= 0.7; };
    const auto replace = [](FringeSet& set) { set.frames[2] = Render({0}, {17}).frames[0]; };
    const auto filter = [](FringeSet& set) {
        for (cv::Mat& frame : set.frames)
            for (int y = 0; y < frame.rows; ++y)
                for (int x = y % 2; x < frame.cols; x += 2) frame.at<uchar>(y, x) /= 2;
    };
    const auto lamp = [](FringeSet& set) {
        for (cv::Mat& frame : set.frames) frame += 80;
    };
    const std::vector<Row> table{
        {"good", {12, 1, 1, 1}, EqualShifts(4), FringeVerdict::eGood, ""},
        {"good, through a mosaic of colours", {12, 1, 1, 1}, EqualShifts(4), FringeVerdict::eGood, "", filter},
        {"good, three frames through a mosaic", {12, 1, 1, 1}, EqualShifts(3), FringeVerdict::eGood, "", filter},
        {"weak fringes in much light",
         {12, 1, 1, 0.08},
         EqualShifts(4),
         FringeVerdict::eDoubtful,
         "light enough",
         lamp},
        {"good, noise of the camera", {12, 1, 3, 1}, EqualShifts(3), FringeVerdict::eGood, ""},
        {"bright", {12, 1, 1, 1.3}, EqualShifts(4), FringeVerdict::eLowContrast, "saturated"},
        {"dark", {12, 1, 1, 0.08}, EqualShifts(4), FringeVerdict::eTooDark, "expose longer"},
        {"black", {12, 1, 0.5, 0.01}, EqualShifts(4), FringeVerdict::eTooDark, "hardly anything is usable"},
        {"light without fringes",
         {12, 1, 0, 1, CV_8U, 61},
         EqualShifts(4),
         FringeVerdict::eLowContrast,
         "light enough"},
        {"gamma", {12, 2.2, 1, 1}, EqualShifts(3), FringeVerdict::eGood, "no sines"},
        {"noise", {12, 1, 25, 1}, EqualShifts(3), FringeVerdict::eDoubtful, "noise of 2"},
        {"frames exchanged", {12, 1, 2, 1}, exchanged, FringeVerdict::eNotTogether, "two.png and frame 4 exchanged"},
        {"gamma and noise with light for more", {12, 2.2, 4, 1}, EqualShifts(5), FringeVerdict::eGood, ""},
        {"one of four dimmed",
         {12, 1, 2, 1},
         EqualShifts(4),
         FringeVerdict::eNotTogether,
         "do not belong together",
         dim},
        {"one of five dimmed", {12, 1, 2, 1}, EqualShifts(5), FringeVerdict::eNotTogether, "without two.png: is", dim},
        {"one of five a little brighter",
         {12, 1, 2, 0.9},
         EqualShifts(5),
         FringeVerdict::eGood,
         "may leave 0.0",
         [](FringeSet& set) { set.frames[1] *= 1.08; }},
        {"one of three twice",
         {12, 1, 2, 1},
         EqualShifts(3),
         FringeVerdict::eNotTogether,
         "show the same fringes",
         [](FringeSet& set) { set.frames[1] = set.frames[0]; }},
        {"three with steps of 90 degrees",
         {12, 1, 2, 1},
         EqualShifts(3),
         FringeVerdict::eNotTogether,
         "are the steps not as described",
         [](FringeSet& set) {
             set.frames = Render({-CV_PI / 2, 0, CV_PI / 2}, {12, 1, 2}).frames;
         }},
        {"one of three dimmed", {12, 1, 2, 1}, EqualShifts(3), FringeVerdict::eNotTogether, "the light change", dim},
        {"camera that saturates early",
         {12, 1, 1, 1},
         EqualShifts(3),
         FringeVerdict::eDoubtful,
         "have the grey level 180 and",
         [](FringeSet& set) {
             for (cv::Mat& frame : set.frames) frame = cv::min(frame, 180);
         }},
        {"other period", {12, 1, 2, 1}, EqualShifts(6), FringeVerdict::eNotTogether, "without frame 3: is", replace},
    };
    for (const Row& row : table) {
        SCOPED_TRACE(row.what);
        FringeSet set = Render(EqualShifts(static_cast<int>(row.shifts.size())), row.look);
        set.shifts = row.shifts;
        row.spoil(set);
        const FringePhase phase = measure::SolveFringes(set);
        const auto quality = measure::AssessFringes(set, phase, measure::EstimateRipple(phase), {"one.png", "two.png"});
        EXPECT_EQ(quality.verdict, row.verdict);
        std::string findings;
        for (const std::string& finding : quality.findings) findings += finding + "\n";
        EXPECT_NE(findings.find(row.finding), std::string::npos) << findings;
        EXPECT_EQ(quality.findings.empty(), std::string(row.finding).empty()) << findings;
        const double noise = quality.usable > 0.5 ? row.look.noise : quality.noise;
        EXPECT_NEAR(quality.noise, noise, 0.15 * noise + 0.3);
    }
}

}  // namespace
