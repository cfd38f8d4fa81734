#pragma once

#include "imagemodel/kraoi.h"
#include "ipbase/ipTypes.h"

// Typed filling and copying, over the common region of source and destination. Null images make an operation do
// nothing, a read-only destination throws KrException before anything is written, and other combinations of pixel types
// than those listed do not compile.
namespace KrN {

class VORIP_API KrIpSet {
public:
    // Every pixel of the view becomes the constant: truncated toward zero and reduced to the low bits for the integer
    // types (8, 16, 32), the constant in the type's precision for F and D.
    template <class T>
    void Set(KrTAOI<T>* dst, double value);
};

class VORIP_API KrIpCopy {
public:
    // The same pixel type: 8, 16, 32, F, D.
    template <class T>
    void Copy(const KrTAOI<T>* src, KrTAOI<T>* dst);

    // 8 -> 16 and 16 -> 32: a << 8 (in both). 16 -> 8: the high byte.
    template <class A, class D>
    void CopyHigh(const KrTAOI<A>* src, KrTAOI<D>* dst) {
        using Listed = KrCombinations<KrPixels<std::uint8_t, std::uint16_t>, KrPixels<std::uint16_t, std::int32_t>,
                                      KrPixels<std::uint16_t, std::uint8_t>>;
        KrRequireListed<Listed, A, D>();
        MoveHigh(src, dst);
    }

    // 8 -> 16 and 16 -> 32: the value itself.
    template <class A, class D>
    void CopyLow(const KrTAOI<A>* src, KrTAOI<D>* dst) {
        using Listed = KrCombinations<KrPixels<std::uint8_t, std::uint16_t>, KrPixels<std::uint16_t, std::int32_t>>;
        KrRequireListed<Listed, A, D>();
        MoveLow(src, dst);
    }

    // Reduces the source view to the destination view; types 8, 16, 32, F. With the scale factors rx and ry (source
    // size / destination size, at least 1), destination pixel (x, y) stands for the source columns floor(x rx) to
    // floor((x + 1) rx) - 1 and the rows likewise. With averaging it becomes their mean (sum / count, truncated for
    // integers), without, the first pixel of the block. Returns without effect when a size is 0.
    // Throws KrNotImplementedException when source and destination share pixels ("CopyZoom( pSrc == pDest )", line 250)
    // or when a factor is below 1 ("CopyZoom( pSrc < pDest )", line 325).
    template <class T>
    void CopyZoom(const KrTAOI<T>* src, KrTAOI<T>* dst, int averaging) {
        KrRequireListed<KrAllButDouble, T>();
        Reduce(src, dst, averaging);
    }

protected:
    template <class A, class D>
    void MoveHigh(const KrTAOI<A>* src, KrTAOI<D>* dst);
    template <class A, class D>
    void MoveLow(const KrTAOI<A>* src, KrTAOI<D>* dst);
    template <class T>
    void Reduce(const KrTAOI<T>* src, KrTAOI<T>* dst, int averaging);
};

}  // namespace KrN
