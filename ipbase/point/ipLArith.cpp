#include "ipbase/ipLArith.h"

#include <array>

#include "ipbase/base/scalar.h"
#include "ipbase/ipArith.h"
#include "ipbase/ipLTrans.h"
#include "ipbase/ipMul.h"
#include "ipbase/kernels/arith.h"
#include "ipbase/kernels/table.h"
#include "ipbase/point/operations.h"
#include "ipbase/statistics/extremes.h"

namespace KrN {

using namespace kernels;

KrLArithmetic::KrLArithmetic() = default;
KrLArithmetic::KrLArithmetic(const KrLArithmetic&) = default;
KrLArithmetic& KrLArithmetic::operator=(const KrLArithmetic&) = default;
KrLArithmetic::~KrLArithmetic() = default;

namespace {

constexpr const wchar_t* kFile = L"C\\ipLArith";

using F = float;
using Pair = Operation<void(KrLArithmetic&, const KrAOI*, const KrAOI*, KrAOI*)>;
using Constant = Operation<void(KrLArithmetic&, const KrAOI*, double, KrAOI*)>;
using Range = Operation<void(KrLArithmetic&, const KrAOI*, KrAOI*, double, double)>;
using Threshold = Operation<void(KrLArithmetic&, const KrAOI*, KrAOI*, double, double, double)>;

template <class Typed, class A, class B, class D>
constexpr auto kPair = kExecute<Typed, const KrTAOI<A>*, const KrTAOI<B>*, KrTAOI<D>*>;
template <class Typed, class A, class D>
constexpr auto kConstant = kExecute<Typed, const KrTAOI<A>*, double, KrTAOI<D>*>;

// The integer combinations, and more.
template <class Typed, auto... more>
constexpr Pair Pairs(std::uint32_t line, const wchar_t* format) {
    return Pair::Of<kPair<Typed, u8, u8, u8>, kPair<Typed, u8, u8, u16>, kPair<Typed, u8, u16, u16>,
                    kPair<Typed, u16, u8, u16>, kPair<Typed, u16, u16, u16>, more...>(kFile, line, format);
}
template <class Typed, auto... more>
constexpr Constant Constants(std::uint32_t line, const wchar_t* format) {
    return Constant::Of<kConstant<Typed, u8, u8>, kConstant<Typed, u8, u16>, kConstant<Typed, u16, u8>,
                        kConstant<Typed, u16, u16>, more...>(kFile, line, format);
}

}  // namespace

template <>
struct OperationsOf<KrLArithmetic> {
    using T = KrLArithmetic;
    static constexpr std::tuple all{
        Pairs<KrIpAddMod, kPair<KrIpAdd, u8, F, F>, kPair<KrIpAdd, u16, F, F>, kPair<KrIpAdd, F, F, F>>(
            105, L"AddModulo( %s, %s, %s )"),
        Constants<KrIpAddMod, kConstant<KrIpAdd, F, F>>(154, L"AddModulo( %s, %lf, %s )"),
        Pairs<KrIpSubMod, kPair<KrIpSub, F, u8, F>, kPair<KrIpSub, F, u16, F>, kPair<KrIpSub, F, F, F>>(
            225, L"SubModulo( %s, %s, %s )"),
        Constants<KrIpSubMod, kConstant<KrIpSub, F, F>>(276, L"SubModulo( %s, %lf, %s )"),
        Pairs<KrIpAdd>(331, L"AddClip( %s, %s, %s )"),
        Constants<KrIpAdd>(377, L"AddClip( %s, %lf, %s )"),
        Pairs<KrIpSub>(434, L"SubClip( %s, %s, %s )"),
        Constants<KrIpSub>(481, L"SubClip( %s, %lf, %s )"),
        Pairs<KrIpAddModDiv2>(538, L"AddDiv2( %s, %s, %s )"),
        Pairs<KrIpSubShiftCenter>(595, L"SubBoc( %s, %s, %s )"),
        Pairs<KrIpAbsDiff, kPair<KrIpAbsDiff, F, F, F>>(656, L"SubAbs( %s, %s, %s )"),
        Constants<KrIpMulMod, kConstant<KrIpMul, u8, F>, kConstant<KrIpMul, F, F>>(726,
                                                                                   L"MultiplyModulo( %s, %g, %s )"),
        Constants<KrIpMul>(777, L"MultiplyClip( %s, %g, %s )"),
        Range::Of<&T::ScaleFFSW>(kFile, 848, L"Scale( %s, %s, %lf, %lf )"),
        Range::Of<&T::AbsScale88SW, &T::AbsScaleFFSW>(kFile, 871, L"AbsScale( %s, %s, %lf, %lf )"),
        Threshold::Of<&T::Binarize88SW, &T::BinarizeFFSW>(kFile, 895, L"Binarize( %s, %s, %lf, %lf, %lf )"),
        Pair::Of<&T::SubBoc2_888SW>(kFile, 918, L"SubBoc2( %s, %s, %s )")};
};

namespace {

const auto& [kAddModulo, kAddModuloConstant, kSubModulo, kSubModuloConstant, kAddClip, kAddClipConstant, kSubClip,
             kSubClipConstant, kAddDiv2, kSubBoc, kSubAbs, kMultiplyModulo, kMultiplyClip, kScale, kAbsScale, kBinarize,
             kSubBoc2] = OperationsOf<KrLArithmetic>::all;

}  // namespace

void KrLArithmetic::AddModulo(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kAddModulo(*this, a, b, dst); }
void KrLArithmetic::SubModulo(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kSubModulo(*this, a, b, dst); }
void KrLArithmetic::AddClip(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kAddClip(*this, a, b, dst); }
void KrLArithmetic::SubClip(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kSubClip(*this, a, b, dst); }
void KrLArithmetic::AddDiv2(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kAddDiv2(*this, a, b, dst); }
void KrLArithmetic::SubBoc(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kSubBoc(*this, a, b, dst); }
void KrLArithmetic::SubAbs(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kSubAbs(*this, a, b, dst); }
void KrLArithmetic::SubBoc2(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kSubBoc2(*this, a, b, dst); }

void KrLArithmetic::AddModulo(const KrAOI* a, double c, KrAOI* dst) {
    c < 0 ? SubModulo(a, -c, dst) : kAddModuloConstant(*this, a, c, dst);
}
void KrLArithmetic::SubModulo(const KrAOI* a, double c, KrAOI* dst) {
    c < 0 ? AddModulo(a, -c, dst) : kSubModuloConstant(*this, a, c, dst);
}
void KrLArithmetic::AddClip(const KrAOI* a, double c, KrAOI* dst) {
    c < 0 ? SubClip(a, -c, dst) : kAddClipConstant(*this, a, c, dst);
}
void KrLArithmetic::SubClip(const KrAOI* a, double c, KrAOI* dst) {
    c < 0 ? AddClip(a, -c, dst) : kSubClipConstant(*this, a, c, dst);
}

namespace {

bool IsCopy(const KrAOI* a, double c, const KrAOI* dst) { return c == 1.0 && a && TypeCode(a) == TypeCode(dst); }

void RejectZeroDivisor(double c, std::uint32_t line) {
    constexpr double epsilon = std::numeric_limits<double>::epsilon();
    if (-epsilon < c && c < epsilon) throw new KrFloatDivideByZeroException(kFile, line);
}

}  // namespace

void KrLArithmetic::MultiplyModulo(const KrAOI* a, double c, KrAOI* dst) {
    IsCopy(a, c, dst) ? KrLTransfer().Copy(a, dst) : kMultiplyModulo(*this, a, c, dst);
}
void KrLArithmetic::MultiplyClip(const KrAOI* a, double c, KrAOI* dst) {
    IsCopy(a, c, dst) ? KrLTransfer().Copy(a, dst) : kMultiplyClip(*this, a, c, dst);
}
void KrLArithmetic::DivideModulo(const KrAOI* a, double c, KrAOI* dst) {
    RejectZeroDivisor(c, 799);
    MultiplyModulo(a, 1.0 / c, dst);
}
void KrLArithmetic::DivideClip(const KrAOI* a, double c, KrAOI* dst) {
    RejectZeroDivisor(c, 822);
    MultiplyClip(a, 1.0 / c, dst);
}

void KrLArithmetic::Clear(KrAOI* dst, double value) { KrLTransfer().Clear(dst, value); }
void KrLArithmetic::Scale(const KrAOI* src, KrAOI* dst, double low, double high) { kScale(*this, src, dst, low, high); }
void KrLArithmetic::AbsScale(const KrAOI* src, KrAOI* dst, double low, double high) {
    kAbsScale(*this, src, dst, low, high);
}
void KrLArithmetic::Binarize(const KrAOI* src, KrAOI* dst, double threshold, double low, double high) {
    kBinarize(*this, src, dst, threshold, low, high);
}

namespace {

double StretchFactor(double least, double greatest, double low, double high) {
    return greatest > least ? (high - low) / (greatest - least) : 0.0;
}

}  // namespace

void KrLArithmetic::ScaleFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double low, double high) {
    constexpr float largest = std::numeric_limits<float>::max();
    const auto found = FindExtremes(src, {1, 1}, CommonRegion(src, dst));
    if (!found) return;
    // The search for the extremes starts at the ends of the finite range, so infinities only count on their side.
    const float least = std::min(found->least, largest);
    const float greatest = std::max(found->greatest, -largest);
    if (least == largest || greatest == largest) return;
    const float range = greatest - least;
    const float factor = std::fabs(range) >= std::numeric_limits<float>::min()
                             ? (static_cast<float>(high) - static_cast<float>(low)) / range
                             : 0.0f;
    const Stretch<float> stretch{least, factor, static_cast<float>(low)};
    WalkConstant(Access::eSwitched, GetScaleKernels().stretch, stretch, dst, src);
}

void KrLArithmetic::AbsScale88SW(const KrAOI8* src, KrAOI8* dst, double low, double high) {
    const auto found = FindExtremes(src, {1, 1}, CommonRegion(src, dst));
    if (!found) return;
    const double factor = StretchFactor(found->least, found->greatest, low, high);
    std::array<u8, 256> table;
    for (int v = 0; v < 256; ++v)
        table[static_cast<std::size_t>(v)] = TruncateTo<u8>((v - found->least) * factor + low);
    WalkConstant(Access::eSwitched, std::get<TableRow<u8>>(GetTableKernels().map), table.data(), dst, src);
}

void KrLArithmetic::AbsScaleFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double low, double high) {
    const auto found = FindExtremes(src, {1, 1}, CommonRegion(src, dst));
    if (!found) return;
    const Stretch<double> stretch{found->least, StretchFactor(found->least, found->greatest, low, high), low};
    WalkConstant(Access::eSwitched, GetScaleKernels().stretchDouble, stretch, dst, src);
}

void KrLArithmetic::Binarize88SW(const KrAOI8* src, KrAOI8* dst, double threshold, double low, double high) {
    const auto level = [](double v) { return TruncateTo<u8>(std::min(std::max(v + 0.5, 0.0), 255.5)); };
    const Binary<u8> levels{TruncateTo<u8>(std::min(threshold + 0.5, 255.5)), level(low), level(high)};
    WalkConstant(Access::eSwitchedPixels, std::get<ConstantRow<u8, u8, Binary<u8>>>(GetScaleKernels().binarize), levels,
                 dst, src);
}

void KrLArithmetic::BinarizeFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double threshold, double low,
                                 double high) {
    const Binary<float> levels{static_cast<float>(threshold), static_cast<float>(low), static_cast<float>(high)};
    WalkConstant(Access::eSwitched, std::get<ConstantRow<float, float, Binary<float>>>(GetScaleKernels().binarize),
                 levels, dst, src);
}

void KrLArithmetic::SubBoc2_888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst) {
    WalkRows(Access::eSwitched, GetArithKernels().diffCentred, dst, a, b);
}

std::vector<OperationInfo> ArithmeticOperations() { return ListOperations(OperationsOf<KrLArithmetic>::all); }

}  // namespace KrN
