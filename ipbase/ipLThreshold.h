#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Replaces the pixels above, below, inside or outside of thresholds by a constant and copies the others, over the
// common region of source and destination, in place if wanted. 8 -> 8, NotBetween also 16 -> 16; other pixel types
// throw KrNotImplementedException (file "C\ipLThreshold") before anything is written.
//
// Thresholds are in grey values and may lie outside the pixels' range; they are truncated toward zero unless stated
// otherwise, and NaN counts as 0. The new value v is truncated toward zero and keeps its low bits.
class VORIP_API KrLThreshold {
public:
    KrLThreshold();
    KrLThreshold(const KrLThreshold&);
    KrLThreshold& operator=(const KrLThreshold&);
    virtual ~KrLThreshold();

    // Pixels at or above trunc(t) become v.
    virtual void High(const KrAOI* src, KrAOI* dst, double t, double v);
    // Pixels at or below trunc(t) become v; a negative threshold replaces nothing. A pixel exactly at the threshold
    // belongs to both sides.
    virtual void Low(const KrAOI* src, KrAOI* dst, double t, double v);
    // Pixels from trunc(lower) up to the last grey value that is not above `upper` become v; none when lower > upper.
    virtual void Between(const KrAOI* src, KrAOI* dst, const KrTFloatRange<double>& band, double v);
    // 8 bits: the pixels that Between keeps become v. 16 bits: pixels below trunc(lower) or above trunc(upper) do.
    virtual void NotBetween(const KrAOI* src, KrAOI* dst, const KrTFloatRange<double>& band, double v);

    template <class>
    friend struct OperationsOf;

protected:
    // The kernels, which may be replaced: images are not null and the common region is not empty.
    virtual void ThreshHigh8SW(const KrAOI8* src, KrAOI8* dst, double t, double v);
    virtual void ThreshLow8SW(const KrAOI8* src, KrAOI8* dst, double t, double v);
    virtual void ThreshBetween8SW(const KrAOI8* src, KrAOI8* dst, double lower, double upper, double v);
    virtual void ThreshNotBetween8SW(const KrAOI8* src, KrAOI8* dst, double lower, double upper, double v);
    virtual void ThreshNotBetween16SW(const KrAOI16* src, KrAOI16* dst, double lower, double upper, double v);
};

}  // namespace KrN
