#include "measure/fringe.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using measure::EqualShifts;
using measure::FringePhase;

// Vertical fringes of `periods` periods whose light passes a projector with gamma.
measure::FringeSet Render(const std::vector<double>& shifts, double periods, double gamma, double noise, int type,
                          cv::Mat1f& truth) {
    const cv::Size size(400, 60);
    cv::RNG random(7);
    measure::FringeSet set{{}, shifts};
    truth.create(size);
    const double scale = type == CV_16U ? 257.0 : 1.0;
    for (const double shift : shifts) {
        cv::Mat1f frame(size);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const double angle = 2 * CV_PI * (periods * (x + 0.3 * y) / size.width);
                const double light = std::pow(0.5 + 0.5 * std::cos(angle + shift), gamma);
                frame(y, x) = static_cast<float>((20 + 200 * light + random.gaussian(noise)) * scale);
                truth(y, x) = static_cast<float>(std::remainder(angle, 2 * CV_PI));
            }
        }
        cv::Mat converted;
        frame.convertTo(converted, type);
        set.frames.push_back(converted);
    }
    return set;
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
    const std::vector<Row> rows{
        {EqualShifts(3), 1, 0, CV_32F, 1e-5, 1e-5},  {EqualShifts(4), 1, 0, CV_8U, 0.005, 0.01},
        {EqualShifts(8), 1, 0, CV_16U, 1e-4, 1e-3},  {EqualShifts(3), 2.2, 0, CV_8U, 0.25, 0.06},
        {EqualShifts(4), 2.2, 0, CV_16U, 0.1, 0.03}, {EqualShifts(3), 1, 4, CV_8U, 0.05, 0.06},
        {{0, 1.0, 2.2}, 2.2, 0, CV_32F, 0.5, 0.08},  {{-2, -1, 0, 1.2, 2}, 1, 2, CV_16U, 0.05, 0.06},
    };
    for (const Row& row : rows) {
        cv::Mat1f truth;
        const auto set = Render(row.shifts, 12, row.gamma, row.noise, row.type, truth);
        measure::FringeLimits limits;
        if (row.type == CV_32F) limits.fullScale = 255;
        FringePhase result = measure::SolveFringes(set, limits);
        EXPECT_EQ(cv::countNonZero(result.usable), truth.size().area());
        const double plain = Deviation(result, truth);
        const measure::Ripple ripple = measure::EstimateRipple(result);
        measure::CorrectRipple(result, ripple);
        const double corrected = Deviation(result, truth);
        SCOPED_TRACE(cv::format("%zu shifts, gamma %.1f, noise %.0f", row.shifts.size(), row.gamma, row.noise));
        EXPECT_LE(plain, row.plain);
        EXPECT_LE(corrected, row.corrected);
    }
}

}  // namespace
