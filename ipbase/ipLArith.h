#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Point arithmetic on images of any supported pixel types. Images are processed over their common region (the least
// width and height, each from its own top-left pixel), and the destination may be one of the sources.
//
// Pixel types, unless stated otherwise: two sources and destination 8, 8 -> 8; 8, 8 -> 16; 8, 16 -> 16; 16, 8 -> 16;
// 16, 16 -> 16 ("the integer pairs"); source and destination of the constant forms 8 -> 8; 8 -> 16; 16 -> 8; 16 -> 16
// ("the integer forms"). Any other combination throws KrNotImplementedException (file "C\ipLArith") before anything is
// written; its text names the operation, the images and the constant. What each result is, is said at the typed classes
// (ipArith.h, ipMul.h). A negative constant of an additive form is negated and handed to the opposite operation.
class VORIP_API KrLArithmetic {
public:
    KrLArithmetic();
    KrLArithmetic(const KrLArithmetic&);
    KrLArithmetic& operator=(const KrLArithmetic&);
    virtual ~KrLArithmetic();

    // Modulo sum and difference (one period of a phase = the destination's range). Also the plain sums 8, F -> F;
    // 16, F -> F; F, F -> F, the plain differences F, 8 -> F; F, 16 -> F; F, F -> F, and the plain F -> F with a
    // constant. Adding a constant that rounds to a multiple of the range writes nothing (KrIpAddMod).
    virtual void AddModulo(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void AddModulo(const KrAOI* a, double c, KrAOI* dst);
    virtual void SubModulo(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void SubModulo(const KrAOI* a, double c, KrAOI* dst);

    // Clipped sum and difference.
    virtual void AddClip(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void AddClip(const KrAOI* a, double c, KrAOI* dst);
    virtual void SubClip(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void SubClip(const KrAOI* a, double c, KrAOI* dst);

    // Mean, floor((a + b) / 2).
    virtual void AddDiv2(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    // Centred half difference (KrIpSubShiftCenter).
    virtual void SubBoc(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    // |a - b|; also F, F -> F.
    virtual void SubAbs(const KrAOI* a, const KrAOI* b, KrAOI* dst);

    // Rounded products: modulo (also the plain 8 -> F and F -> F) and clipped. A factor of exactly 1 between images of
    // the same type is KrLTransfer::Copy, with its pixel types and errors.
    virtual void MultiplyModulo(const KrAOI* a, double c, KrAOI* dst);
    virtual void MultiplyClip(const KrAOI* a, double c, KrAOI* dst);
    // Products with 1 / c. Throw KrFloatDivideByZeroException (lines 799 and 822) when |c| < 2.220446049250313e-16.
    virtual void DivideModulo(const KrAOI* a, double c, KrAOI* dst);
    virtual void DivideClip(const KrAOI* a, double c, KrAOI* dst);

    // KrLTransfer::Clear.
    virtual void Clear(KrAOI* dst, double value);

    // Stretches the range of the source onto low..high, F -> F, in single precision: (v - least) * factor + low, where
    // factor = (high - low) / (greatest - least), or 0 when that range is below the smallest normal float. An image
    // without values below the largest float, or whose greatest value is the largest float, stays unscaled: nothing is
    // written. NaN does not count for the range.
    virtual void Scale(const KrAOI* src, KrAOI* dst, double low, double high);
    // The same in double precision. 8 -> 8: the result is truncated, low bits kept. F -> F: in single precision. A
    // constant image becomes `low`.
    virtual void AbsScale(const KrAOI* src, KrAOI* dst, double low, double high);
    // `low` where the value is below the threshold, else `high`. 8 -> 8: the threshold is trunc(min(t + 0.5, 255.5)),
    // low 8 bits, so that a threshold of 255 or more still sends 255 to high; low and high are
    // trunc(clamp(v + 0.5, 0, 255.5)). F -> F: all three in single precision; NaN becomes `high`.
    virtual void Binarize(const KrAOI* src, KrAOI* dst, double threshold, double low, double high);
    // Centred difference of two wrapped phases at full scale, 8, 8 -> 8: a - b + 128 modulo 256.
    virtual void SubBoc2(const KrAOI* a, const KrAOI* b, KrAOI* dst);

    template <class>
    friend struct OperationsOf;

    // The constant forms for integers, whatever their type: also a literal 0, which is no null image.
    template <class Int, KrIfIntegral<Int> = 0>
    void AddModulo(const KrAOI* a, Int c, KrAOI* dst) {
        AddModulo(a, static_cast<double>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void SubModulo(const KrAOI* a, Int c, KrAOI* dst) {
        SubModulo(a, static_cast<double>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void AddClip(const KrAOI* a, Int c, KrAOI* dst) {
        AddClip(a, static_cast<double>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void SubClip(const KrAOI* a, Int c, KrAOI* dst) {
        SubClip(a, static_cast<double>(c), dst);
    }

protected:
    // The kernels, which may be replaced: images are not null and the common region is not empty.
    virtual void ScaleFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double low, double high);
    virtual void AbsScale88SW(const KrAOI8* src, KrAOI8* dst, double low, double high);
    virtual void AbsScaleFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double low, double high);
    virtual void Binarize88SW(const KrAOI8* src, KrAOI8* dst, double threshold, double low, double high);
    virtual void BinarizeFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double threshold, double low, double high);
    virtual void SubBoc2_888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst);
};

}  // namespace KrN
