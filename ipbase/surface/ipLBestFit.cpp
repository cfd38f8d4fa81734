#include "ipbase/ipLBestFit.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>

#include "ipbase/base/dispatch.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/kernels/bestfit.h"
#include "ipbase/surface/gaussjordan.h"
#include "ipbase/surface/moments.h"
#include "ipbase/surface/operations.h"

namespace KrN {

using namespace kernels;

KrLBestFit::KrLBestFit() = default;
KrLBestFit::KrLBestFit(const KrLBestFit&) = default;
KrLBestFit& KrLBestFit::operator=(const KrLBestFit&) = default;
KrLBestFit::~KrLBestFit() = default;

namespace {

// The pixel type of a mask is fixed, a missing one is allowed: it is no operand that the dispatch looks at.
struct MaskArg {
    const KrAOI8* aoi;
};
KrString MessageArg(const MaskArg& mask) { return KrN::MessageArg(static_cast<const KrAOI*>(mask.aoi)); }

struct FitOptions {
    MaskConsideration consider;
    bool use[KrLBestFit::kTerms];
};

KrTSize<int> RegionOf(const KrAOI* src, const KrAOI8* mask) {
    return mask ? CommonRegion(src, static_cast<const KrAOI*>(mask)) : CommonRegion(src);
}

}  // namespace

template <>
struct OperationsOf<KrLBestFit> {
    using T = KrLBestFit;

    template <class AOI>
    static void Approximate(T& fit, const AOI* src, KrAOI32Float* dst, const MaskArg& fitMask, const MaskArg& drawMask,
                            const FitOptions& options) {
        dst->RequireWritable();
        T::Content earlier = fit.mContent;
        fit.mContent = {};
        for (int i = 0; i < T::kTerms; ++i) fit.mContent.excluded[i] = !options.use[i];
        try {
            if (RegionOf(src, fitMask.aoi).cx > 0) fit.CalcPlane(src, fitMask.aoi);
            if (!IsEmpty(dst)) fit.DrawPlane(dst, drawMask.aoi, options.consider);
        } catch (...) {
            fit.mContent = earlier;
            throw;
        }
        fit.save_koeff();
    }

    static constexpr std::tuple all{
        Operation<void(T&, const KrAOI*, KrAOI*, const MaskArg&, const MaskArg&, const FitOptions&)>::Of<
            &Approximate<KrAOI8>, &Approximate<KrAOI16>, &Approximate<KrAOI32Float>>(
            L"C\\ipLBestFit", 1141, L"KrLBestFit::Approximation( %s, %s, %s, %s )")};
};

namespace {

const auto& [kApproximation] = OperationsOf<KrLBestFit>::all;

}  // namespace

void KrLBestFit::Approximation(const KrAOI* src, KrAOI* dst, const KrAOI8* fitMask, const KrAOI8* drawMask,
                               MaskConsideration consider, int useX3, int useX2, int useX, int useY3, int useY2,
                               int useY, int useXY2, int useX2Y, int useXY, int useConst) {
    kApproximation(*this, src, dst, {fitMask}, {drawMask},
                   {consider,
                    {useX3 != 0, useX2 != 0, useX != 0, useY3 != 0, useY2 != 0, useY != 0, useXY2 != 0, useX2Y != 0,
                     useXY != 0, useConst != 0}});
}

namespace {

constexpr int kTerms = KrLBestFit::kTerms;

// Term i is X^x * Y^y.
struct Exponents {
    std::size_t x, y;
};
constexpr Exponents kExponents[kTerms] = {{3, 0}, {2, 0}, {1, 0}, {0, 3}, {0, 2},
                                          {0, 1}, {1, 2}, {2, 1}, {1, 1}, {0, 0}};

int TermOf(std::size_t x, std::size_t y) {
    int i = 0;
    while (kExponents[i].x != x || kExponents[i].y != y) ++i;
    return i;
}

// Shifting the origin turns a term into itself and those with less of X (of Y). When all of these are fitted too, the
// surface is the same from any origin, and the middle of the pixels is best; else the origin stays.
Axis MakeAxis(int first, int last, bool shiftable) {
    if (shiftable) return {0.5 * (first + last), std::max(0.5 * (last - first), 1.0)};
    return {0.0, static_cast<double>(last)};
}

bool IsShiftable(const std::uint8_t* excluded, std::size_t Exponents::*axis) {
    for (int i = 0; i < kTerms; ++i)
        for (Exponents less = kExponents[i]; excluded[i] == 0 && less.*axis > 0;)
            if (--(less.*axis); excluded[TermOf(less.x, less.y)] != 0) return false;
    return true;
}

// The factors of X^0 ... X^k in ((X - centre) / half)^k.
std::array<long double, 4> Expand(const Axis& axis, std::size_t k) {
    std::array<long double, 4> factors{1.0L};
    for (std::size_t step = 0; step < k; ++step)
        for (std::size_t i = step + 2; i-- > 0;)
            factors[i] = ((i > 0 ? factors[i - 1] : 0.0L) - static_cast<long double>(axis.centre) * factors[i]) /
                         static_cast<long double>(axis.half);
    return factors;
}

constexpr double kWorkingPrecision = 1e-14;  // below it terms count as undetermined

}  // namespace

template <class T>
void KrLBestFit::Fit(const KrTAOI<T>* src, const KrAOI8* fitMask) {
    mContent.everythingMasked = 1;
    const KrTSize<int> size = RegionOf(src, fitMask);
    const Box box = FindBox(size, fitMask);
    if (box.x0 > box.x1) return;
    mContent.everythingMasked = 0;
    const Axis s = MakeAxis(box.x0, box.x1, IsShiftable(mContent.excluded, &Exponents::x));
    const Axis t = MakeAxis(box.y0, box.y1, IsShiftable(mContent.excluded, &Exponents::y));
    const SurfaceMoments moments(src, fitMask, box, s, t);

    const auto free = [this](double** matrix) { free_dmatrix(matrix, 1, kTerms, 1, kTerms); };
    const std::unique_ptr<double*, std::function<void(double**)>> a(dmatrix(1, kTerms, 1, kTerms), free);
    const std::unique_ptr<double*, std::function<void(double**)>> b(dmatrix(1, kTerms, 1, kTerms), free);
    int fitted = 0;
    Exponents terms[kTerms];
    for (int i = 0; i < kTerms; ++i)
        if (mContent.excluded[i] == 0) terms[fitted++] = kExponents[i];
    for (int i = 0; i < fitted; ++i) {
        for (int j = 0; j < fitted; ++j)
            a.get()[i + 1][j + 1] = moments.powers[terms[i].x + terms[j].x][terms[i].y + terms[j].y];
        b.get()[i + 1][1] = moments.values[terms[i].x][terms[i].y];
    }
    EliminateGaussJordan(a.get(), fitted, b.get(), 1, kWorkingPrecision);

    long double sums[kTerms] = {};
    for (int i = 0; i < fitted; ++i) {
        const auto x = Expand(s, terms[i].x), y = Expand(t, terms[i].y);
        for (std::size_t p = 0; p <= terms[i].x; ++p)
            for (std::size_t q = 0; q <= terms[i].y; ++q)
                sums[TermOf(p, q)] += static_cast<long double>(b.get()[i + 1][1]) * x[p] * y[q];
    }
    for (int i = 0; i < kTerms; ++i)
        mContent.coefficients[i] = mContent.excluded[i] ? 0.0 : static_cast<double>(sums[i]);
}

void KrLBestFit::CalcPlane(const KrAOI8* src, const KrAOI8* fitMask) { Fit(src, fitMask); }
void KrLBestFit::CalcPlane(const KrAOI16* src, const KrAOI8* fitMask) { Fit(src, fitMask); }
void KrLBestFit::CalcPlane(const KrAOI32Float* src, const KrAOI8* fitMask) { Fit(src, fitMask); }

void KrLBestFit::DrawPlane(KrAOI32Float* dst, const KrAOI8* drawMask, MaskConsideration consider) {
    if (consider != eIgnoreMask && consider != eConsiderMask && consider != eKeepMasked) return;
    const KrAOI8* mask = consider == eIgnoreMask ? nullptr : drawMask;
    const KrTSize<int> size = mask ? CommonRegion(dst, mask) : CommonRegion(dst);
    if (size.cx == 0) return;
    const BestFitKernels& rows = GetBestFitKernels();
    const DrawMaskedRow masked = consider == eKeepMasked ? rows.drawElseKeep : rows.drawElseZero;
    const auto width = static_cast<std::size_t>(size.cx);
    const Route route = RouteOf(Access::eSwitched, dst, mask);
    TargetRows<float> to(dst, route, size.cx);
    SourceRows<u8> masks(mask, route, size.cx);
    KrTBuf1D<double> onlyX(width), c8x(width);
    for (std::size_t i = 0; i < width; ++i) {
        const auto x = static_cast<double>(i + 1);
        onlyX[i] = ((x * mContent.coefficients[0] + mContent.coefficients[1]) * x + mContent.coefficients[2]) * x;
        c8x[i] = x * mContent.coefficients[7];
    }
    for (int y = 0; y < size.cy; ++y) {
        const CubicRow cubic{mContent.coefficients, onlyX.Data(), c8x.Data(), y + 1.0};
        float* pixels = mask && consider == eKeepMasked ? to.Load(y) : to.Row(y);
        if (mask)
            masked(pixels, masks.Row(y), cubic, width);
        else
            rows.draw(pixels, cubic, width);
        to.Finish(y);
    }
}

int KrLBestFit::Checked(int i) {
    if (i < 0 || i >= kTerms)
        throw new KrException(L"C\\ipLBestFit", 260, L"Error in KrLBestFit: the terms are numbered from 0 to 9");
    return i;
}

void KrLBestFit::SetCoefficients(const double* coefficients) {
    std::copy_n(coefficients, kTerms, mContent.coefficients);
}

void KrLBestFit::save_koeff() {
    for (int i = 0; i < kTerms; ++i)
        if (mContent.excluded[i])
            std::snprintf(mContent.texts[i], sizeof mContent.texts[i], "null");
        else
            std::snprintf(mContent.texts[i], sizeof mContent.texts[i], "%E", mContent.coefficients[i]);
}

void KrLBestFit::load_koeff() {
    std::fill(std::begin(mContent.coefficients), std::end(mContent.coefficients), 0.0);
    std::fill(std::begin(mContent.excluded), std::end(mContent.excluded), std::uint8_t{0});
}

int KrLBestFit::gaussj(double** a, int n, double** b, int m) { return EliminateGaussJordan(a, n, b, m, 0.0); }

double** KrLBestFit::dmatrix(int firstRow, int lastRow, int firstColumn, int lastColumn) {
    const int rows = lastRow - firstRow + 1, columns = lastColumn - firstColumn + 1;
    auto cells = std::make_unique<double[]>(static_cast<std::size_t>(rows * columns));
    auto** matrix = new double*[static_cast<std::size_t>(rows)];
    for (int i = 0; i < rows; ++i) matrix[i] = cells.get() + i * columns - firstColumn;
    cells.release();
    return matrix - firstRow;
}

void KrLBestFit::free_dmatrix(double** matrix, int firstRow, int, int firstColumn, int) {
    delete[](matrix[firstRow] + firstColumn);
    delete[](matrix + firstRow);
}

int* KrLBestFit::ivector(int first, int last) {
    int* vector = new int[static_cast<std::size_t>(last - first + 1)]();
    return vector - first;
}

void KrLBestFit::free_ivector(int* vector, int first, int) { delete[](vector + first); }

std::vector<OperationInfo> BestFitOperations() { return ListOperations(OperationsOf<KrLBestFit>::all); }

}  // namespace KrN
