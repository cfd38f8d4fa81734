#pragma once

#include "imagemodel/kraoi.h"

// Typed products of an image and a constant, over the common region, in place if wanted. Products are formed in double
// precision. Nothing is thrown.
namespace KrN {

// 8 -> 8, 8 -> 16, 16 -> 8, 16 -> 16: trunc(a * c + 0.5), clipped to the destination's range. 8 -> F, F -> F: a * c.
class VORIP_API KrIpMul {
public:
    template <class A, class D>
    void Execute(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        Mul(a, c, dst);
    }

protected:
    template <class A, class D>
    void Mul(const KrTAOI<A>* a, double c, KrTAOI<D>* dst);
};

// 8 -> 8, 8 -> 16, 16 -> 8, 16 -> 16: floor(a * c + 0.5) modulo the destination's range; 0 for products that are not
// finite. 16 -> 16 with c = -1 is the negation of a wrapped phase.
class VORIP_API KrIpMulMod {
public:
    template <class A, class D>
    void Execute(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        MulMod(a, c, dst);
    }

protected:
    template <class A, class D>
    void MulMod(const KrTAOI<A>* a, double c, KrTAOI<D>* dst);
};

}  // namespace KrN
