#include "ipbase/ipLBestFit.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>

#include "ipbase/base/dispatch.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/kernels/bestfit.h"
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

}  // namespace

template <>
struct OperationsOf<KrLBestFit> {
    using T = KrLBestFit;

    template <class AOI>
    static void Approximate(T& fit, const AOI* src, KrAOI32Float* dst, const MaskArg& fitMask, const MaskArg& drawMask,
                            const FitOptions& options) {
        for (int i = 0; i < T::kTerms; ++i) {
            fit.mCoefficients[i] = 0.0;
            fit.mExcluded[i] = !options.use[i];
        }
        fit.CalcPlane(src, fitMask.aoi);
        fit.DrawPlane(dst, drawMask.aoi, options.consider);
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

// Where there are pixels, counted from 1: columns x0 ... x1, rows y0 ... y1; x0 > x1 when there is none.
struct Box {
    int x0, x1, y0, y1;
};

// Looks only beside what was found in the rows above, once something was found.
Box FindBox(const KrTSize<int>& size, const KrAOI8* mask) {
    if (!mask) return {1, size.cx, 1, size.cy};
    Box box{size.cx + 1, 0, size.cy + 1, 0};
    const auto admits = [](u8 value) { return value < kMaskLimit; };
    const auto extremes = GetBestFitKernels().extremes;
    VisitRows(
        Access::eSwitched,
        [&](int y, const u8* row, std::size_t) {
            if (y >= size.cy) return;
            u8 least = 255, greatest = 0;
            extremes({&row, 1, 0, static_cast<std::size_t>(size.cx)}, least, greatest);
            if (!admits(least)) return;
            box.x0 = static_cast<int>(std::find_if(row, row + box.x0 - 1, admits) - row) + 1;
            int last = size.cx;
            while (last > box.x1 && !admits(row[last - 1])) --last;
            box.x1 = std::max(box.x1, last);
            box.y0 = std::min(box.y0, y + 1);
            box.y1 = y + 1;
        },
        mask);
    return box;
}

// Coordinates in which the sums of powers are well conditioned: (X - centre) / half.
struct Axis {
    double centre, half;
    double operator()(int x) const { return (x - centre) / half; }
};

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

// The rows of an image, kTileRows at a time, by address or through buffers.
template <class T>
class TileReader {
public:
    TileReader(const KrTAOI<T>* aoi, bool direct, int columns)
        : mAOI(aoi), mDirect(direct), mColumns(walk::Columns(columns)) {
        for (auto& buffer : mBuffers) buffer.Resize(direct ? 0 : static_cast<std::size_t>(columns));
    }
    const T* const* Read(int y, int n) {
        for (int r = 0; r < n; ++r) {
            const auto i = static_cast<std::size_t>(r);
            if (!mDirect) mAOI->ReadRow(y + r, mColumns, mBuffers[i]);
            mRows[i] = mDirect ? mAOI->GetRowPointer(y + r) : mBuffers[i].Data();
        }
        return mRows;
    }

private:
    const KrTAOI<T>* mAOI;
    bool mDirect;
    KrColumnRange mColumns;
    KrTBuf1D<T> mBuffers[kTileRows];
    const T* mRows[kTileRows] = {};
};

// Sums over all pixels that take part: of s^p * t^q, and of the values times s^p * t^q.
class Moments {
public:
    template <class T>
    Moments(const KrTAOI<T>* src, const KrAOI8* mask, const Box& box, const Axis& s, const Axis& t)
        : mFirst(static_cast<std::size_t>(box.x0 - 1)), mS(static_cast<std::size_t>(box.x1 - box.x0 + 1)) {
        for (std::size_t i = 0; i < mS.Size(); ++i) mS[i] = s(box.x0 + static_cast<int>(i));
        SumPowers();
        const bool direct = AllowsDirect(Access::eSwitched) && HaveRowPointers(src) && (!mask || HaveRowPointers(mask));
        TileReader<T> values(src, direct, box.x1);
        TileReader<u8> masks(mask, direct, mask ? box.x1 : 0);
        for (int y = box.y0 - 1; y < box.y1; y += static_cast<int>(kTileRows)) {
            const int n = std::min(static_cast<int>(kTileRows), box.y1 - y);
            AddRows(values.Read(y, n), mask ? masks.Read(y, n) : nullptr, static_cast<std::size_t>(n));
            Combine(y + 1, n, t);
        }
    }

    double powers[7][7] = {};
    double values[4][4] = {};

private:
    // Those of whole tiles are known beforehand.
    void SumPowers() {
        mTilePowers.resize((mS.Size() + kTileColumns - 1) / kTileColumns);
        for (std::size_t i = 0; i < mS.Size(); ++i) {
            double power = 1.0;
            for (double& sum : mTilePowers[i / kTileColumns]) {
                sum += power;
                power *= mS[i];
            }
        }
    }

    // Only tiles that the mask divides are looked at pixel by pixel.
    template <class T>
    void AddRows(const T* const* rows, const u8* const* masks, std::size_t n) {
        const BestFitKernels& functions = GetBestFitKernels();
        mWhole = {};
        std::fill_n(mValues[0], 16, 0.0);
        std::fill_n(mPowers[0], 49, 0.0);
        for (std::size_t b = 0; b < mTilePowers.size(); ++b) {
            const std::size_t start = b * kTileColumns, count = std::min(kTileColumns, mS.Size() - start);
            const double* s = mS.Data() + start;
            u8 least = 0, greatest = 0;
            if (masks) functions.extremes({masks, n, mFirst + start, count}, least, greatest);
            if (least >= kMaskLimit) continue;
            const Tile<T> tile{rows, n, mFirst + start, count};
            if (greatest >= kMaskLimit) {
                std::get<MaskedTileRow<T>>(functions.masked)(tile, masks, s, mValues, mPowers);
                continue;
            }
            std::get<TileRow<T>>(functions.tile)(tile, s, mValues);
            for (std::size_t p = 0; p < mWhole.size(); ++p) mWhole[p] += mTilePowers[b][p];
        }
    }

    // Turns the sums of n rows from the given one on into sums of powers of t.
    void Combine(int y, int n, const Axis& t) {
        double factors[7] = {1.0};  // of C(j + k, k) in t^q, j rows above the last one, where t has fallen by j steps
        const double last = t(y + n - 1), step = 1.0 / t.half;
        std::array<double, kTileRows> wholeT{};
        std::fill_n(wholeT.begin(), n, 1.0);
        for (std::size_t q = 0; q < 7; ++q) {
            for (std::size_t p = 0; p + q < 7; ++p) {
                for (std::size_t k = 0; k <= q; ++k) powers[p][q] += factors[k] * mPowers[k][p];
                for (std::size_t k = 0; k <= q && p + q < 4; ++k) values[p][q] += factors[k] * mValues[k][p];
            }
            double sum = 0.0;
            for (int r = 0; r < n; ++r) {
                sum += wholeT[static_cast<std::size_t>(r)];
                wholeT[static_cast<std::size_t>(r)] *= t(y + r);
            }
            for (std::size_t p = 0; p + q < 7; ++p) powers[p][q] += mWhole[p] * sum;
            // j * C(j + k, k) = (k + 1) * (C(j + k + 1, k + 1) - C(j + k, k))
            for (std::size_t k = 7; k-- > 0;) {
                const double up = k > 0 ? static_cast<double>(k) * factors[k - 1] : 0.0;
                factors[k] = last * factors[k] - step * (up - static_cast<double>(k + 1) * factors[k]);
            }
        }
    }

    std::size_t mFirst;
    KrTBuf1D<double> mS;
    std::vector<std::array<double, 7>> mTilePowers;
    std::array<double, 7> mWhole{};  // of s^p, in one row of the tiles that take part entirely
    ValueSums mValues = {};          // of the tiles beside each other at hand
    PowerSums mPowers = {};
};

// The factors of X^0 ... X^k in ((X - centre) / half)^k.
std::array<long double, 4> Expand(const Axis& axis, std::size_t k) {
    std::array<long double, 4> factors{1.0L};
    for (std::size_t step = 0; step < k; ++step)
        for (std::size_t i = step + 2; i-- > 0;)
            factors[i] = ((i > 0 ? factors[i - 1] : 0.0L) - static_cast<long double>(axis.centre) * factors[i]) /
                         static_cast<long double>(axis.half);
    return factors;
}

}  // namespace

template <class T>
void KrLBestFit::Fit(const KrTAOI<T>* src, const KrAOI8* fitMask) {
    mEverythingMasked = 1;
    const KrTSize<int> size = fitMask ? CommonRegion(src, fitMask) : CommonRegion(src);
    const Box box = FindBox(size, fitMask);
    if (box.x0 > box.x1) return;
    mEverythingMasked = 0;
    const Axis s = MakeAxis(box.x0, box.x1, IsShiftable(mExcluded, &Exponents::x));
    const Axis t = MakeAxis(box.y0, box.y1, IsShiftable(mExcluded, &Exponents::y));
    const Moments moments(src, fitMask, box, s, t);

    const auto free = [this](double** matrix) { free_dmatrix(matrix, 1, kTerms, 1, kTerms); };
    const std::unique_ptr<double*, std::function<void(double**)>> a(dmatrix(1, kTerms, 1, kTerms), free);
    const std::unique_ptr<double*, std::function<void(double**)>> b(dmatrix(1, kTerms, 1, kTerms), free);
    int fitted = 0;
    Exponents terms[kTerms];
    for (int i = 0; i < kTerms; ++i)
        if (mExcluded[i] == 0) terms[fitted++] = kExponents[i];
    for (int i = 0; i < fitted; ++i) {
        for (int j = 0; j < fitted; ++j)
            a.get()[i + 1][j + 1] = moments.powers[terms[i].x + terms[j].x][terms[i].y + terms[j].y];
        b.get()[i + 1][1] = moments.values[terms[i].x][terms[i].y];
    }
    gaussj(a.get(), fitted, b.get(), 1);

    long double sums[kTerms] = {};
    for (int i = 0; i < fitted; ++i) {
        const auto x = Expand(s, terms[i].x), y = Expand(t, terms[i].y);
        for (std::size_t p = 0; p <= terms[i].x; ++p)
            for (std::size_t q = 0; q <= terms[i].y; ++q)
                sums[TermOf(p, q)] += static_cast<long double>(b.get()[i + 1][1]) * x[p] * y[q];
    }
    for (int i = 0; i < kTerms; ++i) mCoefficients[i] = mExcluded[i] ? 0.0 : static_cast<double>(sums[i]);
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
    const bool direct = AllowsDirect(Access::eSwitched) && HaveRowPointers(dst) && (!mask || HaveRowPointers(mask));
    const KrColumnRange columns = walk::Columns(size.cx);
    KrTBuf1D<float> line(direct ? 0 : width);
    KrTBuf1D<u8> maskLine(direct ? 0 : width);
    KrTBuf1D<double> onlyX(width), c8x(width);
    for (std::size_t i = 0; i < width; ++i) {
        const auto x = static_cast<double>(i + 1);
        onlyX[i] = ((x * mCoefficients[0] + mCoefficients[1]) * x + mCoefficients[2]) * x;
        c8x[i] = x * mCoefficients[7];
    }
    for (int y = 0; y < size.cy; ++y) {
        if (!direct && mask) mask->ReadRow(y, columns, maskLine);
        if (!direct && mask && consider == eKeepMasked) dst->ReadRow(y, columns, line);
        float* pixels = direct ? dst->GetRowPointer(y) : line.Data();
        const CubicRow cubic{mCoefficients, onlyX.Data(), c8x.Data(), y + 1.0};
        if (mask)
            masked(pixels, direct ? mask->GetRowPointer(y) : maskLine.Data(), cubic, width);
        else
            rows.draw(pixels, cubic, width);
        if (!direct) dst->WriteRow(y, columns, line);
    }
}

void KrLBestFit::save_koeff() {
    for (int i = 0; i < kTerms; ++i)
        if (mExcluded[i])
            std::snprintf(mTexts[i], sizeof mTexts[i], "null");
        else
            std::snprintf(mTexts[i], sizeof mTexts[i], "%E", mCoefficients[i]);
}

void KrLBestFit::load_koeff() {
    std::fill(std::begin(mCoefficients), std::end(mCoefficients), 0.0);
    std::fill(std::begin(mExcluded), std::end(mExcluded), std::uint8_t{0});
}

int KrLBestFit::gaussj(double** a, int n, double** b, int m) {
    constexpr double precision = 1e-14;
    double largest = 0.0;
    for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= n; ++j) largest = std::max(largest, std::fabs(a[i][j]));

    // Row and column of each pivot in turn, and whether a row and column have had one.
    std::vector<int> rows, columns;
    std::vector<bool> done(static_cast<std::size_t>(n) + 1);
    const auto isDone = [&](int i) { return static_cast<bool>(done[static_cast<std::size_t>(i)]); };
    for (int round = 0; round < n; ++round) {
        int row = 0, column = 0;
        double pivot = largest * precision;
        for (int i = 1; i <= n; ++i)
            for (int j = 1; j <= n; ++j)
                if (!isDone(i) && !isDone(j) && std::fabs(a[i][j]) > pivot) {
                    pivot = std::fabs(a[i][j]);
                    row = i;
                    column = j;
                }
        if (row == 0) {
            for (int i = 1; i <= n; ++i)
                for (int k = 1; k <= m && !isDone(i); ++k) b[i][k] = 0.0;
            return -1;
        }
        done[static_cast<std::size_t>(column)] = true;
        rows.push_back(row);
        columns.push_back(column);
        if (row != column) {
            std::swap_ranges(a[row] + 1, a[row] + n + 1, a[column] + 1);
            std::swap_ranges(b[row] + 1, b[row] + m + 1, b[column] + 1);
        }

        const double inverse = 1.0 / a[column][column];
        a[column][column] = 1.0;
        for (int j = 1; j <= n; ++j) a[column][j] *= inverse;
        for (int k = 1; k <= m; ++k) b[column][k] *= inverse;
        for (int i = 1; i <= n; ++i) {
            if (i == column) continue;
            const double factor = a[i][column];
            a[i][column] = 0.0;
            for (int j = 1; j <= n; ++j) a[i][j] -= a[column][j] * factor;
            for (int k = 1; k <= m; ++k) b[i][k] -= b[column][k] * factor;
        }
    }
    // The interchanges of rows are undone as interchanges of the inverse's columns.
    for (std::size_t k = rows.size(); k-- > 0;)
        for (int i = 1; i <= n; ++i) std::swap(a[i][rows[k]], a[i][columns[k]]);
    return 0;
}

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
