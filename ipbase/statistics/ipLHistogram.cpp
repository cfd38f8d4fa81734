#include "ipbase/ipLHistogram.h"

#include <utility>

#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/kernels/histogram.h"
#include "ipbase/statistics/counts.h"
#include "ipbase/statistics/operations.h"

namespace KrN {

KrLHistogram::KrLHistogram() = default;
KrLHistogram::KrLHistogram(const KrLHistogram&) = default;
KrLHistogram& KrLHistogram::operator=(const KrLHistogram&) = default;
KrLHistogram::~KrLHistogram() = default;

template <>
struct OperationsOf<KrLHistogram> {
    static constexpr const wchar_t* kFile = L"C\\ipLHistogram";
    using T = KrLHistogram;
    using Plain = Operation<void(T&, const KrAOI*, std::uint32_t)>;
    using Masked = Operation<void(T&, const KrAOI*, const KrAOI8*, std::uint32_t)>;

    static constexpr std::tuple all{Plain::Of<&T::Histo8SW, &T::Histo16SW>(kFile, 86, L"Create( %s )"),
                                    Masked::Of<&T::Histo8MSW, &T::Histo16MSW>(kFile, 128, L"Create( %s, pMaskAOI )")};
};

namespace {

const auto& [kCreate, kCreateMasked] = OperationsOf<KrLHistogram>::all;

void CheckSteps(std::uint32_t steps) {
    if (steps == 0 || steps > KrLHistogram::kMaxSteps)
        throw new KrException(L"C\\ipLHistogram", 61,
                              L"Error in KrLHistogram::Create: the number of steps is not 1..16777216");
}

}  // namespace

// An empty content in the place of the old one, which comes back unless the new one is kept.
class KrLHistogram::Refill {
public:
    Refill(KrLHistogram& histogram, const KrAOI* aoi, std::uint32_t steps) : mTarget(histogram.mContent) {
        if (aoi && aoi->GetDevType() != eDev8 && aoi->GetDevType() != eDev16) return;  // which is refused
        CheckSteps(steps);
        Content empty;
        empty.counts.Resize(steps);
        empty.valueMax = empty.greyRange.lower = aoi && aoi->GetDevType() == eDev16 ? 65535.0 : 255.0;
        empty.scale = 1.0 / (empty.valueMax - empty.valueMin + 1.0);
        mOther = std::exchange(mTarget, std::move(empty));
        mRestore = true;
    }
    Refill(const Refill&) = delete;
    Refill& operator=(const Refill&) = delete;
    ~Refill() {
        if (mRestore) mTarget = std::move(mOther);
    }
    void Keep() { mRestore = false; }

private:
    Content& mTarget;
    Content mOther;
    bool mRestore = false;
};

void KrLHistogram::Create(const KrAOI* aoi, const KrAOI8* pMaskAOI, std::uint32_t steps) {
    Refill refill(*this, aoi, steps);
    kCreateMasked(*this, aoi, pMaskAOI, steps);
    refill.Keep();
}
void KrLHistogram::Create(const KrAOI* aoi, std::uint32_t steps) {
    Refill refill(*this, aoi, steps);
    kCreate(*this, aoi, steps);
    refill.Keep();
}

void KrLHistogram::Histo8SW(const KrAOI8* aoi, std::uint32_t steps) { Count(aoi, nullptr, steps); }
void KrLHistogram::Histo16SW(const KrAOI16* aoi, std::uint32_t steps) { Count(aoi, nullptr, steps); }
void KrLHistogram::Histo8MSW(const KrAOI8* aoi, const KrAOI8* mask, std::uint32_t steps) { Count(aoi, mask, steps); }
void KrLHistogram::Histo16MSW(const KrAOI16* aoi, const KrAOI8* mask, std::uint32_t steps) { Count(aoi, mask, steps); }

// 8-bit pixels are counted by value and then brought into bins, and so are 16-bit pixels when there are more bins than
// values. Else these are counted in their bins at once, because few counts stay in the cache.
template <class T>
void KrLHistogram::Count(const KrTAOI<T>* aoi, const KrAOI8* mask, std::uint32_t steps) {
    CheckSteps(steps);
    constexpr std::uint32_t values = 1u << 8 * sizeof(T);
    const std::uint32_t elements = sizeof(T) == 1 ? values : std::min(steps, values);
    KrTBuf1D<std::uint32_t> even(elements + 1), odd(elements + 1);
    const kernels::CountLanes lanes{{even.Data(), odd.Data()}, elements};

    const int stepY = std::max<int>(mUndersampling.y, 1);
    const auto stepX = static_cast<std::size_t>(std::max<int>(mUndersampling.x, 1));
    const auto count = [&](int y, const T* pixels, const std::uint8_t* maskPixels, std::size_t width) {
        if (y % stepY == 0) kernels::CountRow(pixels, maskPixels, (width + stepX - 1) / stepX, stepX, lanes);
    };
    if (mask)
        VisitRows(Access::eSwitched, count, aoi, mask);
    else
        VisitRows(
            Access::eSwitched, [&](int y, const T* pixels, std::size_t width) { count(y, pixels, nullptr, width); },
            aoi);

    Content content;
    content.counts.Resize(steps);
    KrTFloatRange<double>& range = content.greyRange;
    range.lower = content.valueMax = values - 1.0;
    content.scale = 1.0 / values;
    for (std::size_t e = 0; e < elements; ++e) {
        const std::uint32_t sum = even[e + 1] + odd[e + 1];
        if (sum == 0) continue;
        const std::uint64_t bin = std::uint64_t{steps} * e / elements;
        content.counts[bin] += sum;
        if (range.lower > range.upper) range.lower = static_cast<double>(bin);
        range.upper = static_cast<double>(bin);
    }
    mContent = std::move(content);
}

namespace {

// The x that has `rank` smaller ones before it in sorted order.
double Ranked(const KrTBuf1D<std::uint32_t>& counts, std::uint64_t rank) {
    std::size_t i = 0;
    for (std::uint64_t below = counts[0]; below <= rank; below += counts[i]) ++i;
    return static_cast<double>(i);
}

bool HasZeros(const KrTBuf1D<std::uint32_t>& counts) { return counts.Size() == 0 || counts[0] != 0; }

}  // namespace

double KrLHistogram::GetArithmeticMean() const {
    return Mean(mContent.counts, [](double x) { return x; });
}
double KrLHistogram::GetMean() const { return GetArithmeticMean(); }
double KrLHistogram::GetGeometricMean() const {
    if (HasZeros(mContent.counts) || Total(mContent.counts) == 0) return 0.0;
    return std::exp(Mean(mContent.counts, [](double x) { return std::log(x); }));
}
double KrLHistogram::GetHarmonicMean() const {
    const double inverse = HasZeros(mContent.counts) ? 0.0 : Mean(mContent.counts, [](double x) { return 1.0 / x; });
    return inverse > 0.0 ? 1.0 / inverse : 0.0;
}
double KrLHistogram::GetQuadraticMean() const {
    return std::sqrt(Mean(mContent.counts, [](double x) { return x * x; }));
}
double KrLHistogram::GetMeanSquareDeviation() const { return CentralMoment(mContent.counts, 2); }
double KrLHistogram::GetSkewness() const {
    const double m2 = CentralMoment(mContent.counts, 2);
    return m2 > 0.0 ? CentralMoment(mContent.counts, 3) / (m2 * std::sqrt(m2)) : 0.0;
}
double KrLHistogram::GetKurtosis() const {
    const double m2 = CentralMoment(mContent.counts, 2);
    return m2 > 0.0 ? CentralMoment(mContent.counts, 4) / (m2 * m2) : 0.0;
}
double KrLHistogram::GetMedian() const {
    const std::uint64_t total = Total(mContent.counts);
    if (total == 0) return 0.0;
    return (Ranked(mContent.counts, (total - 1) / 2) + Ranked(mContent.counts, total / 2)) / 2.0;
}

std::uint32_t KrLHistogram::CalcIndex(double value) const {
    const double index = GetNumSteps() * mContent.scale * (value - mContent.valueMin);
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(Truncate(index), 0, 0xFFFFFFFF));
}

KrTFloatRange<double> KrLHistogram::CalcRange(std::uint32_t index) const {
    const double width = GetNumSteps() > 0 ? (mContent.valueMax - mContent.valueMin + 1.0) / GetNumSteps() : 0.0;
    return {index * width + mContent.valueMin,
            (index + 1.0) * width + mContent.valueMin - std::numeric_limits<double>::epsilon()};
}

std::uint32_t KrLHistogram::GetMaxIndex() const {
    const std::uint32_t* first = mContent.counts.Data();
    return static_cast<std::uint32_t>(std::max_element(first, first + mContent.counts.Size()) - first);
}
std::uint32_t KrLHistogram::GetMaxPixels() const { return GetNumSteps() > 0 ? mContent.counts[GetMaxIndex()] : 0; }

namespace {

void CheckIndex(std::uint32_t index, std::uint32_t steps) {
    if (index >= steps) throw new KrException(L"Error in KrLHistogram: there is no bin of that number");
}

}  // namespace

std::uint32_t& KrLHistogram::operator[](std::uint32_t index) {
    CheckIndex(index, GetNumSteps());
    return mContent.counts[index];
}
std::uint32_t KrLHistogram::operator[](std::uint32_t index) const {
    CheckIndex(index, GetNumSteps());
    return mContent.counts[index];
}

std::vector<OperationInfo> HistogramOperations() { return ListOperations(OperationsOf<KrLHistogram>::all); }

}  // namespace KrN
