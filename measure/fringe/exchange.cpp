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
            Levels levels;
            for (const cv::Mat& frame : set.frames) levels.push_back(static_cast<double>(LevelAt(frame, y, x)));
            pixels.push_back(levels);
        }
    }
    return pixels;
}

namespace {

// Sums up what a least-squares fit leaves: the part of the levels outside the space of its three functions.
class Residual {
public:
    explicit Residual(const std::vector<double>& shifts) {
        std::vector<Levels> functions(3);
        for (const double shift : shifts) {
            functions[0].push_back(1);
            functions[1].push_back(std::cos(shift));
            functions[2].push_back(std::sin(shift));
        }
        for (Levels& f : functions) {
            for (const Levels& g : mBase) Subtract(f, g);
            const double length = std::sqrt(Dot(f, f));
            if (length < 1e-6) continue;
            for (double& v : f) v /= length;
            mBase.push_back(f);
        }
    }

    double Of(Levels levels) const {
        for (const Levels& f : mBase) Subtract(levels, f);
        return Dot(levels, levels);
    }

private:
    static double Dot(const Levels& a, const Levels& b) {
        double sum = 0;
        for (std::size_t k = 0; k < a.size(); ++k) sum += a[k] * b[k];
        return sum;
    }
    static void Subtract(Levels& from, const Levels& base) {
        const double share = Dot(from, base);
        for (std::size_t k = 0; k < from.size(); ++k) from[k] -= share * base[k];
    }

    std::vector<Levels> mBase;
};

// What the waves C cos(shift) - S sin(shift) that fit the pixels have in common: the means of C, S and their products.
class Waves {
public:
    Waves(const std::vector<double>& shifts, const std::vector<Levels>& pixels) {
        const auto frames = static_cast<int>(shifts.size());
        cv::Mat1d functions(frames, 3);
        for (int k = 0; k < frames; ++k) {
            const double shift = shifts[static_cast<std::size_t>(k)];
            functions(k, 0) = 1;
            functions(k, 1) = std::cos(shift);
            functions(k, 2) = -std::sin(shift);
        }
        const cv::Mat1d solve(functions.inv(cv::DECOMP_SVD));
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

FramePair FindExchange(const std::vector<double>& shifts, std::vector<Levels> pixels) {
    const std::size_t count = shifts.size();
    FramePair best;
    if (count < 4) return best;
    const Residual residual(shifts);
    const auto sum = [&](std::size_t a, std::size_t b) {
        double squares = 0;
        for (Levels& levels : pixels) {
            std::swap(levels[a], levels[b]);
            squares += residual.Of(levels);
            std::swap(levels[a], levels[b]);
        }
        return squares;
    };
    double least = 0.81 * sum(0, 0);  // of the squares
    for (std::size_t a = 0; a < count; ++a) {
        for (std::size_t b = a + 1; b < count; ++b) {
            const double squares = sum(a, b);
            if (squares >= least) continue;
            least = squares;
            best = {static_cast<int>(a), static_cast<int>(b)};
        }
    }
    return best;
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
