#include "tools/vorip/pictures/componentsurfaces.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace vorip {
namespace {

constexpr std::size_t kMostTerms = 10;
using Values = std::array<double, kMostTerms>;

// Lengths in which the powers of a component's coordinates stay within -1 to 1.
struct Axis {
    double centre = 0, half = 1;
    double operator()(int at) const { return (at + 1.0 - centre) / half; }
};

bool Contains(const std::vector<SurfaceTerm>& terms, int x, int y) {
    return std::any_of(terms.begin(), terms.end(), [=](const SurfaceTerm& t) { return t.x == x && t.y == y; });
}

// Whether the surfaces are the same from any origin: with a term there are all of less X and less Y.
bool IsShiftable(const std::vector<SurfaceTerm>& terms) {
    return std::all_of(terms.begin(), terms.end(), [&](const SurfaceTerm& t) {
        return (t.x == 0 || Contains(terms, t.x - 1, t.y)) && (t.y == 0 || Contains(terms, t.x, t.y - 1));
    });
}

Axis MakeAxis(int first, int size, bool shiftable) {
    if (shiftable) return {first + 0.5 * (size + 1), std::max(0.5 * (size - 1), 1.0)};
    return {0.0, static_cast<double>(first + size)};
}

class Fits {
public:
    Fits(const cv::Mat1i& numbers, const std::vector<SurfaceTerm>& terms) : mTerms(terms) {
        double most = 0;
        cv::minMaxLoc(numbers, nullptr, &most);
        std::vector<cv::Rect> boxes(static_cast<std::size_t>(most) + 1);
        for (int y = 0; y < numbers.rows; ++y)
            for (int x = 0; x < numbers.cols; ++x)
                if (const int n = numbers(y, x); n > 0) boxes[static_cast<std::size_t>(n)] |= cv::Rect(x, y, 1, 1);
        mFits.resize(boxes.size());
        const bool shiftable = IsShiftable(terms);
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            mFits[i].exists = !boxes[i].empty();
            mFits[i].x = MakeAxis(boxes[i].x, boxes[i].width, shiftable);
            mFits[i].y = MakeAxis(boxes[i].y, boxes[i].height, shiftable);
        }
        mSums.resize(boxes.size() * Stride());
    }

    void Add(int number, int column, int row, double value) {
        Fit& fit = mFits[static_cast<std::size_t>(number)];
        ++fit.pixels;
        const Values powers = PowersAt(fit, column, row);
        double* sum = mSums.data() + static_cast<std::size_t>(number) * Stride();
        for (std::size_t i = 0; i < mTerms.size(); ++i)
            for (std::size_t j = 0; j <= i; ++j) *sum++ += powers[i] * powers[j];
        for (std::size_t i = 0; i < mTerms.size(); ++i) *sum++ += powers[i] * value;
    }

    // Components of fewer pixels than terms stay without a surface. Terms that the pixels do not determine are chosen
    // so that all are small.
    void Solve() {
        cv::parallel_for_(cv::Range(1, static_cast<int>(mFits.size())), [this](const cv::Range& range) {
            for (int number = range.start; number < range.end; ++number) SolveOne(static_cast<std::size_t>(number));
        });
    }

    double SurfaceAt(int number, int column, int row) const {
        const Fit& fit = mFits[static_cast<std::size_t>(number)];
        if (!fit.isSolved) return std::numeric_limits<double>::quiet_NaN();
        const Values powers = PowersAt(fit, column, row);
        double surface = 0;
        for (std::size_t i = 0; i < mTerms.size(); ++i) surface += fit.coefficients[i] * powers[i];
        return surface;
    }

    int Count(bool solved) const {
        return static_cast<int>(
            std::count_if(mFits.begin(), mFits.end(), [=](const Fit& f) { return solved ? f.isSolved : f.exists; }));
    }

private:
    struct Fit {
        bool exists = false, isSolved = false;
        std::size_t pixels = 0;
        Axis x, y;
        Values coefficients{};
    };

    // The lower half of the products of terms, and the products of terms and values.
    std::size_t Stride() const { return mTerms.size() * (mTerms.size() + 3) / 2; }

    Values PowersAt(const Fit& fit, int column, int row) const {
        const double x = fit.x(column), y = fit.y(row);
        const double xs[] = {1, x, x * x, x * x * x}, ys[] = {1, y, y * y, y * y * y};
        Values powers;
        for (std::size_t i = 0; i < mTerms.size(); ++i) powers[i] = xs[mTerms[i].x] * ys[mTerms[i].y];
        return powers;
    }

    void SolveOne(std::size_t number) {
        Fit& fit = mFits[number];
        const int n = static_cast<int>(mTerms.size());
        if (fit.pixels < mTerms.size() || fit.pixels == 0) return;
        const double* sum = mSums.data() + number * Stride();
        cv::Mat1d products(n, n), values(n, 1), solution;
        for (int i = 0; i < n; ++i)
            for (int j = 0; j <= i; ++j) products(i, j) = products(j, i) = *sum++;
        for (int i = 0; i < n; ++i) values(i) = *sum++;
        cv::solve(products, values, solution, cv::DECOMP_EIG);
        std::copy(solution.begin(), solution.end(), fit.coefficients.begin());
        fit.isSolved = true;
    }

    const std::vector<SurfaceTerm>& mTerms;
    std::vector<Fit> mFits;  // by number
    std::vector<double> mSums;
};

}  // namespace

FlatComponents FlattenComponents(const cv::Mat1f& values, const cv::Mat1i& numbers, const cv::Mat1b& excluded,
                                 const std::vector<SurfaceTerm>& terms,
                                 const std::function<void(double share)>& watch) {
    Fits fits(numbers, terms);
    for (int y = 0; y < values.rows; ++y) {
        watch(0.4 * y / values.rows);
        for (int x = 0; x < values.cols; ++x)
            if (numbers(y, x) > 0 && excluded(y, x) == 0) fits.Add(numbers(y, x), x, y, values(y, x));
    }
    watch(0.4);
    fits.Solve();
    FlatComponents result{cv::Mat1f(values.size(), std::numeric_limits<float>::quiet_NaN()), fits.Count(false),
                          fits.Count(true)};
    for (int y = 0; y < values.rows; ++y) {
        watch(0.6 + 0.4 * y / values.rows);
        for (int x = 0; x < values.cols; ++x) {
            if (numbers(y, x) == 0 || !std::isfinite(values(y, x))) continue;
            const double flat = static_cast<double>(values(y, x)) - fits.SurfaceAt(numbers(y, x), x, y);
            result.flat(y, x) = static_cast<float>(flat);
        }
    }
    return result;
}

}  // namespace vorip
