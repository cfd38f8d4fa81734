#include "ipbase/surface/moments.h"

#include "ipbase/base/mask.h"
#include "ipbase/base/rowwalk.h"

namespace KrN {

using namespace kernels;

// Looks only beside what was found in the rows above, once something was found.
Box FindBox(const KrTSize<int>& size, const KrAOI8* mask) {
    if (!mask) return {1, size.cx, 1, size.cy};
    Box box{size.cx + 1, 0, size.cy + 1, 0};
    const auto extremes = GetBestFitKernels().extremes;
    VisitRows(
        Access::eSwitched,
        [&](int y, const u8* row, std::size_t) {
            if (y >= size.cy) return;
            u8 least = 255, greatest = 0;
            extremes({&row, 1, 0, static_cast<std::size_t>(size.cx)}, least, greatest);
            if (!Admits(least)) return;
            box.x0 = static_cast<int>(std::find_if(row, row + box.x0 - 1, Admits) - row) + 1;
            int last = size.cx;
            while (last > box.x1 && !Admits(row[last - 1])) --last;
            box.x1 = std::max(box.x1, last);
            box.y0 = std::min(box.y0, y + 1);
            box.y1 = y + 1;
        },
        mask);
    return box;
}

namespace {

// The rows of an image, kTileRows at a time.
template <class T>
class TileReader {
public:
    TileReader(const KrTAOI<T>* aoi, Route route, int columns) : mReaders(kTileRows, {aoi, route, columns}) {}
    const T* const* Read(int y, int n) {
        for (int r = 0; r < n; ++r)
            mRows[static_cast<std::size_t>(r)] = mReaders[static_cast<std::size_t>(r)].Row(y + r);
        return mRows;
    }

private:
    std::vector<SourceRows<T>> mReaders;
    const T* mRows[kTileRows] = {};
};

// A power of t along the rows of a tile in the basis of its sums: factors of C(j + k, k), j rows above the last one,
// where t has fallen by j steps.
class BinomialPower {
public:
    // t^0.
    BinomialPower(double last, double step) : mLast(last), mStep(step) {}
    double operator[](std::size_t k) const { return mFactors[k]; }
    // The next power, by j * C(j + k, k) = (k + 1) * (C(j + k + 1, k + 1) - C(j + k, k)).
    void MultiplyByT() {
        for (std::size_t k = mFactors.size(); k-- > 0;) {
            const double up = k > 0 ? static_cast<double>(k) * mFactors[k - 1] : 0.0;
            mFactors[k] = mLast * mFactors[k] - mStep * (up - static_cast<double>(k + 1) * mFactors[k]);
        }
    }

private:
    double mLast, mStep;
    std::array<double, 7> mFactors{1.0};
};

// The sums of t^0, t^1, ... over some rows.
class RowPowerSums {
public:
    RowPowerSums(int y, int n, const Axis& t) : mN(static_cast<std::size_t>(n)) {
        for (std::size_t r = 0; r < mN; ++r) {
            mT[r] = t(y + static_cast<int>(r));
            mPowers[r] = 1.0;
        }
    }
    double Next() {
        double sum = 0.0;
        for (std::size_t r = 0; r < mN; ++r) {
            sum += mPowers[r];
            mPowers[r] *= mT[r];
        }
        return sum;
    }

private:
    std::size_t mN;
    std::array<double, kTileRows> mT, mPowers;
};

}  // namespace

template <class T>
SurfaceMoments::SurfaceMoments(const KrTAOI<T>* src, const KrAOI8* mask, const Box& box, const Axis& s, const Axis& t)
    : mFirst(static_cast<std::size_t>(box.x0 - 1)), mS(static_cast<std::size_t>(box.x1 - box.x0 + 1)) {
    for (std::size_t i = 0; i < mS.Size(); ++i) mS[i] = s(box.x0 + static_cast<int>(i));
    SumPowers();
    const Route route = RouteOf(Access::eSwitched, src, mask);
    TileReader<T> valueRows(src, route, box.x1);
    TileReader<u8> maskRows(mask, route, box.x1);
    for (int y = box.y0 - 1; y < box.y1; y += static_cast<int>(kTileRows)) {
        const int n = std::min(static_cast<int>(kTileRows), box.y1 - y);
        AddRows(valueRows.Read(y, n), mask ? maskRows.Read(y, n) : nullptr, static_cast<std::size_t>(n));
        Combine(y + 1, n, t);
    }
}
template SurfaceMoments::SurfaceMoments(const KrTAOI<u8>*, const KrAOI8*, const Box&, const Axis&, const Axis&);
template SurfaceMoments::SurfaceMoments(const KrTAOI<u16>*, const KrAOI8*, const Box&, const Axis&, const Axis&);
template SurfaceMoments::SurfaceMoments(const KrTAOI<float>*, const KrAOI8*, const Box&, const Axis&, const Axis&);

// Those of whole tiles are known beforehand.
void SurfaceMoments::SumPowers() {
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
void SurfaceMoments::AddRows(const T* const* rows, const u8* const* masks, std::size_t n) {
    const BestFitKernels& functions = GetBestFitKernels();
    mWhole = {};
    std::fill_n(mValues[0], 16, 0.0);
    std::fill_n(mPowers[0], 49, 0.0);
    for (std::size_t b = 0; b < mTilePowers.size(); ++b) {
        const std::size_t start = b * kTileColumns, count = std::min(kTileColumns, mS.Size() - start);
        const double* s = mS.Data() + start;
        u8 least = 0, greatest = 0;
        if (masks) functions.extremes({masks, n, mFirst + start, count}, least, greatest);
        if (!Admits(least)) continue;
        const Tile<T> tile{rows, n, mFirst + start, count};
        if (!Admits(greatest)) {
            std::get<MaskedTileRow<T>>(functions.masked)(tile, masks, s, mValues, mPowers);
            continue;
        }
        std::get<TileRow<T>>(functions.tile)(tile, s, mValues);
        for (std::size_t p = 0; p < mWhole.size(); ++p) mWhole[p] += mTilePowers[b][p];
    }
}

// Turns the sums of n rows from the given one on into sums of powers of t.
void SurfaceMoments::Combine(int y, int n, const Axis& t) {
    BinomialPower power(t(y + n - 1), 1.0 / t.half);
    RowPowerSums whole(y, n, t);
    for (std::size_t q = 0; q < 7; ++q) {
        for (std::size_t p = 0; p + q < 7; ++p) {
            for (std::size_t k = 0; k <= q; ++k) powers[p][q] += power[k] * mPowers[k][p];
            for (std::size_t k = 0; k <= q && p + q < 4; ++k) values[p][q] += power[k] * mValues[k][p];
        }
        const double sum = whole.Next();
        for (std::size_t p = 0; p + q < 7; ++p) powers[p][q] += mWhole[p] * sum;
        power.MultiplyByT();
    }
}

}  // namespace KrN
