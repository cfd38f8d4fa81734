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

// clang-format off
constexpr auto kAddMod = [](const auto* a, auto b, auto* dst) { KrIpAddMod().Execute(a, b, dst); };
constexpr auto kAdd = [](const auto* a, auto b, auto* dst) { KrIpAdd().Execute(a, b, dst); };
constexpr auto kSubMod = [](const auto* a, auto b, auto* dst) { KrIpSubMod().Execute(a, b, dst); };
constexpr auto kSub = [](const auto* a, auto b, auto* dst) { KrIpSub().Execute(a, b, dst); };
constexpr auto kMean = [](const auto* a, auto b, auto* dst) { KrIpAddModDiv2().Execute(a, b, dst); };
constexpr auto kCentred = [](const auto* a, auto b, auto* dst) { KrIpSubShiftCenter().Execute(a, b, dst); };
constexpr auto kAbsDiff = [](const auto* a, auto b, auto* dst) { KrIpAbsDiff().Execute(a, b, dst); };
constexpr auto kMulMod = [](const auto* a, double c, auto* dst) { KrIpMulMod().Execute(a, c, dst); };
constexpr auto kMul = [](const auto* a, double c, auto* dst) { KrIpMul().Execute(a, c, dst); };
// clang-format on

using Pair = void(KrLArithmetic&, const KrAOI*, const KrAOI*, KrAOI*);
using Constant = void(KrLArithmetic&, const KrAOI*, double, KrAOI*);
using Range = void(KrLArithmetic&, const KrAOI*, KrAOI*, double, double);
using Threshold = void(KrLArithmetic&, const KrAOI*, KrAOI*, double, double, double);

template <const auto& fn, class... More>
constexpr const auto& kPairs =
    kRows<Pair, TypedCall<fn, KrAOI8, KrAOI8, KrAOI8>, TypedCall<fn, KrAOI8, KrAOI8, KrAOI16>,
          TypedCall<fn, KrAOI8, KrAOI16, KrAOI16>, TypedCall<fn, KrAOI16, KrAOI8, KrAOI16>,
          TypedCall<fn, KrAOI16, KrAOI16, KrAOI16>, More...>;

template <const auto& fn, class... More>
constexpr const auto& kConstants =
    kRows<Constant, TypedCall<fn, KrAOI8, double, KrAOI8>, TypedCall<fn, KrAOI8, double, KrAOI16>,
          TypedCall<fn, KrAOI16, double, KrAOI8>, TypedCall<fn, KrAOI16, double, KrAOI16>, More...>;

}  // namespace

struct KrLArithmetic::Tables {
    static constexpr const wchar_t* kFile = L"C\\ipLArith";
    using T = KrLArithmetic;
    using F = KrAOI32Float;

    static constexpr Operation<Pair> addModulo{
        kFile, 105, L"AddModulo( %s, %s, %s )",
        kPairs<kAddMod, TypedCall<kAdd, KrAOI8, F, F>, TypedCall<kAdd, KrAOI16, F, F>, TypedCall<kAdd, F, F, F>>};
    static constexpr Operation<Constant> addModuloConstant{kFile, 154, L"AddModulo( %s, %lf, %s )",
                                                           kConstants<kAddMod, TypedCall<kAdd, F, double, F>>};
    static constexpr Operation<Pair> subModulo{
        kFile, 225, L"SubModulo( %s, %s, %s )",
        kPairs<kSubMod, TypedCall<kSub, F, KrAOI8, F>, TypedCall<kSub, F, KrAOI16, F>, TypedCall<kSub, F, F, F>>};
    static constexpr Operation<Constant> subModuloConstant{kFile, 276, L"SubModulo( %s, %lf, %s )",
                                                           kConstants<kSubMod, TypedCall<kSub, F, double, F>>};
    static constexpr Operation<Pair> addClip{kFile, 331, L"AddClip( %s, %s, %s )", kPairs<kAdd>};
    static constexpr Operation<Constant> addClipConstant{kFile, 377, L"AddClip( %s, %lf, %s )", kConstants<kAdd>};
    static constexpr Operation<Pair> subClip{kFile, 434, L"SubClip( %s, %s, %s )", kPairs<kSub>};
    static constexpr Operation<Constant> subClipConstant{kFile, 481, L"SubClip( %s, %lf, %s )", kConstants<kSub>};
    static constexpr Operation<Pair> addDiv2{kFile, 538, L"AddDiv2( %s, %s, %s )", kPairs<kMean>};
    static constexpr Operation<Pair> subBoc{kFile, 595, L"SubBoc( %s, %s, %s )", kPairs<kCentred>};
    static constexpr Operation<Pair> subAbs{kFile, 656, L"SubAbs( %s, %s, %s )",
                                            kPairs<kAbsDiff, TypedCall<kAbsDiff, F, F, F>>};
    static constexpr Operation<Constant> multiplyModulo{
        kFile, 726, L"MultiplyModulo( %s, %g, %s )",
        kConstants<kMulMod, TypedCall<kMul, KrAOI8, double, F>, TypedCall<kMul, F, double, F>>};
    static constexpr Operation<Constant> multiplyClip{kFile, 777, L"MultiplyClip( %s, %g, %s )", kConstants<kMul>};

    static constexpr Operation<Range> scale{kFile, 848, L"Scale( %s, %s, %lf, %lf )",
                                            kRows<Range, KernelCall<&T::ScaleFFSW>>};
    static constexpr Operation<Range> absScale{
        kFile, 871, L"AbsScale( %s, %s, %lf, %lf )",
        kRows<Range, KernelCall<&T::AbsScale88SW>, KernelCall<&T::AbsScaleFFSW>>};
    static constexpr Operation<Threshold> binarize{
        kFile, 895, L"Binarize( %s, %s, %lf, %lf, %lf )",
        kRows<Threshold, KernelCall<&T::Binarize88SW>, KernelCall<&T::BinarizeFFSW>>};
    static constexpr Operation<Pair> subBoc2{kFile, 918, L"SubBoc2( %s, %s, %s )",
                                             kRows<Pair, KernelCall<&T::SubBoc2_888SW>>};
};

void KrLArithmetic::AddModulo(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::addModulo(*this, a, b, dst); }
void KrLArithmetic::SubModulo(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::subModulo(*this, a, b, dst); }
void KrLArithmetic::AddClip(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::addClip(*this, a, b, dst); }
void KrLArithmetic::SubClip(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::subClip(*this, a, b, dst); }
void KrLArithmetic::AddDiv2(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::addDiv2(*this, a, b, dst); }
void KrLArithmetic::SubBoc(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::subBoc(*this, a, b, dst); }
void KrLArithmetic::SubAbs(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::subAbs(*this, a, b, dst); }
void KrLArithmetic::SubBoc2(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::subBoc2(*this, a, b, dst); }

void KrLArithmetic::AddModulo(const KrAOI* a, double c, KrAOI* dst) {
    c < 0 ? SubModulo(a, -c, dst) : Tables::addModuloConstant(*this, a, c, dst);
}
void KrLArithmetic::SubModulo(const KrAOI* a, double c, KrAOI* dst) {
    c < 0 ? AddModulo(a, -c, dst) : Tables::subModuloConstant(*this, a, c, dst);
}
void KrLArithmetic::AddClip(const KrAOI* a, double c, KrAOI* dst) {
    c < 0 ? SubClip(a, -c, dst) : Tables::addClipConstant(*this, a, c, dst);
}
void KrLArithmetic::SubClip(const KrAOI* a, double c, KrAOI* dst) {
    c < 0 ? AddClip(a, -c, dst) : Tables::subClipConstant(*this, a, c, dst);
}

namespace {

bool IsCopy(const KrAOI* a, double c, const KrAOI* dst) { return c == 1.0 && a && TypeCode(a) == TypeCode(dst); }

void RejectZeroDivisor(double c, std::uint32_t line) {
    constexpr double epsilon = std::numeric_limits<double>::epsilon();
    if (-epsilon < c && c < epsilon) throw new KrFloatDivideByZeroException(L"C\\ipLArith", line);
}

}  // namespace

void KrLArithmetic::MultiplyModulo(const KrAOI* a, double c, KrAOI* dst) {
    IsCopy(a, c, dst) ? KrLTransfer().Copy(a, dst) : Tables::multiplyModulo(*this, a, c, dst);
}
void KrLArithmetic::MultiplyClip(const KrAOI* a, double c, KrAOI* dst) {
    IsCopy(a, c, dst) ? KrLTransfer().Copy(a, dst) : Tables::multiplyClip(*this, a, c, dst);
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
void KrLArithmetic::Scale(const KrAOI* src, KrAOI* dst, double low, double high) {
    Tables::scale(*this, src, dst, low, high);
}
void KrLArithmetic::AbsScale(const KrAOI* src, KrAOI* dst, double low, double high) {
    Tables::absScale(*this, src, dst, low, high);
}
void KrLArithmetic::Binarize(const KrAOI* src, KrAOI* dst, double threshold, double low, double high) {
    Tables::binarize(*this, src, dst, threshold, low, high);
}

namespace {

template <class K, class T>
void WalkConstant(Access access, ConstantRow<T, T, K> row, K k, const KrTAOI<T>* src, KrTAOI<T>* dst) {
    WalkRows(
        access, [=](T* d, const T* s, std::size_t n) { row(d, s, k, n); }, dst, src);
}

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
    WalkConstant(Access::eSwitched, GetScaleKernels().stretch, stretch, src, dst);
}

void KrLArithmetic::AbsScale88SW(const KrAOI8* src, KrAOI8* dst, double low, double high) {
    const auto found = FindExtremes(src, {1, 1}, CommonRegion(src, dst));
    if (!found) return;
    const double factor = StretchFactor(found->least, found->greatest, low, high);
    std::array<u8, 256> table;
    for (int v = 0; v < 256; ++v)
        table[static_cast<std::size_t>(v)] = TruncateTo<u8>((v - found->least) * factor + low);
    const auto row = std::get<TableRow<u8>>(GetTableKernels().map);
    WalkRows(
        Access::eSwitched, [&](u8* d, const u8* s, std::size_t n) { row(d, s, table.data(), n); }, dst, src);
}

void KrLArithmetic::AbsScaleFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double low, double high) {
    const auto found = FindExtremes(src, {1, 1}, CommonRegion(src, dst));
    if (!found) return;
    const Stretch<double> stretch{found->least, StretchFactor(found->least, found->greatest, low, high), low};
    WalkConstant(Access::eSwitched, GetScaleKernels().stretchDouble, stretch, src, dst);
}

void KrLArithmetic::Binarize88SW(const KrAOI8* src, KrAOI8* dst, double threshold, double low, double high) {
    const auto level = [](double v) { return TruncateTo<u8>(std::min(std::max(v + 0.5, 0.0), 255.5)); };
    const Binary<u8> levels{TruncateTo<u8>(std::min(threshold + 0.5, 255.5)), level(low), level(high)};
    WalkConstant(Access::eSwitchedPixels, std::get<ConstantRow<u8, u8, Binary<u8>>>(GetScaleKernels().binarize), levels,
                 static_cast<const KrTAOI<u8>*>(src), static_cast<KrTAOI<u8>*>(dst));
}

void KrLArithmetic::BinarizeFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double threshold, double low,
                                 double high) {
    const Binary<float> levels{static_cast<float>(threshold), static_cast<float>(low), static_cast<float>(high)};
    WalkConstant(Access::eSwitched, std::get<ConstantRow<float, float, Binary<float>>>(GetScaleKernels().binarize),
                 levels, static_cast<const KrTAOI<float>*>(src), static_cast<KrTAOI<float>*>(dst));
}

void KrLArithmetic::SubBoc2_888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst) {
    WalkRows(Access::eSwitched, GetArithKernels().diffCentred, dst, a, b);
}

std::vector<OperationInfo> ArithmeticOperations() {
    using T = KrLArithmetic::Tables;
    return {T::addModulo.Info(),    T::addModuloConstant.Info(),
            T::subModulo.Info(),    T::subModuloConstant.Info(),
            T::addClip.Info(),      T::addClipConstant.Info(),
            T::subClip.Info(),      T::subClipConstant.Info(),
            T::addDiv2.Info(),      T::subBoc.Info(),
            T::subAbs.Info(),       T::multiplyModulo.Info(),
            T::multiplyClip.Info(), T::scale.Info(),
            T::absScale.Info(),     T::binarize.Info(),
            T::subBoc2.Info()};
}

}  // namespace KrN
