#include "ipbase/ipLThreshold.h"

#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/kernels/minmax.h"
#include "ipbase/point/operations.h"

namespace KrN {

using namespace kernels;

KrLThreshold::KrLThreshold() = default;
KrLThreshold::KrLThreshold(const KrLThreshold&) = default;
KrLThreshold& KrLThreshold::operator=(const KrLThreshold&) = default;
KrLThreshold::~KrLThreshold() = default;

template <>
struct OperationsOf<KrLThreshold> {
    static constexpr const wchar_t* kFile = L"C\\ipLThreshold";
    using T = KrLThreshold;
    using One = Operation<void(T&, const KrAOI*, KrAOI*, double, double)>;
    using Two = Operation<void(T&, const KrAOI*, KrAOI*, double, double, double)>;

    static constexpr std::tuple all{One::Of<&T::ThreshHigh8SW>(kFile, 39, L"ThreshHigh( %s, %s, %lf, %lf )"),
                                    One::Of<&T::ThreshLow8SW>(kFile, 92, L"ThreshLow( %s, %s, %lf, %lf )"),
                                    Two::Of<&T::ThreshBetween8SW>(kFile, 146, L"Between( %s, %s, (%lf, %lf), %lf )"),
                                    Two::Of<&T::ThreshNotBetween8SW, &T::ThreshNotBetween16SW>(
                                        kFile, 205, L"NotBetween( %s, %s, (%lf, %lf), %lf )")};
};

namespace {

const auto& [kHigh, kLow, kBetween, kNotBetween] = OperationsOf<KrLThreshold>::all;

}  // namespace

void KrLThreshold::High(const KrAOI* src, KrAOI* dst, double t, double v) { kHigh(*this, src, dst, t, v); }
void KrLThreshold::Low(const KrAOI* src, KrAOI* dst, double t, double v) { kLow(*this, src, dst, t, v); }
void KrLThreshold::Between(const KrAOI* src, KrAOI* dst, const KrTFloatRange<double>& band, double v) {
    kBetween(*this, src, dst, band.lower, band.upper, v);
}
void KrLThreshold::NotBetween(const KrAOI* src, KrAOI* dst, const KrTFloatRange<double>& band, double v) {
    kNotBetween(*this, src, dst, band.lower, band.upper, v);
}

namespace {

// Grey values first..last, none when first > last.
struct Levels {
    std::int64_t first, last;
};

constexpr std::int64_t kTop = std::numeric_limits<std::int64_t>::max();

// The last grey value not above the bound.
std::int64_t LastLevel(double bound) { return bound < 0.0 ? -1 : Truncate(bound); }

Levels LevelsBetween(double lower, double upper) {
    if (lower > upper) return {0, -1};
    return {Truncate(lower), LastLevel(upper)};
}

// `inside` tells which side of the levels becomes v. The outside is a band, too: it runs from behind the last level
// through the end of the range to before the first one.
template <class T>
void Replace(const KrTAOI<T>* src, KrTAOI<T>* dst, Levels levels, bool inside, double v) {
    constexpr std::int64_t top = std::numeric_limits<T>::max();
    levels = {std::max<std::int64_t>(levels.first, 0), std::min(levels.last, top)};
    if (levels.first > levels.last) {
        levels = {0, top};
        inside = !inside;
    }
    const auto value = TruncateTo<T>(v);
    Band<T> band{static_cast<T>(levels.first), static_cast<T>(levels.last - levels.first), value};
    if (!inside) {
        const std::int64_t count = top - (levels.last - levels.first);
        band = {static_cast<T>(levels.last + 1), static_cast<T>(count - 1), value};
        if (count == 0) band = {value, 0, value};  // replaces the value by itself: nothing changes
    }
    WalkConstant(Access::eSwitched, std::get<ConstantRow<T, T, Band<T>>>(GetMinMaxKernels().replace), band, dst, src);
}

}  // namespace

void KrLThreshold::ThreshHigh8SW(const KrAOI8* src, KrAOI8* dst, double t, double v) {
    Replace(src, dst, {Truncate(t), kTop}, true, v);
}
void KrLThreshold::ThreshLow8SW(const KrAOI8* src, KrAOI8* dst, double t, double v) {
    Replace(src, dst, {0, LastLevel(t)}, true, v);
}
void KrLThreshold::ThreshBetween8SW(const KrAOI8* src, KrAOI8* dst, double lower, double upper, double v) {
    Replace(src, dst, LevelsBetween(lower, upper), true, v);
}
void KrLThreshold::ThreshNotBetween8SW(const KrAOI8* src, KrAOI8* dst, double lower, double upper, double v) {
    Replace(src, dst, LevelsBetween(lower, upper), false, v);
}
void KrLThreshold::ThreshNotBetween16SW(const KrAOI16* src, KrAOI16* dst, double lower, double upper, double v) {
    Replace(src, dst, {Truncate(lower), Truncate(upper)}, false, v);
}

std::vector<OperationInfo> ThresholdOperations() { return ListOperations(OperationsOf<KrLThreshold>::all); }

}  // namespace KrN
