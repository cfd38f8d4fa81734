#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Minimum and maximum per pixel, over the common region; the destination may be one of the sources. Pixel types
// 8, 8 -> 8 and 16, 16 -> 16, with a constant 8 -> 8 and 16 -> 16; others throw KrNotImplementedException (file
// "C\ipLMinMax") before anything is written. The constant is rounded, trunc(c + 0.5), and limited to the pixels' range.
class VORIP_API KrLMinMax {
public:
    KrLMinMax();
    KrLMinMax(const KrLMinMax&);
    KrLMinMax& operator=(const KrLMinMax&);
    virtual ~KrLMinMax();

    // The lesser and the greater one.
    virtual void Min(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void Min(const KrAOI* a, double c, KrAOI* dst);
    virtual void Max(const KrAOI* a, const KrAOI* b, KrAOI* dst);
    virtual void Max(const KrAOI* a, double c, KrAOI* dst);

    template <class>
    friend struct OperationsOf;

    // The constant forms for integers, whatever their type: also a literal 0, which is no null image.
    template <class Int, KrIfIntegral<Int> = 0>
    void Min(const KrAOI* a, Int c, KrAOI* dst) {
        Min(a, static_cast<double>(c), dst);
    }
    template <class Int, KrIfIntegral<Int> = 0>
    void Max(const KrAOI* a, Int c, KrAOI* dst) {
        Max(a, static_cast<double>(c), dst);
    }

protected:
    // The kernels, which may be replaced: images are not null and the common region is not empty.
    virtual void Min888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst);
    virtual void Min161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst);
    virtual void Min8d8SW(const KrAOI8* a, double c, KrAOI8* dst);
    virtual void Min16d16SW(const KrAOI16* a, double c, KrAOI16* dst);
    virtual void Max888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst);
    virtual void Max161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst);
    virtual void Max8d8SW(const KrAOI8* a, double c, KrAOI8* dst);
    virtual void Max16d16SW(const KrAOI16* a, double c, KrAOI16* dst);
};

}  // namespace KrN
