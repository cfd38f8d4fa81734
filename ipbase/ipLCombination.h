#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Two images put together, over the common region of all operands; the destination may be one of the sources. Pixel
// types that are not listed throw KrNotImplementedException (file "C\ipLCombination") before anything is written.
class VORIP_API KrLCombination {
public:
    KrLCombination();
    KrLCombination(const KrLCombination&);
    KrLCombination& operator=(const KrLCombination&);
    virtual ~KrLCombination();

    // dst(x + dx, y + dy) = src(x, y) where that lies in the destination and the source's mask value is below 64 (null:
    // no mask; pixels beyond a smaller mask count as its nearest one). Same types 8, 16, 32, F, D; line 50.
    void Insert(const KrAOI* src, KrAOI* dst, int dx, int dy, const KrAOI8* mask = nullptr);
    // a where the mask value is below 64, else b. Same types 8, 16, 32, F, D with an 8-bit mask; line 90.
    void Select(const KrAOI* a, const KrAOI* b, const KrAOI* mask, KrAOI* dst);
    // (a (255 - w) + b w) / 255, rounded (half up) for integers. Same types 8, 16, F, D with 8-bit weights; line 130.
    void Blend(const KrAOI* a, const KrAOI* b, const KrAOI* weight, KrAOI* dst);
    // a, but b * gain where a >= saturation: b is the shorter exposure. Integers are rounded (half up) and limited to
    // the type of the destination. 8 8 -> 8, 16 or F, 16 16 -> 16 or F, F F -> F; line 170. Throws KrException when
    // saturation or gain is NaN.
    void MergeExposures(const KrAOI* a, const KrAOI* b, double saturation, double gain, KrAOI* dst);

    template <class>
    friend struct OperationsOf;

protected:
    virtual void Insert88SW(const KrAOI8*, KrAOI8*, int dx, int dy, const KrAOI8* mask);
    virtual void Insert1616SW(const KrAOI16*, KrAOI16*, int dx, int dy, const KrAOI8* mask);
    virtual void Insert3232SW(const KrAOI32*, KrAOI32*, int dx, int dy, const KrAOI8* mask);
    virtual void InsertFFSW(const KrAOI32Float*, KrAOI32Float*, int dx, int dy, const KrAOI8* mask);
    virtual void InsertDDSW(const KrAOI64Double*, KrAOI64Double*, int dx, int dy, const KrAOI8* mask);
    virtual void Select888SW(const KrAOI8*, const KrAOI8*, const KrAOI8* mask, KrAOI8*);
    virtual void Select161616SW(const KrAOI16*, const KrAOI16*, const KrAOI8* mask, KrAOI16*);
    virtual void Select323232SW(const KrAOI32*, const KrAOI32*, const KrAOI8* mask, KrAOI32*);
    virtual void SelectFFFSW(const KrAOI32Float*, const KrAOI32Float*, const KrAOI8* mask, KrAOI32Float*);
    virtual void SelectDDDSW(const KrAOI64Double*, const KrAOI64Double*, const KrAOI8* mask, KrAOI64Double*);
    virtual void Blend888SW(const KrAOI8*, const KrAOI8*, const KrAOI8* weight, KrAOI8*);
    virtual void Blend161616SW(const KrAOI16*, const KrAOI16*, const KrAOI8* weight, KrAOI16*);
    virtual void BlendFFFSW(const KrAOI32Float*, const KrAOI32Float*, const KrAOI8* weight, KrAOI32Float*);
    virtual void BlendDDDSW(const KrAOI64Double*, const KrAOI64Double*, const KrAOI8* weight, KrAOI64Double*);
    virtual void MergeExposures888SW(const KrAOI8*, const KrAOI8*, double saturation, double gain, KrAOI8*);
    virtual void MergeExposures8816SW(const KrAOI8*, const KrAOI8*, double saturation, double gain, KrAOI16*);
    virtual void MergeExposures88FSW(const KrAOI8*, const KrAOI8*, double saturation, double gain, KrAOI32Float*);
    virtual void MergeExposures161616SW(const KrAOI16*, const KrAOI16*, double saturation, double gain, KrAOI16*);
    virtual void MergeExposures1616FSW(const KrAOI16*, const KrAOI16*, double saturation, double gain, KrAOI32Float*);
    virtual void MergeExposuresFFFSW(const KrAOI32Float*, const KrAOI32Float*, double saturation, double gain,
                                     KrAOI32Float*);
};

}  // namespace KrN
