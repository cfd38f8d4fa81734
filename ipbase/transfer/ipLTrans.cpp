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

constexpr auto kCopy = [](const auto* src, auto* dst) { KrIpCopy().Copy(src, dst); };
constexpr auto kCopyHigh = [](const auto* src, auto* dst) { KrIpCopy().CopyHigh(src, dst); };
constexpr auto kCopyLow = [](const auto* src, auto* dst) { KrIpCopy().CopyLow(src, dst); };
constexpr auto kCopyZoom = [](const auto* src, auto* dst, int averaging) { KrIpCopy().CopyZoom(src, dst, averaging); };
constexpr auto kSwap = [](auto* a, auto* b) { KrIpSwap().Swap(a, b); };
constexpr auto kSet = [](auto* dst, double value) { KrIpSet().Set(dst, value); };

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
    const KrTAOI<D>* old = dst;
    WalkRows(
        Access::eSwitched, [=](D* d, const A* s, const D* o, std::size_t n) { row(d, s, o, bits, n); }, dst, src, old);
}

template <class A, class D>
void Convert(const KrTAOI<A>* src, KrTAOI<D>* dst) {
    WalkRows(Access::eSwitched, std::get<UnaryRow<D, A>>(GetTransferKernels().convert), dst, src);
}

// The narrowing copies reach pixels one by one when they may not be addressed.
template <class D>
void Narrow(const KrAOI32Float* src, KrTAOI<D>* dst) {
    WalkRows<UnaryRow<D, float>, D, float>(Access::eSwitchedPixels,
                                           std::get<UnaryRow<D, float>>(GetTransferKernels().truncate), dst, src);
}

}  // namespace

struct KrLTransfer::Tables {
    static constexpr const wchar_t* kFile = L"C\\ipLTrans";
    using T = KrLTransfer;
    using TwoImages = void(T&, const KrAOI*, KrAOI*);
    using TwoImagesInt = void(T&, const KrAOI*, KrAOI*, int);
    using Bits = void(T&, const KrAOI*, KrAOI*, std::int32_t, std::int32_t);
    using BitsKeep = void(T&, const KrAOI*, KrAOI*, std::int32_t, std::int32_t, int);
    using Swap = void(T&, KrAOI*, KrAOI*);
    using Fill = void(T&, KrAOI*, double);

    template <auto& fn, class A, class D, class... Scalars>
    using Typed = TypedCall<fn, A, D, Scalars...>;

    static constexpr Operation<TwoImages> copy{
        kFile, 77, L"Copy( %s, %s )",
        kRows<TwoImages, Typed<kCopy, KrAOI8, KrAOI8>, KernelCall<&T::Copy816SW>, KernelCall<&T::Copy832FSW>,
              KernelCall<&T::Copy864DSW>, Typed<kCopy, KrAOI16, KrAOI16>, KernelCall<&T::Copy1632FSW>,
              Typed<kCopy, KrAOI32, KrAOI32>, Typed<kCopy, KrAOI32Float, KrAOI32Float>, KernelCall<&T::Copy328FSW>,
              KernelCall<&T::Copy3216FSW>>};
    static constexpr Operation<TwoImagesInt> copyZoom{
        kFile, 114, L"CopyZoom( %s, %s )",
        kRows<TwoImagesInt, Typed<kCopyZoom, KrAOI8, KrAOI8, int>, Typed<kCopyZoom, KrAOI16, KrAOI16, int>,
              Typed<kCopyZoom, KrAOI32, KrAOI32, int>, Typed<kCopyZoom, KrAOI32Float, KrAOI32Float, int>>};
    static constexpr Operation<TwoImages> copyLow{
        kFile, 152, L"CopyLow( %s, %s )",
        kRows<TwoImages, KernelCall<&T::CopyL168SW>, Typed<kCopyLow, KrAOI8, KrAOI16>,
              Typed<kCopyLow, KrAOI16, KrAOI32>>};
    static constexpr Operation<TwoImages> copyHigh{
        kFile, 190, L"CopyHigh( %s, %s )",
        kRows<TwoImages, Typed<kCopyHigh, KrAOI8, KrAOI16>, Typed<kCopyHigh, KrAOI16, KrAOI8>,
              Typed<kCopyHigh, KrAOI16, KrAOI32>>};
    static constexpr Operation<Swap> exchange{
        kFile, 229, L"Exchange( %s, %s )",
        kRows<Swap, Typed<kSwap, KrAOI8, KrAOI8>, Typed<kSwap, KrAOI16, KrAOI16>, Typed<kSwap, KrAOI32, KrAOI32>,
              Typed<kSwap, KrAOI32Float, KrAOI32Float>>};
    static constexpr Operation<Fill> clear{
        kFile, 288, L"Clear( %s, %g )",
        kRows<Fill, TypedCall<kSet, KrAOI8, double>, TypedCall<kSet, KrAOI16, double>,
              TypedCall<kSet, KrAOI32Float, double>, TypedCall<kSet, KrAOI64Double, double>>};
    static constexpr Operation<TwoImages> copyEven{kFile, 312, L"CopyEven( %s, %s )",
                                                   kRows<TwoImages, KernelCall<&T::Copy88SWEven>>};

    static constexpr Operation<BitsKeep> transferBits{
        kFile, 355, L"TransferBits( %s, %s, %ld, %ld )",
        kRows<BitsKeep, KernelCall<&T::TransferBits88SW>, KernelCall<&T::TransferBits168SW>,
              KernelCall<&T::TransferBits816SW>, KernelCall<&T::TransferBits1616SW>>};
    static constexpr auto kOr = [](const auto* src, auto* dst, std::int32_t mask, std::int32_t shift) {
        MoveBits(src, dst, mask, shift, Join::eOr);
    };
    template <class A, class D>
    using Or = TypedCall<kOr, A, D, std::int32_t, std::int32_t>;
    static constexpr Operation<Bits> transferBitsWithOr{
        kFile, 402, L"TransferBitsWithOr( %s, %s, %ld, %ld )",
        kRows<Bits, Or<KrAOI8, KrAOI8>, Or<KrAOI16, KrAOI8>, Or<KrAOI8, KrAOI16>, Or<KrAOI16, KrAOI16>>};
    static constexpr Operation<Bits> transferBitsWithAnd{
        kFile, 447, L"TransferBitsWithAnd( %s, %s, %ld, %ld )",
        kRows<Bits, KernelCall<&T::TransferBitsWithAnd88SW>, KernelCall<&T::TransferBitsWithAnd168SW>,
              KernelCall<&T::TransferBitsWithAnd816SW>, KernelCall<&T::TransferBitsWithAnd1616SW>>};
};

void KrLTransfer::TransferBits(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift) {
    TransferBits(src, dst, mask, shift, 0);
}
void KrLTransfer::TransferBits(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift, int keep) {
    Tables::transferBits(*this, src, dst, mask, shift, keep);
}
void KrLTransfer::TransferBitsWithOr(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift) {
    Tables::transferBitsWithOr(*this, src, dst, mask, shift);
}
void KrLTransfer::TransferBitsWithAnd(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift) {
    Tables::transferBitsWithAnd(*this, src, dst, mask, shift);
}
void KrLTransfer::CopyEven(const KrAOI* src, KrAOI* dst) { Tables::copyEven(*this, src, dst); }
void KrLTransfer::Copy(const KrAOI* src, KrAOI* dst) { Tables::copy(*this, src, dst); }
void KrLTransfer::CopyZoom(const KrAOI* src, KrAOI* dst, int averaging) {
    Tables::copyZoom(*this, src, dst, averaging);
}
void KrLTransfer::CopyLow(const KrAOI* src, KrAOI* dst) { Tables::copyLow(*this, src, dst); }
void KrLTransfer::CopyHigh(const KrAOI* src, KrAOI* dst) { Tables::copyHigh(*this, src, dst); }
void KrLTransfer::Exchange(KrAOI* a, KrAOI* b) { Tables::exchange(*this, a, b); }
void KrLTransfer::Clear(KrAOI* dst, double value) { Tables::clear(*this, dst, value); }

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
    const bool direct = AllowsDirect(Access::eSwitched) && HaveRowPointers(src, dst);
    KrTBuf1D<u8> line(static_cast<std::size_t>(size.cx));
    for (int y = 0; y < size.cy; y += 2) {
        if (direct) {
            std::memmove(dst->GetRowPointer(y), src->GetRowPointer(y), line.Size());
            continue;
        }
        src->ReadRow(y, walk::Columns(size.cx), line);
        dst->WriteRow(y, walk::Columns(size.cx), line);
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

std::vector<OperationInfo> TransferOperations() {
    using T = KrLTransfer::Tables;
    return {T::copy.Info(),
            T::copyZoom.Info(),
            T::copyLow.Info(),
            T::copyHigh.Info(),
            T::exchange.Info(),
            T::clear.Info(),
            T::copyEven.Info(),
            T::transferBits.Info(),
            T::transferBitsWithOr.Info(),
            T::transferBitsWithAnd.Info()};
}

}  // namespace KrN
