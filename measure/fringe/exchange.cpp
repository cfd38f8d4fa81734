#include "measure/fringe/exchange.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "measure/fringe/framepixels.h"

namespace measure {

std::vector<Levels> SampleLevels(const FringeSet& set, const FringePhase& phase) {
    constexpr double kPixels = 5000;
    const double share = std::max(1.0, cv::countNonZero(phase.usable) / kPixels);
    std::vector<Levels> pixels;
    double due = 0;
    for (int y = 0; y < phase.usable.rows; ++y) {
        for (int x = 0; x < phase.usable.cols; ++x) {
            if (!phase.usable(y, x) || (due += 1) < share) continue;
            due -= share;
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

}  // namespace measure
