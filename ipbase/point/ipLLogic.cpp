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

template <>
struct OperationsOf<KrLLogic> {
    static constexpr const wchar_t* kFile = L"C\\ipLLogic";
    using T = KrLLogic;
    using Pair = Operation<void(T&, const KrAOI*, const KrAOI*, KrAOI*)>;
    using Mask = Operation<void(T&, const KrAOI*, std::uint32_t, KrAOI*)>;
    using InPlace = Operation<void(T&, KrAOI*)>;

    static constexpr std::tuple all{
        Pair::Of<&T::And888SW, &T::And8816SW, &T::And81616SW, &T::And16816SW, &T::And161616SW>(kFile, 74,
                                                                                               L"And( %s, %s, %s )"),
        Mask::Of<&T::And8ul8SW, &T::And8ul16SW, &T::And16ul16SW>(kFile, 108, L"And( %s, %d, %s )"),
        Pair::Of<&T::Nand888SW, &T::Nand8816SW, &T::Nand81616SW, &T::Nand16816SW, &T::Nand161616SW>(
            kFile, 622, L"Nand( %s, %s, %s )"),
        Mask::Of<&T::Nand8ul8SW, &T::Nand8ul16SW, &T::Nand16ul16SW>(kFile, 656, L"Nand( %s, %d, %s )"),
        Pair::Of<&T::Or888SW, &T::Or8816SW, &T::Or81616SW, &T::Or16816SW, &T::Or161616SW>(kFile, 1164,
                                                                                          L"Or( %s, %s, %s )"),
        Mask::Of<&T::Or8ul8SW, &T::Or8ul16SW, &T::Or16ul16SW>(kFile, 1198, L"Or( %s, %d, %s )"),
        Pair::Of<&T::Nor888SW, &T::Nor8816SW, &T::Nor81616SW, &T::Nor16816SW, &T::Nor161616SW>(kFile, 1740,
                                                                                               L"Nor( %s, %s, %s )"),
        Mask::Of<&T::Nor8ul8SW, &T::Nor8ul16SW, &T::Nor16ul16SW>(kFile, 1774, L"Nor( %s, %d, %s )"),
        Pair::Of<&T::Xor888SW, &T::Xor8816SW, &T::Xor81616SW, &T::Xor16816SW, &T::Xor161616SW>(kFile, 2282,
                                                                                               L"Xor( %s, %s, %s )"),
        Mask::Of<&T::Xor8ul8SW, &T::Xor8ul16SW, &T::Xor16ul16SW>(kFile, 2316, L"Xor( %s, %d, %s )"),
        Pair::Of<&T::XNor888SW, &T::XNor8816SW, &T::XNor81616SW, &T::XNor16816SW, &T::XNor161616SW>(
            kFile, 2808, L"XNor( %s, %s, %s )"),
        Mask::Of<&T::XNor8ul8SW, &T::XNor8ul16SW, &T::XNor16ul16SW>(kFile, 2842, L"XNor( %s, %d, %s )"),
        InPlace::Of<&T::Not8SW, &T::Not16SW>(kFile, 3310, L"Not( %s )")};
};

namespace {

const auto& [kAnd, kAndMask, kNand, kNandMask, kOr, kOrMask, kNor, kNorMask, kXor, kXorMask, kXNor, kXNorMask, kNot] =
    OperationsOf<KrLLogic>::all;

}  // namespace

void KrLLogic::And(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kAnd(*this, a, b, dst); }
void KrLLogic::And(const KrAOI* a, std::uint32_t mask, KrAOI* dst) { kAndMask(*this, a, mask, dst); }
void KrLLogic::Nand(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kNand(*this, a, b, dst); }
void KrLLogic::Nand(const KrAOI* a, std::uint32_t mask, KrAOI* dst) { kNandMask(*this, a, mask, dst); }
void KrLLogic::Or(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kOr(*this, a, b, dst); }
void KrLLogic::Or(const KrAOI* a, std::uint32_t mask, KrAOI* dst) { kOrMask(*this, a, mask, dst); }
void KrLLogic::Nor(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kNor(*this, a, b, dst); }
void KrLLogic::Nor(const KrAOI* a, std::uint32_t mask, KrAOI* dst) { kNorMask(*this, a, mask, dst); }
void KrLLogic::Xor(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kXor(*this, a, b, dst); }
void KrLLogic::Xor(const KrAOI* a, std::uint32_t mask, KrAOI* dst) { kXorMask(*this, a, mask, dst); }
void KrLLogic::XNor(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kXNor(*this, a, b, dst); }
void KrLLogic::XNor(const KrAOI* a, std::uint32_t mask, KrAOI* dst) { kXNorMask(*this, a, mask, dst); }
void KrLLogic::Not(KrAOI* aoi) { kNot(*this, aoi); }
void KrLLogic::Clear(KrAOI* dst, double value) { KrLTransfer().Clear(dst, value); }

namespace {

template <class A, class B, class D>
void WalkPair(Logic logic, const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    WalkRows(Access::eSwitched, std::get<PairRow<D, A, B>>(GetLogicKernels().pairs[logic]), dst, a, b);
}

template <class A, class D>
void WalkMask(Logic logic, const KrTAOI<A>* a, std::uint32_t mask, KrTAOI<D>* dst) {
    WalkConstant(Access::eSwitched, std::get<ConstantRow<D, A, u16>>(GetLogicKernels().masks[logic]),
                 static_cast<u16>(mask), dst, a);
}

}  // namespace

// The kernels of one operation, as the header declares them.
#define VORIP_LOGIC_KERNELS(Name)                                                                                   \
  void KrLLogic::Name##888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst) { WalkPair(e##Name, a, b, dst); }       \
  void KrLLogic::Name##8816SW(const KrAOI8* a, const KrAOI8* b, KrAOI16* dst) { WalkPair(e##Name, a, b, dst); }     \
  void KrLLogic::Name##81616SW(const KrAOI8* a, const KrAOI16* b, KrAOI16* dst) { WalkPair(e##Name, a, b, dst); }   \
  void KrLLogic::Name##16816SW(const KrAOI16* a, const KrAOI8* b, KrAOI16* dst) { WalkPair(e##Name, a, b, dst); }   \
  void KrLLogic::Name##161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst) { WalkPair(e##Name, a, b, dst); } \
  void KrLLogic::Name##8ul8SW(const KrAOI8* a, std::uint32_t k, KrAOI8* dst) { WalkMask(e##Name, a, k, dst); }      \
  void KrLLogic::Name##8ul16SW(const KrAOI8* a, std::uint32_t k, KrAOI16* dst) { WalkMask(e##Name, a, k, dst); }    \
  void KrLLogic::Name##16ul16SW(const KrAOI16* a, std::uint32_t k, KrAOI16* dst) { WalkMask(e##Name, a, k, dst); }
VORIP_LOGIC_KERNELS(And)
VORIP_LOGIC_KERNELS(Nand)
VORIP_LOGIC_KERNELS(Or)
VORIP_LOGIC_KERNELS(Nor)
VORIP_LOGIC_KERNELS(Xor)
VORIP_LOGIC_KERNELS(XNor)
#undef VORIP_LOGIC_KERNELS

void KrLLogic::Not8SW(KrAOI8* aoi) { WalkMask(eXor, aoi, 0xFF, aoi); }
void KrLLogic::Not16SW(KrAOI16* aoi) { WalkMask(eXor, aoi, 0xFFFF, aoi); }

std::vector<OperationInfo> LogicOperations() { return ListOperations(OperationsOf<KrLLogic>::all); }

}  // namespace KrN
