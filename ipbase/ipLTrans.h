#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Copies with type conversion, filling, bit transfers and exchanges. Two images are processed over their common region;
// source and destination may be the same image unless stated otherwise. Combinations of pixel types that are not listed
// throw KrNotImplementedException (file "C\ipLTrans") before anything is written.
class VORIP_API KrLTransfer {
public:
    KrLTransfer();
    KrLTransfer(const KrLTransfer&);
    KrLTransfer& operator=(const KrLTransfer&);
    virtual ~KrLTransfer();

    // Moves a bit field: with t = (src & mask), shifted left by `shift` bits (right when negative; 32 or more give 0),
    // the destination becomes t, reduced to its width. Types 8 -> 8, 16 -> 8, 8 -> 16, 16 -> 16. The form with `keep`
    // non-zero leaves the destination's bits outside the moved field as they are.
    virtual void TransferBits(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift);
    virtual void TransferBits(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift, int keep);
    // Likewise, but t is ored into the destination.
    virtual void TransferBitsWithOr(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift);
    // Likewise, but the destination's bits inside the moved field are anded with t; those outside stay.
    virtual void TransferBitsWithAnd(const KrAOI* src, KrAOI* dst, std::int32_t mask, std::int32_t shift);

    // Copies the even rows (0, 2, 4, ...: one field of an interlaced picture); the odd rows of the destination stay.
    // Type 8 -> 8.
    virtual void CopyEven(const KrAOI* src, KrAOI* dst);

    // Copies values. Same types (8, 16, 32, F) and widening 8 -> 16, 8 -> F, 8 -> D, 16 -> F are exact. F -> 8 and
    // F -> 16 truncate toward zero and keep the low bits, without clamping: 300.7 becomes 44 in 8 bits; NaN becomes 0.
    virtual void Copy(const KrAOI* src, KrAOI* dst);
    // Reduction to the size of the destination, as KrIpCopy::CopyZoom; same types 8, 16, 32, F.
    virtual void CopyZoom(const KrAOI* src, KrAOI* dst, int averaging);
    // 16 -> 8: the low byte. 8 -> 16, 16 -> 32: the value itself.
    virtual void CopyLow(const KrAOI* src, KrAOI* dst);
    // 16 -> 8: the high byte. 8 -> 16, 16 -> 32: the value << 8.
    virtual void CopyHigh(const KrAOI* src, KrAOI* dst);
    // Exchanges two images of the same type 8, 16, 32 or F; throws when they are the same pixels (see KrIpSwap).
    virtual void Exchange(KrAOI* a, KrAOI* b);
    // Fills the view. 8 and 16: the value truncated toward zero, low bits kept; F: in single precision; D: the value.
    virtual void Clear(KrAOI* dst, double value);

    template <class>
    friend struct OperationsOf;

protected:
    // The kernels, which may be replaced: images are not null and the common region is not empty.
    virtual void CopyL168SW(const KrAOI16* src, KrAOI8* dst);
    virtual void Copy816SW(const KrAOI8* src, KrAOI16* dst);
    virtual void Copy832FSW(const KrAOI8* src, KrAOI32Float* dst);
    virtual void Copy864DSW(const KrAOI8* src, KrAOI64Double* dst);
    virtual void Copy1632FSW(const KrAOI16* src, KrAOI32Float* dst);
    virtual void Copy328FSW(const KrAOI32Float* src, KrAOI8* dst);
    virtual void Copy3216FSW(const KrAOI32Float* src, KrAOI16* dst);
    virtual void Copy88SWEven(const KrAOI8* src, KrAOI8* dst);
    virtual void TransferBits88SW(const KrAOI8* src, KrAOI8* dst, std::int32_t mask, std::int32_t shift, int keep);
    virtual void TransferBits168SW(const KrAOI16* src, KrAOI8* dst, std::int32_t mask, std::int32_t shift, int keep);
    virtual void TransferBits816SW(const KrAOI8* src, KrAOI16* dst, std::int32_t mask, std::int32_t shift, int keep);
    virtual void TransferBits1616SW(const KrAOI16* src, KrAOI16* dst, std::int32_t mask, std::int32_t shift, int keep);
    virtual void TransferBitsWithAnd88SW(const KrAOI8* src, KrAOI8* dst, std::int32_t mask, std::int32_t shift);
    virtual void TransferBitsWithAnd168SW(const KrAOI16* src, KrAOI8* dst, std::int32_t mask, std::int32_t shift);
    virtual void TransferBitsWithAnd816SW(const KrAOI8* src, KrAOI16* dst, std::int32_t mask, std::int32_t shift);
    virtual void TransferBitsWithAnd1616SW(const KrAOI16* src, KrAOI16* dst, std::int32_t mask, std::int32_t shift);
};

}  // namespace KrN
