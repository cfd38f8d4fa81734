// Coefficients of single pixels from planes at known depths.
#include <cmath>
#include <limits>
#include <numeric>

#include "ipbase/base/mask.h"
#include "ipbase/base/rowaccess.h"
#include "ipbase/ipLWorld.h"
#include "ipbase/world/errors.h"

namespace KrN {

using namespace world;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kMostPlanes = 255;
constexpr std::size_t kMostTerms = 4;
constexpr double kWorkingPrecision = 1e-12;  // pivots below it, as a share of the largest one, count as 0

using Terms = std::array<double, kMostTerms>;

// Least squares by modified Gram-Schmidt on rows of `terms` values and one right side. False when they do not determine
// the unknowns.
class LeastSquares {
public:
    explicit LeastSquares(std::size_t terms) : mTerms(terms) {}
    void Add(const Terms& row, double value, double weight) {
        mRows.push_back({});
        for (std::size_t i = 0; i < mTerms; ++i) mRows.back()[i] = row[i] * weight;
        mRows.back()[mTerms] = value * weight;
    }
    std::size_t Count() const { return mRows.size(); }
    void Clear() { mRows.clear(); }

    bool Solve(Terms& unknowns) {
        std::array<Terms, kMostTerms + 1> r{};  // r[j][i]: the share of column i in column j
        for (std::size_t i = 0; i < mTerms; ++i) {
            const double before = Product(i, i);
            for (std::size_t k = 0; k < i; ++k) Remove(k, i, r[i][k]);
            const double length = Product(i, i);
            if (!(length > kWorkingPrecision * kWorkingPrecision * before)) return false;
            r[i][i] = length;
        }
        for (std::size_t k = 0; k < mTerms; ++k) Remove(k, mTerms, r[mTerms][k]);
        for (std::size_t i = mTerms; i-- > 0;) {
            unknowns[i] = r[mTerms][i];
            for (std::size_t j = i + 1; j < mTerms; ++j) unknowns[i] -= r[j][i] * unknowns[j];
        }
        return true;
    }

private:
    double Product(std::size_t i, std::size_t k) const {
        double sum = 0;
        for (const auto& row : mRows) sum += row[i] * row[k];
        return sum;
    }
    void Remove(std::size_t k, std::size_t from, double& share) {
        share = Product(k, from) / Product(k, k);
        for (auto& row : mRows) row[from] -= share * row[k];
    }

    std::size_t mTerms;
    std::vector<std::array<double, kMostTerms + 1>> mRows;
};

struct Sample {
    double phase, z;
};
// Phases are taken from their middle in units of their spread, which keeps powers apart.
struct Scale {
    double middle = 0, spread = 0;
    explicit Scale(const std::vector<Sample>& samples) {
        for (const Sample& s : samples) middle += s.phase / static_cast<double>(samples.size());
        for (const Sample& s : samples) spread = std::max(spread, std::abs(s.phase - middle));
    }
    double operator()(double phase) const { return (phase - middle) / spread; }
};

// z = (a + b t) / (1 + c t), then with the phase in place of t.
bool FitRationalPixel(const std::vector<Sample>& samples, LeastSquares& equations, Terms& c) {
    const Scale t(samples);
    Terms u{};
    for (int round = 0; round < 2; ++round) {
        equations.Clear();
        for (const Sample& s : samples) {
            const double at = t(s.phase);
            equations.Add({1, at, -s.z * at}, s.z, 1 / (1 + u[2] * at));
        }
        if (!equations.Solve(u)) return false;
    }
    const double rise = 1 / t.spread, scale = 1 - u[2] * t.middle * rise;
    c = {(u[0] - u[1] * t.middle * rise) / scale, u[1] * rise / scale, u[2] * rise / scale, 0};
    return true;
}

bool FitCubicPixel(const std::vector<Sample>& samples, LeastSquares& equations, Terms& c) {
    const Scale t(samples);
    equations.Clear();
    for (const Sample& s : samples) {
        const double at = t(s.phase);
        equations.Add({1, at, at * at, at * at * at}, s.z, 1);
    }
    Terms u;
    if (!equations.Solve(u)) return false;
    // u0 + t (u1 + t (u2 + t u3)) with t = rise * phase + shift
    const double rise = 1 / t.spread, shift = -t.middle * rise;
    c = {u[0] + shift * (u[1] + shift * (u[2] + shift * u[3])), rise * (u[1] + shift * (2 * u[2] + shift * 3 * u[3])),
         rise * rise * (u[2] + shift * 3 * u[3]), rise * rise * rise * u[3]};
    return true;
}

bool IsFinite(const Terms& c) { return std::isfinite(std::accumulate(c.begin(), c.end(), 0.0)); }

}  // namespace

template <class T>
void KrLPixelToWorld::AddPosition(const KrTAOI<T>& phase, double z, const KrAOI8* mask) {
    if (!std::isfinite(z)) Throw(46, L"the position of a plane is no number");
    if (mPlanes.size() >= kMostPlanes) Throw(46, L"there are more than 255 planes");
    const KrTSize<int> size{phase.AOIWidth(), phase.AOIHeight()};
    if (mask && (mask->AOIWidth() < size.cx || mask->AOIHeight() < size.cy))
        Throw(46, L"the mask is smaller than the plane");
    Position position{z, Plane(static_cast<std::size_t>(size.cx), static_cast<std::size_t>(size.cy))};
    if (!mPlanes.empty() &&
        (mPlanes[0].phase.Width() != position.phase.Width() || mPlanes[0].phase.Height() != position.phase.Height()))
        Throw(46, L"the planes differ in size");
    const Route route = RouteOf(Access::eSwitched, &phase, mask);
    SourceRows<T> rows(&phase, route, size.cx);
    SourceRows<std::uint8_t> masks(mask, route, size.cx);
    for (int y = 0; y < size.cy; ++y) {
        double* to = position.phase.Row(static_cast<std::size_t>(y));
        std::copy_n(rows.Row(y), size.cx, to);
        if (!mask) continue;
        const std::uint8_t* values = masks.Row(y);
        for (int x = 0; x < size.cx; ++x)
            if (!Admits(values[x])) to[x] = kNaN;
    }
    mPlanes.push_back(std::move(position));
}

void KrLPixelToWorld::AddPlaneFSW(const KrAOI32Float* phase, double z, const Masks& masks) {
    AddPosition(*phase, z, masks.mask);
}
void KrLPixelToWorld::AddPlaneDSW(const KrAOI64Double* phase, double z, const Masks& masks) {
    AddPosition(*phase, z, masks.mask);
}

void KrLPixelToWorld::FitRational() { Fit(eRational); }
void KrLPixelToWorld::FitCubic() { Fit(eCubic); }

void KrLPixelToWorld::Fit(Model model) {
    const std::size_t terms = model == eRational ? 3 : 4;
    if (mPlanes.size() < terms) Throw(47, L"there are too few planes for a fit");
    const std::size_t width = mPlanes[0].phase.Width(), height = mPlanes[0].phase.Height();
    std::array<Plane, kMostCoefficients> coefficients;
    for (std::size_t i = 0; i < terms; ++i) coefficients[i] = Plane(width, height);
    LeastSquares equations(terms);
    std::vector<Sample> samples;
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x) {
            samples.clear();
            for (const Position& plane : mPlanes)
                if (const double phase = plane.phase(x, y); std::isfinite(phase)) samples.push_back({phase, plane.z});
            Terms c;
            const bool found = samples.size() >= terms &&
                               (model == eRational ? FitRationalPixel : FitCubicPixel)(samples, equations, c);
            for (std::size_t i = 0; i < terms; ++i) coefficients[i](x, y) = found && IsFinite(c) ? c[i] : kNaN;
        }
    mCoefficients = std::move(coefficients);
    mModel = model;
}

void KrLPixelToWorld::GetCoefficient(int i, KrAOI64Double& dst) const {
    if (i < 0 || i >= GetCoefficientCount()) Throw(51, L"there is no coefficient of that number");
    const Plane& from = mCoefficients[static_cast<std::size_t>(i)];
    const KrTSize<int> size{std::min<int>(dst.AOIWidth(), static_cast<int>(from.Width())),
                            std::min<int>(dst.AOIHeight(), static_cast<int>(from.Height()))};
    if (size.cx == 0) return;
    TargetRows<double> rows(&dst, RouteOf(Access::eSwitched, &dst), size.cx);
    for (int y = 0; y < size.cy; ++y) {
        std::copy_n(from.Row(static_cast<std::size_t>(y)), size.cx, rows.Row(y));
        rows.Finish(y);
    }
}

}  // namespace KrN
