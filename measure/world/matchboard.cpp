#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "measure/base/arguments.h"
#include "measure/base/quantile.h"
#include "measure/board.h"
#include "measure/error.h"

namespace measure {
namespace {

constexpr int kMostTerms = 6;
constexpr int kFirstHalf = 6;  // 13 x 13 pixels

struct Sample {
    std::array<double, kMostTerms> terms;  // 1 x y xx xy yy, in halves of the window
    double value, weight;
};

// What a surface that is fitted to the pixels of a window has at its middle.
struct LocalFit {
    double value = 0, deviation = 0;
    cv::Vec2d slope;  // per pixel
};

class WindowFit {
public:
    WindowFit(const AbsolutePhase& phase, const cv::Mat1b& mask, cv::Point2d at, int half) : mHalf(half) {
        const cv::Point middle(cvRound(at.x), cvRound(at.y));
        const cv::Rect window =
            cv::Rect(middle.x - half, middle.y - half, 2 * half + 1, 2 * half + 1) & cv::Rect({0, 0}, mask.size());
        for (int y = window.y; y < window.br().y; ++y)
            for (int x = window.x; x < window.br().x; ++x) {
                if (mask(y, x) == 0) continue;
                const double dx = (x - at.x) / half, dy = (y - at.y) / half, b = phase.modulation(y, x);
                mSamples.push_back({{1, dx, dy, dx * dx, dx * dy, dy * dy}, phase.coordinate(y, x), b * b});
            }
    }

    // Nothing when the surface would have to be extrapolated, or when its value at the middle is less certain than the
    // mean of 30 pixels with the modulation `best`.
    std::optional<LocalFit> Solve(double best) {
        constexpr double kOutlier = 4, kEnough = 30;
        if (IsOneSided()) return {};
        const int terms = mHalf <= kFirstHalf ? 3 : kMostTerms;  // the larger ones see that the surface is bent
        LocalFit fit;
        for (int round = 0; round < 3; ++round) {
            if (mSamples.size() < 8 * static_cast<std::size_t>(terms) || !SolveOnce(terms)) return {};
            if (mInverse(0, 0) * Square(best) * kEnough > 1) return {};
            double squares = 0;
            for (const Sample& s : mSamples) squares += s.weight * Square(Residual(s, terms));
            const double variance = mInverse(0, 0) * squares / (static_cast<double>(mSamples.size()) - terms);
            fit = {mSolution(0), std::sqrt(variance), {mSolution(1) / mHalf, mSolution(2) / mHalf}};
            if (!DropOutliers(terms, kOutlier)) break;
        }
        return fit;
    }

private:
    static double Square(double v) { return v * v; }

    // Whether the pixels lie beside the middle rather than around it.
    bool IsOneSided() const {
        constexpr double kMost = 0.35;  // halves of the window
        double x = 0, y = 0, weights = 0;
        for (const Sample& s : mSamples) {
            x += s.weight * s.terms[1];
            y += s.weight * s.terms[2];
            weights += s.weight;
        }
        return !(std::hypot(x, y) <= kMost * weights);
    }

    bool SolveOnce(int terms) {
        cv::Mat1d normal(terms, terms, 0.0), right(terms, 1, 0.0);
        for (const Sample& s : mSamples)
            for (int i = 0; i < terms; ++i) {
                const double wi = s.weight * s.terms[static_cast<std::size_t>(i)];
                right(i) += wi * s.value;
                for (int j = 0; j <= i; ++j) normal(i, j) += wi * s.terms[static_cast<std::size_t>(j)];
            }
        cv::completeSymm(normal, true);
        if (cv::invert(normal, mInverse, cv::DECOMP_CHOLESKY) == 0) return false;
        mSolution = mInverse * right;
        return true;
    }

    double Residual(const Sample& s, int terms) const {
        double off = s.value;
        for (int i = 0; i < terms; ++i) off -= mSolution(i) * s.terms[static_cast<std::size_t>(i)];
        return off;
    }

    bool DropOutliers(int terms, double limit) {
        std::vector<double> sizes;
        for (const Sample& s : mSamples) sizes.push_back(std::sqrt(s.weight) * std::abs(Residual(s, terms)));
        std::vector<double> sorted = sizes;
        const double most = limit * 1.4826 * MedianOf(sorted);
        std::size_t kept = 0;
        for (std::size_t i = 0; i < mSamples.size(); ++i)
            if (sizes[i] <= most) mSamples[kept++] = mSamples[i];
        const bool dropped = kept < mSamples.size();
        mSamples.resize(kept);
        return dropped;
    }

    int mHalf;
    std::vector<Sample> mSamples;
    cv::Mat1d mInverse, mSolution;
};

// The modulation of the brightest surface around a point.
double BestModulation(const AbsolutePhase& phase, const cv::Mat1b& mask, cv::Point2d at, int half) {
    const cv::Rect window = cv::Rect(cvRound(at.x) - half, cvRound(at.y) - half, 2 * half + 1, 2 * half + 1) &
                            cv::Rect({0, 0}, mask.size());
    std::vector<float> values;
    for (int y = window.y; y < window.br().y; ++y)
        for (int x = window.x; x < window.br().x; ++x)
            if (mask(y, x) != 0) values.push_back(phase.modulation(y, x));
    return QuantileOf(values, 0.9);
}

// By the smallest window that is good enough; a corner has light within 13 x 13 pixels, a dark circle only around it.
std::optional<LocalFit> FitAround(const AbsolutePhase& phase, const cv::Mat1b& mask, cv::Point2d at) {
    constexpr int kMostHalf = 10 * kFirstHalf;
    const double best = BestModulation(phase, mask, at, kMostHalf);
    for (int half = kFirstHalf; half <= kMostHalf; half += half / 2)
        if (const auto found = WindowFit(phase, mask, at, half).Solve(best)) return found;
    return {};
}

}  // namespace

std::vector<BoardPoint> MatchBoard(const std::vector<cv::Point2d>& points, const AbsolutePhase& columns,
                                   const AbsolutePhase& rows, const Progress& progress) {
    RequireOneSize({"the mask of the columns", columns.mask}, {{"their modulation", columns.modulation},
                                                               {"their coordinate", columns.coordinate},
                                                               {"the mask of the rows", rows.mask},
                                                               {"the modulation of the rows", rows.modulation},
                                                               {"the coordinate of the rows", rows.coordinate}});
    const cv::Rect2d picture(-0.5, -0.5, columns.mask.cols, columns.mask.rows);
    cv::Mat1b mask;
    cv::bitwise_and(columns.mask, rows.mask, mask);
    std::vector<BoardPoint> matched;
    for (std::size_t i = 0; i < points.size(); ++i) {
        progress.Report("looking up the points of the board",
                        static_cast<double>(i) / static_cast<double>(points.size()));
        for (const double place : {points[i].x, points[i].y}) RequireFinite("a place of the board", place);
        if (!picture.contains(points[i])) continue;
        const auto column = FitAround(columns, mask, points[i]), row = FitAround(rows, mask, points[i]);
        if (!column || !row) continue;
        matched.push_back({static_cast<int>(i),
                           points[i],
                           {column->value, row->value},
                           {column->slope[0], column->slope[1], row->slope[0], row->slope[1]},
                           std::hypot(column->deviation, row->deviation)});
    }
    return matched;
}

}  // namespace measure
