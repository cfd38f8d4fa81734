#pragma once

#include "imagemodel/kraoi.h"
#include "ipbase/ipTypes.h"

// Typed sums and differences. Every operation works on the common region of its operands (the least width and height,
// each image from its own top-left pixel) and may be called with the destination equal to a source. Unless stated
// otherwise the pixel types of two image sources and the destination are
//     8, 8 -> 8   8, 8 -> 16   8, 16 -> 16   16, 8 -> 16   16, 16 -> 16
// and those of an image, a constant and the destination
//     8 -> 8   8 -> 16   16 -> 8   16 -> 16.
// Modulo operations wrap at the range of the destination, which is one period of a phase held in it; clipping
// operations stop at its ends. Other combinations do not compile. A read-only destination throws KrException before
// anything is written, a null image makes the operation do nothing; nothing else is thrown.
namespace KrN {

// Sum, clipped at the top; plain for 8, F -> F, 16, F -> F, F, F -> F and D, D -> D. A constant is rounded,
// floor(c + 0.5), for integer images; for F -> F it is added as it is.
class VORIP_API KrIpAdd {
public:
    using Pairs = KrIntegerPairs::And<KrPixels<std::uint8_t, float, float>, KrPixels<std::uint16_t, float, float>,
                                      KrPixels<float, float, float>, KrPixels<double, double, double>>;
    using Forms = KrIntegerForms::And<KrPixels<float, float>>;

    template <class A, class B, class D>
    void Execute(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        KrRequireListed<Pairs, A, B, D>();
        Sum(a, b, dst);
    }
    template <class A, class D>
    void Execute(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        KrRequireListed<Forms, A, D>();
        Sum(a, c, dst);
    }

    // The same.
    template <class A, class B, class D>
    void Add(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        Execute(a, b, dst);
    }
    template <class A, class D>
    void Add(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        Execute(a, c, dst);
    }

protected:
    template <class A, class B, class D>
    void Sum(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst);
    template <class A, class D>
    void Sum(const KrTAOI<A>* a, double c, KrTAOI<D>* dst);
};

// Sum modulo the destination's range. A constant becomes k = floor(c + 0.5), reduced to 8 bits when both images are
// 8-bit and to 16 bits otherwise. When k is then 0 nothing at all is written, also when source and destination differ.
class VORIP_API KrIpAddMod {
public:
    using Pairs = KrIntegerPairs;
    using Forms = KrIntegerForms;

    template <class A, class B, class D>
    void Execute(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        KrRequireListed<Pairs, A, B, D>();
        SumMod(a, b, dst);
    }
    template <class A, class D>
    void Execute(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        KrRequireListed<Forms, A, D>();
        SumMod(a, c, dst);
    }

    // The same.
    template <class A, class B, class D>
    void AddMod(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        Execute(a, b, dst);
    }
    template <class A, class D>
    void AddMod(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        Execute(a, c, dst);
    }

protected:
    template <class A, class B, class D>
    void SumMod(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst);
    template <class A, class D>
    void SumMod(const KrTAOI<A>* a, double c, KrTAOI<D>* dst);
};

// Mean of two images, floor((a + b) / 2); the sum does not wrap.
class VORIP_API KrIpAddModDiv2 {
public:
    using Pairs = KrIntegerPairs;

    template <class A, class B, class D>
    void Execute(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        KrRequireListed<Pairs, A, B, D>();
        Mean(a, b, dst);
    }

    // The same.
    template <class A, class B, class D>
    void AddModDiv2(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        Execute(a, b, dst);
    }

protected:
    template <class A, class B, class D>
    void Mean(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst);
};

// Difference, clipped at 0 (and at 255 for 16 - c -> 8); plain for F, 8 -> F, F, 16 -> F, F, F -> F and D, D -> D.
// Constants as for KrIpAdd.
class VORIP_API KrIpSub {
public:
    using Pairs = KrIntegerPairs::And<KrPixels<float, std::uint8_t, float>, KrPixels<float, std::uint16_t, float>,
                                      KrPixels<float, float, float>, KrPixels<double, double, double>>;
    using Forms = KrIntegerForms::And<KrPixels<float, float>>;

    template <class A, class B, class D>
    void Execute(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        KrRequireListed<Pairs, A, B, D>();
        Sub(a, b, dst);
    }
    template <class A, class D>
    void Execute(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        KrRequireListed<Forms, A, D>();
        Sub(a, c, dst);
    }

protected:
    template <class A, class B, class D>
    void Sub(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst);
    template <class A, class D>
    void Sub(const KrTAOI<A>* a, double c, KrTAOI<D>* dst);
};

// Difference modulo the destination's range; plain for D, D -> D and D, c -> D. Constants are rounded as for
// KrIpAddMod; a constant of 0 is a copy.
class VORIP_API KrIpSubMod {
public:
    using Pairs = KrIntegerPairs::And<KrPixels<double, double, double>>;
    using Forms = KrIntegerForms::And<KrPixels<double, double>>;

    template <class A, class B, class D>
    void Execute(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        KrRequireListed<Pairs, A, B, D>();
        SubMod(a, b, dst);
    }
    template <class A, class D>
    void Execute(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
        KrRequireListed<Forms, A, D>();
        SubMod(a, c, dst);
    }

protected:
    template <class A, class B, class D>
    void SubMod(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst);
    template <class A, class D>
    void SubMod(const KrTAOI<A>* a, double c, KrTAOI<D>* dst);
};

// Centred half difference of two wrapped phases, so that equal phases map to mid-range. 8-bit destinations get
// (a - b) / 2 truncated toward zero, plus 128, modulo 256. 16-bit destinations get the half *sum*,
// ((a + b) >> 1) + 32768 modulo 65536, when all operands have addressable pixels, and the half difference, truncated
// toward zero, plus 32768 when not.
class VORIP_API KrIpSubShiftCenter {
public:
    using Pairs = KrIntegerPairs;

    template <class A, class B, class D>
    void Execute(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        KrRequireListed<Pairs, A, B, D>();
        SubShiftCenter(a, b, dst);
    }

protected:
    template <class A, class B, class D>
    void SubShiftCenter(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst);
};

// |a - b|; also F, F -> F.
class VORIP_API KrIpAbsDiff {
public:
    using Pairs = KrIntegerPairs::And<KrPixels<float, float, float>>;

    template <class A, class B, class D>
    void Execute(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
        KrRequireListed<Pairs, A, B, D>();
        AbsDiff(a, b, dst);
    }

protected:
    template <class A, class B, class D>
    void AbsDiff(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst);
};

}  // namespace KrN
