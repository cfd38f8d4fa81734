#include "ipbase/ipLTrans.h"

#include <cstring>

#include "ipbase/base/dispatch.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/ipCopy.h"
#include "ipbase/ipSwap.h"
#include "ipbase/kernels/transfer.h"
#include "ipbase/transfer/operations.h"

namespace KrN {

using namespace kernels;

KrLTransfer::KrLTransfer() = default;
KrLTransfer::KrLTransfer(const KrLTransfer&) = default;
KrLTransfer& KrLTransfer::operator=(const KrLTransfer&) = default;
KrLTransfer::~KrLTransfer() = default;

namespace {

// What happens to the destination outside and inside the moved field.
enum class Join { eReplaceAll, eReplaceField, eOr, eAnd };

template <class A, class D>
void MoveBits(const KrTAOI<A>* src, KrTAOI<D>* dst, std::int32_t mask, std::int32_t shift, Join join) {
    const auto row = std::get<BitRow<D, A>>(GetTransferKernels().bits);
    const bool vanishes = shift >= 32 || shift <= -32;
    BitTransfer bits{vanishes ? 0 : static_cast<std::uint32_t>(mask), vanishes ? 0 : shift, 0, 0, 0};
    const std::uint32_t field = bits.shift < 0 ? bits.mask >> -bits.shift : bits.mask << bits.shift;
    bits.keep = join == Join::eReplaceAll ? 0u : join == Join::eOr ? ~0u : ~field;
    bits.join = join == Join::eAnd ? ~0u : 0u;
    bits.set = join == Join::eAnd ? 0u : ~0u;
    WalkConstant(Access::eSwitched, row, bits, dst, src, static_cast<const KrTAOI<D>*>(dst));
}

template <class A, class D>
void Convert(const KrTAOI<A>* src, KrTAOI<D>* dst) {
    WalkRows(Access::eSwitched, std::get<UnaryRow<D, A>>(GetTransferKernels().convert), dst, src);
}

// The narrowing copies route pixels one by one when they may not be addressed.
template <class D>
void Narrow(const KrAOI32Float* src, KrTAOI<D>* dst) {
    WalkRows<UnaryRow<D, float>, D, float>(Access::eSwitchedPixels,
                                           std::get<UnaryRow<D, float>>(GetTransferKernels().truncate), dst, src);
}

}  // namespace

template <>
struct OperationsOf<KrLTransfer> {
    static constexpr const wchar_t* kFile = L"C\\ipLTrans";
    using T = KrLTransfer;
    using TwoImages = Operation<void(T&, const KrAOI*, KrAOI*)>;
    using TwoImagesInt = Operation<void(T&, const KrAOI*, KrAOI*, int)>;
    using Bits = Operation<void(T&, const KrAOI*, KrAOI*, std::int32_t, std::int32_t)>;
    using BitsKeep = Operation<void(T&, const KrAOI*, KrAOI*, std::int32_t, std::int32_t, int)>;
    using Swap = Operation<void(T&, KrAOI*, KrAOI*)>;
    using Fill = Operation<void(T&, KrAOI*, double)>;

    // The one that has no virtual kernels.
    template <class A, class D>
    static void Or(T&, const KrTAOI<A>* src, KrTAOI<D>* dst, std::int32_t mask, std::int32_t shift) {
        MoveBits(src, dst, mask, shift, Join::eOr);
    }

    static constexpr std::tuple all{
        TwoImages::Of<&KrIpCopy::Copy<u8>, &T::Copy816SW, &T::Copy832FSW, &T::Copy864DSW, &KrIpCopy::Copy<u16>,
                      &T::Copy1632FSW, &KrIpCopy::Copy<i32>, &KrIpCopy::Copy<float>, &T::Copy328FSW, &T::Copy3216FSW>(
            kFile, 77, L"Copy( %s, %s )"),
        TwoImagesInt::Of<&KrIpCopy::CopyZoom<u8>, &KrIpCopy::CopyZoom<u16>, &KrIpCopy::CopyZoom<i32>,
                         &KrIpCopy::CopyZoom<float>>(kFile, 114, L"CopyZoom( %s, %s )"),
        TwoImages::Of<&T::CopyL168SW, &KrIpCopy::CopyLow<u8, u16>, &KrIpCopy::CopyLow<u16, i32>>(kFile, 152,
                                                                                                 L"CopyLow( %s, %s )"),
        TwoImages::Of<&KrIpCopy::CopyHigh<u8, u16>, &KrIpCopy::CopyHigh<u16, u8>, &KrIpCopy::CopyHigh<u16, i32>>(
            kFile, 190, L"CopyHigh( %s, %s )"),
        Swap::Of<&KrIpSwap::Swap<u8>, &KrIpSwap::Swap<u16>, &KrIpSwap::Swap<i32>, &KrIpSwap::Swap<float>>(
            kFile, 229, L"Exchange( %s, %s )"),
        Fill::Of<&KrIpSet::Set<u8>, &KrIpSet::Set<u16>, &KrIpSet::Set<float>, &KrIpSet::Set<double>>(
            kFile, 288, L"Clear( %s, %g )"),
        TwoImages::Of<&T::Copy88SWEven>(kFile, 312, L"CopyEven( %s, %s )"),
        BitsKeep::Of<&T::TransferBits88SW, &T::TransferBits168SW, &T::TransferBits816SW, &T::TransferBits1616SW>(
            kFile, 355, L"TransferBits( %s, %s, %ld, %ld )"),
        Bits::Of<&Or<u8, u8>, &Or<u16, u8>, &Or<u8, u16>, &Or<u16, u16>>(kFile, 402,
                                                                         L"TransferBitsWithOr( %s, %s, %ld, %ld )"),
        Bits::Of<&T::TransferBitsWithAnd88SW, &T::TransferBitsWithAnd168SW, &T::TransferBitsWithAnd816SW,
                 &T::TransferBitsWithAnd1616SW>(kFile, 447, L"TransferBitsWithAnd( %s, %s, %ld, %ld )")};
};

namespace {

const auto& [kCopy, kCopyZoom, kCopyLow, kCopyHigh, kExchange, kClear, kCopyEven, kTransferBits, kTransferBitsWithOr,
             kTransferBitsWithAnd] = OperationsOf<KrLTransfer>::all;

}  // namespace

void KrLTransfer::TransferBits(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift) {
    TransferBits(src, dst, mask, shift, 0);
}
void KrLTransfer::TransferBits(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift, int keep) {
    kTransferBits(*this, src, dst, mask, shift, keep);
}
void KrLTransfer::TransferBitsWithOr(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift) {
    kTransferBitsWithOr(*this, src, dst, mask, shift);
}
void KrLTransfer::TransferBitsWithAnd(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift) {
    kTransferBitsWithAnd(*this, src, dst, mask, shift);
}
void KrLTransfer::CopyEven(const KrAOI* src, KrAOI* dst) { kCopyEven(*this, src, dst); }
void KrLTransfer::Copy(const KrAOI* src, KrAOI* dst) { kCopy(*this, src, dst); }
void KrLTransfer::CopyZoom(const KrAOI* src, KrAOI* dst, int averaging) { kCopyZoom(*this, src, dst, averaging); }
void KrLTransfer::CopyLow(const KrAOI* src, KrAOI* dst) { kCopyLow(*this, src, dst); }
void KrLTransfer::CopyHigh(const KrAOI* src, KrAOI* dst) { kCopyHigh(*this, src, dst); }
void KrLTransfer::Exchange(KrAOI* a, KrAOI* b) { kExchange(*this, a, b); }
void KrLTransfer::Clear(KrAOI* dst, double value) { kClear(*this, dst, value); }

void KrLTransfer::CopyL168SW(const KrAOI16* src, KrAOI8* dst) { Convert(src, dst); }
void KrLTransfer::Copy816SW(const KrAOI8* src, KrAOI16* dst) { Convert(src, dst); }
void KrLTransfer::Copy832FSW(const KrAOI8* src, KrAOI32Float* dst) { Convert(src, dst); }
void KrLTransfer::Copy864DSW(const KrAOI8* src, KrAOI64Double* dst) { Convert(src, dst); }
void KrLTransfer::Copy1632FSW(const KrAOI16* src, KrAOI32Float* dst) { Convert(src, dst); }
void KrLTransfer::Copy328FSW(const KrAOI32Float* src, KrAOI8* dst) { Narrow(src, dst); }
void KrLTransfer::Copy3216FSW(const KrAOI32Float* src, KrAOI16* dst) { Narrow(src, dst); }

void KrLTransfer::Copy88SWEven(const KrAOI8* src, KrAOI8* dst) {
    const KrTSize<int> size = CommonRegion(src, dst);
    if (size.cx == 0) return;
    const Route route = RouteOf(Access::eSwitched, src, dst);
    SourceRows<u8> from(src, route, size.cx);
    TargetRows<u8> to(dst, route, size.cx);
    for (int y = 0; y < size.cy; y += 2) {
        std::memmove(to.Row(y), from.Row(y), static_cast<std::size_t>(size.cx));
        to.Finish(y);
    }
}

namespace {
Join ReplaceOrKeep(int keep) { return keep ? Join::eReplaceField : Join::eReplaceAll; }
}  // namespace

void KrLTransfer::TransferBits88SW(const KrAOI8* s, KrAOI8* d, std::int32_t mask, std::int32_t shift, int keep) {
    MoveBits(s, d, mask, shift, ReplaceOrKeep(keep));
}
void KrLTransfer::TransferBits168SW(const KrAOI16* s, KrAOI8* d, std::int32_t mask, std::int32_t shift, int keep) {
    MoveBits(s, d, mask, shift, ReplaceOrKeep(keep));
}
void KrLTransfer::TransferBits816SW(const KrAOI8* s, KrAOI16* d, std::int32_t mask, std::int32_t shift, int keep) {
    MoveBits(s, d, mask, shift, ReplaceOrKeep(keep));
}
void KrLTransfer::TransferBits1616SW(const KrAOI16* s, KrAOI16* d, std::int32_t mask, std::int32_t shift, int keep) {
    MoveBits(s, d, mask, shift, ReplaceOrKeep(keep));
}
void KrLTransfer::TransferBitsWithAnd88SW(const KrAOI8* s, KrAOI8* d, std::int32_t mask, std::int32_t shift) {
    MoveBits(s, d, mask, shift, Join::eAnd);
}
void KrLTransfer::TransferBitsWithAnd168SW(const KrAOI16* s, KrAOI8* d, std::int32_t mask, std::int32_t shift) {
    MoveBits(s, d, mask, shift, Join::eAnd);
}
void KrLTransfer::TransferBitsWithAnd816SW(const KrAOI8* s, KrAOI16* d, std::int32_t mask, std::int32_t shift) {
    MoveBits(s, d, mask, shift, Join::eAnd);
}
void KrLTransfer::TransferBitsWithAnd1616SW(const KrAOI16* s, KrAOI16* d, std::int32_t mask, std::int32_t shift) {
    MoveBits(s, d, mask, shift, Join::eAnd);
}

std::vector<OperationInfo> TransferOperations() { return ListOperations(OperationsOf<KrLTransfer>::all); }

}  // namespace KrN
