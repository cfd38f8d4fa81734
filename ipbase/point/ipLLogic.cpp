#include "ipbase/ipLLogic.h"

#include "ipbase/base/rowwalk.h"
#include "ipbase/ipLTrans.h"
#include "ipbase/kernels/logic.h"
#include "ipbase/point/operations.h"

namespace KrN {

using namespace kernels;

KrLLogic::KrLLogic() = default;
KrLLogic::KrLLogic(const KrLLogic&) = default;
KrLLogic& KrLLogic::operator=(const KrLLogic&) = default;
KrLLogic::~KrLLogic() = default;

// Each operation with the lines of its errors: two images, image and mask.
#define VORIP_LOGIC_OPERATIONS(_) \
  _(And, 74, 108)                 \
  _(Nand, 622, 656)               \
  _(Or, 1164, 1198)               \
  _(Nor, 1740, 1774)              \
  _(Xor, 2282, 2316)              \
  _(XNor, 2808, 2842)

struct KrLLogic::Tables {
    static constexpr const wchar_t* kFile = L"C\\ipLLogic";
    using T = KrLLogic;
    using Pair = void(T&, const KrAOI*, const KrAOI*, KrAOI*);
    using Mask = void(T&, const KrAOI*, std::uint32_t, KrAOI*);
    using InPlace = void(T&, KrAOI*);

#define VORIP_TABLES(Name, pairLine, maskLine)                                                              \
  static constexpr Operation<Pair> pair##Name{                                                              \
      kFile, pairLine, L"" #Name "( %s, %s, %s )",                                                          \
      kRows<Pair, KernelCall<&T::Name##888SW>, KernelCall<&T::Name##8816SW>, KernelCall<&T::Name##81616SW>, \
            KernelCall<&T::Name##16816SW>, KernelCall<&T::Name##161616SW>>};                                \
  static constexpr Operation<Mask> mask##Name{                                                              \
      kFile, maskLine, L"" #Name "( %s, %d, %s )",                                                          \
      kRows<Mask, KernelCall<&T::Name##8ul8SW>, KernelCall<&T::Name##8ul16SW>, KernelCall<&T::Name##16ul16SW>>};
    VORIP_LOGIC_OPERATIONS(VORIP_TABLES)

    static constexpr Operation<InPlace> complement{kFile, 3310, L"Not( %s )",
                                                   kRows<InPlace, KernelCall<&T::Not8SW>, KernelCall<&T::Not16SW>>};
};

#define VORIP_METHODS(Name, pairLine, maskLine)                                                             \
  void KrLLogic::Name(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::pair##Name(*this, a, b, dst); } \
  void KrLLogic::Name(const KrAOI* a, std::uint32_t mask, KrAOI* dst) { Tables::mask##Name(*this, a, mask, dst); }
VORIP_LOGIC_OPERATIONS(VORIP_METHODS)

void KrLLogic::Not(KrAOI* aoi) { Tables::complement(*this, aoi); }
void KrLLogic::Clear(KrAOI* dst, double value) { KrLTransfer().Clear(dst, value); }

namespace {

template <class A, class B, class D>
void WalkPair(Logic logic, const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    WalkRows(Access::eSwitched, std::get<PairRow<D, A, B>>(GetLogicKernels().pairs[logic]), dst, a, b);
}

template <class A, class D>
void WalkMask(Logic logic, const KrTAOI<A>* a, std::uint32_t mask, KrTAOI<D>* dst) {
    const auto row = std::get<ConstantRow<D, A, u16>>(GetLogicKernels().masks[logic]);
    const auto k = static_cast<u16>(mask);
    WalkRows(
        Access::eSwitched, [=](D* d, const A* s, std::size_t n) { row(d, s, k, n); }, dst, a);
}

}  // namespace

// clang-format off
#define VORIP_KERNELS(Name, pairLine, maskLine)                                                                        \
    void KrLLogic::Name##888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst) { WalkPair(e##Name, a, b, dst); }         \
    void KrLLogic::Name##8816SW(const KrAOI8* a, const KrAOI8* b, KrAOI16* dst) { WalkPair(e##Name, a, b, dst); }       \
    void KrLLogic::Name##81616SW(const KrAOI8* a, const KrAOI16* b, KrAOI16* dst) { WalkPair(e##Name, a, b, dst); }     \
    void KrLLogic::Name##16816SW(const KrAOI16* a, const KrAOI8* b, KrAOI16* dst) { WalkPair(e##Name, a, b, dst); }     \
    void KrLLogic::Name##161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst) { WalkPair(e##Name, a, b, dst); }   \
    void KrLLogic::Name##8ul8SW(const KrAOI8* a, std::uint32_t mask, KrAOI8* dst) { WalkMask(e##Name, a, mask, dst); }  \
    void KrLLogic::Name##8ul16SW(const KrAOI8* a, std::uint32_t mask, KrAOI16* dst) { WalkMask(e##Name, a, mask, dst); } \
    void KrLLogic::Name##16ul16SW(const KrAOI16* a, std::uint32_t mask, KrAOI16* dst) { WalkMask(e##Name, a, mask, dst); }
VORIP_LOGIC_OPERATIONS(VORIP_KERNELS)
// clang-format on

void KrLLogic::Not8SW(KrAOI8* aoi) { WalkMask(eXor, aoi, 0xFF, aoi); }
void KrLLogic::Not16SW(KrAOI16* aoi) { WalkMask(eXor, aoi, 0xFFFF, aoi); }

std::vector<OperationInfo> LogicOperations() {
    using T = KrLLogic::Tables;
#define VORIP_INFOS(Name, pairLine, maskLine) T::pair##Name.Info(), T::mask##Name.Info(),
    return {VORIP_LOGIC_OPERATIONS(VORIP_INFOS) T::complement.Info()};
}

}  // namespace KrN
