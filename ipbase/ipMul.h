#pragma once

#include "imagemodel/kraoi.h"
#include "ipbase/ipTypes.h"

// Typed products of an image and a constant, over the common region, in place if wanted. Products are formed in double
// precision. Other combinations of pixel types do not compile. A read-only destination throws KrException before
// anything is written, a null image makes the operation do nothing; nothing else is thrown.
namespace KrN {

// 8 -> 8, 8 -> 16, 16 -> 8, 16 -> 16: trunc(a * c + 0.5), clipped to the destination's range. 8 -> F, F -> F: a * c.
class VORIP_API KrIpMul {
public:
    using Forms = KrIntegerForms::And<KrPixels<std::uint8_t, float>, KrPixels<float, float>>;

    template <class A, class D>
    void Execute(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        KrRequireListed<Forms, A, D>();
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
    using Forms = KrIntegerForms;

    template <class A, class D>
    void Execute(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        KrRequireListed<Forms, A, D>();
        MulMod(a, c, dst);
    }

protected:
    template <class A, class D>
    void MulMod(const KrTAOI<A>* a, double c, KrTAOI<D>* dst);
};

}  // namespace KrN
