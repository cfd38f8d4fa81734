#include "ipbase/ipColourIndex.h"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

#include "ipbase/base/mask.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/colour/operations.h"
#include "ipbase/kernels/colour.h"

namespace KrN {

using namespace kernels;

KrColourIndex::KrColourIndex(const KrColourIndex&) = default;
KrColourIndex& KrColourIndex::operator=(const KrColourIndex&) = default;
KrColourIndex::~KrColourIndex() = default;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

void Require(bool condition, const wchar_t* text) {
    if (!condition) throw new KrException(L"C\\ipColourIndex", 20, text);
}

// Doubles in the order of their values as integers, so that a search can halve any interval of them.
std::int64_t Rank(double v) {
    std::int64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits >= 0 ? bits : std::numeric_limits<std::int64_t>::min() - bits;
}
double OfRank(std::int64_t rank) {
    const std::int64_t bits = rank >= 0 ? rank : std::numeric_limits<std::int64_t>::min() - rank;
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

}  // namespace

KrColourIndex::KrColourIndex(Law law, double lower, double upper, int count, double parameter, int reserved)
    : mLaw(law),
      mLower(lower),
      mUpper(upper),
      mParameter(parameter),
      mCount(count),
      mReserved(static_cast<std::uint8_t>(reserved)) {
    Require(law >= eLinear && law <= eCyclic, L"A colour index has one of five laws");
    Require(count >= 1 && count <= 256, L"A colour index has 1 to 256 indices");
    Require(reserved >= 0 && reserved <= 255, L"The reserved index must lie in 0 to 255");
    Require(std::isfinite(lower) && (law == eCyclic || std::isfinite(upper)),
            L"The ends of a colour index's range must be numbers");
    const bool takesParameter = law == eLogarithmic || law == ePower || law == eCyclic;
    Require(!takesParameter || (parameter > 0.0 && std::isfinite(parameter)),
            L"The factor, exponent or period of a colour index must be above 0");
    Require(law != eDecades || lower > 0.0, L"The lower end of decades must be above 0");
}

double KrColourIndex::Fraction(double value) const {
    if (mLaw == eCyclic) {
        const double turns = (value - mLower) / mParameter;
        return turns - std::floor(turns);
    }
    if (!(mLower < mUpper)) return 0.0;
    const double v = std::clamp(value, mLower, mUpper);
    if (mLaw == eDecades) {
        const double decades = std::log(mUpper) - std::log(mLower);
        return decades > 0.0 ? (std::log(v) - std::log(mLower)) / decades : 0.0;
    }
    // Halves, so that no range overflows; the least of all ranges vanishes in them.
    const double half = mUpper / 2 - mLower / 2;
    const double t = half > 0.0 ? (v / 2 - mLower / 2) / half : 0.0;
    if (mLaw == eLogarithmic) return std::log1p(mParameter * t) / std::log1p(mParameter);
    return mLaw == ePower ? std::pow(t, mParameter) : t;
}

double KrColourIndex::ValueAt(double fraction) const {
    if (mLaw == eCyclic) return mLower + fraction * mParameter;
    if (!(mLower < mUpper)) return mLower;
    if (mLaw == eDecades) return std::exp(std::log(mLower) + fraction * (std::log(mUpper) - std::log(mLower)));
    double t = fraction;
    if (mLaw == eLogarithmic) t = std::expm1(fraction * std::log1p(mParameter)) / mParameter;
    if (mLaw == ePower) t = std::pow(fraction, 1.0 / mParameter);
    return mLower * (1.0 - t) + mUpper * t;
}

std::uint8_t KrColourIndex::IndexOf(double value) const {
    if (std::isnan(value) || (mLaw == eCyclic && std::isinf(value))) return mReserved;
    const double index = std::floor(mCount * Fraction(value));
    if (std::isnan(index)) return mReserved;  // more turns of a cycle than a double can count
    return static_cast<std::uint8_t>(std::clamp(index, 0.0, mCount - 1.0));
}

double KrColourIndex::BeginOf(int index) const {
    return ValueAt(static_cast<double>(std::clamp(index, 0, mCount)) / mCount);
}

double KrColourIndex::ValueOf(int index) const {
    const int at = std::clamp(index, 0, mCount - 1);
    return BeginOf(at) / 2 + BeginOf(at + 1) / 2;
}

namespace {

// Excluded pixels of a row become the reserved index.
class Exclusion {
public:
    explicit Exclusion(const KrAOI8* mask, std::uint8_t reserved)
        : mMask(mask && mask->AOIWidth() > 0 && mask->AOIHeight() > 0 ? mask : nullptr),
          mRows(mMask, RouteOf(Access::eSwitched, mMask), mMask ? mMask->AOIWidth() : 0),
          mReserved(reserved) {}
    // Reads the mask's row y: before the destination's is written, which may be the same.
    void Reach(int y) {
        if (!mMask) return;
        const u8* row = mRows.Row(std::min<int>(y, mMask->AOIHeight() - 1));
        mLine.assign(row, row + mMask->AOIWidth());
    }
    // To the part of the row from column x on.
    void Apply(int x, u8* row, std::size_t count) {
        if (!mMask) return;
        const std::size_t last = mLine.size() - 1;
        for (std::size_t i = 0; i < count; ++i)
            if (!Admits(mLine[std::min(static_cast<std::size_t>(x) + i, last)])) row[i] = mReserved;
    }

private:
    const KrAOI8* mMask;
    SourceRows<u8> mRows;
    std::vector<u8> mLine;
    std::uint8_t mReserved;
};

// `index(out, pixels, count)` makes a row of indices.
template <class T, class Index>
void IndexRows(const KrTAOI<T>* src, KrTAOI<u8>* dst, Exclusion exclusion, const Index& index) {
    WalkParts(
        CommonRegion(src, dst), RouteOf(Access::eSwitched, dst, src),
        [&](int y, int x, u8* out, const T* pixels, std::size_t count) {
            if (x == 0) exclusion.Reach(y);
            index(out, pixels, count);
            exclusion.Apply(x, out, count);
        },
        dst, src);
}

// Of all values of an integer type.
template <class T>
void IndexByTable(const KrColourIndex& law, const KrTAOI<T>* src, KrTAOI<u8>* dst, const KrAOI8* mask) {
    std::array<u8, std::numeric_limits<T>::max() + 1> table;
    for (std::size_t v = 0; v < table.size(); ++v) table[v] = law.IndexOf(static_cast<double>(v));
    IndexRows(src, dst, Exclusion(mask, law.Reserved()), [&](u8* out, const T* pixels, std::size_t count) {
        for (std::size_t x = 0; x < count; ++x) out[x] = table[pixels[x]];
    });
}

// The least values of each index, found by halving, so that comparing with them gives what the law itself gives.
std::array<double, 256> FindThresholds(const KrColourIndex& law) {
    std::array<double, 256> thresholds;
    thresholds.fill(std::numeric_limits<double>::quiet_NaN());
    for (int index = 1; index < law.Count(); ++index) {
        std::int64_t below = Rank(-kInfinity), reached = Rank(kInfinity);
        if (law.IndexOf(kInfinity) < index) break;
        while (reached - 1 > below) {
            const std::int64_t middle = below / 2 + reached / 2 + (below % 2 + reached % 2) / 2;
            (law.IndexOf(OfRank(middle)) >= index ? reached : below) = middle;
        }
        thresholds[static_cast<std::size_t>(index)] = OfRank(reached);
    }
    return thresholds;
}

template <class T>
void IndexByThresholds(const KrColourIndex& law, bool cyclic, const KrTAOI<T>* src, KrTAOI<u8>* dst,
                       const KrAOI8* mask) {
    const Exclusion exclusion(mask, law.Reserved());
    if (cyclic) {
        IndexRows(src, dst, exclusion, [&](u8* out, const T* pixels, std::size_t count) {
            for (std::size_t x = 0; x < count; ++x) out[x] = law.IndexOf(static_cast<double>(pixels[x]));
        });
        return;
    }
    const std::array<double, 256> thresholds = FindThresholds(law);
    const auto row = std::get<ThresholdRow<T>>(GetColourKernels().index);
    IndexRows(src, dst, exclusion, [&](u8* out, const T* pixels, std::size_t count) {
        row(out, pixels, {thresholds.data(), law.Reserved()}, count);
    });
}

}  // namespace

template <>
struct OperationsOf<KrColourIndex> {
    using T = KrColourIndex;

    struct Call {
        const T& law;
        const KrAOI8* mask;
    };
    template <class AOI, void (T::*kernel)(const AOI*, KrAOI8*, const KrAOI8*) const>
    static void Of(const Call& call, const AOI* src, KrAOI8* dst) {
        if (!AnyIsEmpty(src, dst)) (call.law.*kernel)(src, dst, call.mask);
    }
    static constexpr std::tuple all{Operation<void(const Call&, const KrAOI*, KrAOI*)>::Of<
        &Of<KrAOI8, &T::Execute88SW>, &Of<KrAOI16, &T::Execute168SW>, &Of<KrAOI32, &T::Execute328SW>,
        &Of<KrAOI32Float, &T::ExecuteF8SW>, &Of<KrAOI64Double, &T::ExecuteD8SW>>(L"C\\ipColourIndex", 50,
                                                                                 L"KrColourIndex::Execute( %s, %s )")};
};

void KrColourIndex::Execute(const KrAOI* src, KrAOI* dst, const KrAOI8* mask) const {
    const auto& [execute] = OperationsOf<KrColourIndex>::all;
    execute({*this, mask}, src, dst);
}

void KrColourIndex::Execute88SW(const KrAOI8* src, KrAOI8* dst, const KrAOI8* mask) const {
    IndexByTable<u8>(*this, src, dst, mask);
}
void KrColourIndex::Execute168SW(const KrAOI16* src, KrAOI8* dst, const KrAOI8* mask) const {
    IndexByTable<u16>(*this, src, dst, mask);
}
void KrColourIndex::Execute328SW(const KrAOI32* src, KrAOI8* dst, const KrAOI8* mask) const {
    IndexByThresholds<i32>(*this, mLaw == eCyclic, src, dst, mask);
}
void KrColourIndex::ExecuteF8SW(const KrAOI32Float* src, KrAOI8* dst, const KrAOI8* mask) const {
    IndexByThresholds<float>(*this, mLaw == eCyclic, src, dst, mask);
}
void KrColourIndex::ExecuteD8SW(const KrAOI64Double* src, KrAOI8* dst, const KrAOI8* mask) const {
    IndexByThresholds<double>(*this, mLaw == eCyclic, src, dst, mask);
}

std::vector<OperationInfo> ColourIndexOperations() { return ListOperations(OperationsOf<KrColourIndex>::all); }

}  // namespace KrN
