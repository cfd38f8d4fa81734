#include "measure/fringe/exchange.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <utility>

#include "measure/fringe/framepixels.h"

namespace measure {

std::vector<Levels> SampleLevels(const FringeSet& set, const FringePhase& phase, int count) {
    const int step = std::max(
        1, static_cast<int>(std::sqrt(static_cast<double>(cv::countNonZero(phase.usable)) / std::max(count, 1))));
    const auto scatter = [step](int y, int x) {
        const std::uint32_t mixed =
            (static_cast<std::uint32_t>(y) * 40503U ^ static_cast<std::uint32_t>(x)) * 2654435769U;
        return static_cast<int>((mixed >> 16) % static_cast<std::uint32_t>(step));
    };
    std::vector<Levels> pixels;
    for (int top = 0; top + step <= phase.usable.rows; top += step) {
        for (int left = 0; left + step <= phase.usable.cols; left += step) {
            const int y = top + scatter(top, left), x = left + scatter(left, ~top);
            if (!phase.usable(y, x)) continue;
            pixels.push_back(LevelsAt(set.frames, y, x));
        }
    }
    return pixels;
}

namespace {

// What the waves C cos(shift) - S sin(shift) that fit the pixels have in common: the means of C, S and their products.
class Waves {
public:
    Waves(const std::vector<double>& shifts, const std::vector<Levels>& pixels) {
        const cv::Mat1d solve(FunctionsOf(shifts).inv(cv::DECOMP_SVD));
        for (const Levels& levels : pixels) {
            const double c = std::inner_product(levels.begin(), levels.end(), solve[1], 0.0);
            const double s = std::inner_product(levels.begin(), levels.end(), solve[2], 0.0);
            mMeans += cv::Vec<double, 5>(c, s, c * c, s * s, c * s) * (1 / static_cast<double>(pixels.size()));
        }
    }

    // The mean square of the difference of two frames.
    double DifferenceOf(double a, double b) const {
        const double c = std::cos(a) - std::cos(b), s = std::sin(b) - std::sin(a);
        return c * c * mMeans[2] + s * s * mMeans[3] + 2 * c * s * mMeans[4];
    }
    double Square() const { return mMeans[2] + mMeans[3]; }  // of B
    // Whether all phases lie around two opposite ones, and not around one.
    bool AreOpposite() const {
        constexpr double kAround = 0.9, kNotOne = 0.6;
        return std::hypot(mMeans[2] - mMeans[3], 2 * mMeans[4]) > kAround * Square() &&
               std::hypot(mMeans[0], mMeans[1]) < kNotOne * std::sqrt(Square());
    }

private:
    cv::Vec<double, 5> mMeans;
};

}  // namespace

cv::Mat1d FunctionsOf(const std::vector<double>& shifts) {
    cv::Mat1d functions(static_cast<int>(shifts.size()), 3);
    for (int k = 0; k < functions.rows; ++k) {
        const double shift = shifts[static_cast<std::size_t>(k)];
        functions(k, 0) = 1;
        functions(k, 1) = std::cos(shift);
        functions(k, 2) = -std::sin(shift);
    }
    return functions;
}

Levels LevelsAt(const std::vector<cv::Mat>& frames, int y, int x) {
    Levels levels;
    levels.reserve(frames.size());
    for (const cv::Mat& frame : frames) levels.push_back(static_cast<double>(LevelAt(frame, y, x)));
    return levels;
}

OrderFit::OrderFit(const std::vector<double>& shifts, const std::vector<Levels>& pixels) {
    const auto frames = static_cast<int>(shifts.size());
    const cv::Mat1d functions = FunctionsOf(shifts);
    mRest = cv::Mat1d::eye(frames, frames) - functions * functions.inv(cv::DECOMP_SVD);
    cv::Mat1d values(static_cast<int>(pixels.size()), frames);
    for (int i = 0; i < values.rows; ++i) {
        const Levels& levels = pixels[static_cast<std::size_t>(i)];
        std::copy(levels.begin(), levels.end(), values[i]);
    }
    if (pixels.empty())
        mProducts = cv::Mat1d::zeros(frames, frames);
    else
        mProducts = values.t() * values / static_cast<double>(values.rows);
}

double OrderFit::Rms(const std::vector<int>& order) const {
    double sum = 0;
    for (int i = 0; i < mRest.rows; ++i)
        for (int j = 0; j < mRest.cols; ++j)
            sum += mRest(i, j) * mProducts(order[static_cast<std::size_t>(i)], order[static_cast<std::size_t>(j)]);
    return std::sqrt(std::max(sum, 0.0) / mRest.rows);
}

Exchanges FindExchanges(const OrderFit& fit) {
    if (fit.Count() < 4) return {};
    std::vector<int> order(static_cast<std::size_t>(fit.Count()));
    std::iota(order.begin(), order.end(), 0);
    Exchanges result;
    result.given = result.least = fit.Rms(order);
    std::vector<std::pair<double, FramePair>> better;
    for (std::size_t a = 0; a < order.size(); ++a) {
        for (std::size_t b = a + 1; b < order.size(); ++b) {
            std::swap(order[a], order[b]);
            const double rms = fit.Rms(order);
            std::swap(order[a], order[b]);
            result.least = std::min(result.least, rms);
            if (rms < kBetterOrder * result.given) better.push_back({rms, {static_cast<int>(a), static_cast<int>(b)}});
        }
    }
    for (const auto& [rms, pair] : better)
        if (rms <= kAsGoodAnOrder * result.least) result.pairs.push_back(pair);
    return result;
}

FramePair FindAlike(const std::vector<double>& shifts, const std::vector<Levels>& pixels, double noise) {
    constexpr double kAlike = 0.1, kClear = 9;  // of squares
    const double ofNoise = 2 * noise * noise;
    const Waves waves(shifts, pixels);
    // Three frames fit whatever they show, but two that are alike leave two opposite phases.
    const bool isFree = shifts.size() == 3;
    if (isFree && !waves.AreOpposite()) return {};
    for (std::size_t a = 0; a < shifts.size(); ++a) {
        for (std::size_t b = a + 1; b < shifts.size(); ++b) {
            double squares = 0;
            for (const Levels& levels : pixels) squares += std::pow(levels[a] - levels[b], 2);
            const double beside = squares / static_cast<double>(std::max<std::size_t>(pixels.size(), 1)) - ofNoise;
            const double expected = isFree ? waves.Square() : waves.DifferenceOf(shifts[a], shifts[b]);
            if (expected > kClear * ofNoise && beside < kAlike * expected)
                return {static_cast<int>(a), static_cast<int>(b)};
        }
    }
    return {};
}

}  // namespace measure
