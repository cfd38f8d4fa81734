#pragma once

#include "imagemodel/kraoi.h"
#include "imagemodel/krlut.h"

namespace KrN {

// Mapping through look-up tables, over the common region of the images, in place if wanted. Other pixel types, and null
// images or tables, throw KrNotImplementedException (file "C\ipLMapLut") before anything is written.
class VORIP_API KrLMapLut {
public:
    KrLMapLut();
    KrLMapLut(const KrLMapLut&);
    KrLMapLut& operator=(const KrLMapLut&);
    virtual ~KrLMapLut();

    // dst = lut[src], 8 -> 8.
    virtual void MapLut8(const KrAOI* src, KrAOI* dst, const KrMapLut1x8* lut);
    // dst = lut[a, b], 8, 8 -> 8; which element that is, is said at KrLut88_8.
    virtual void MapLut16(const KrAOI* a, const KrAOI* b, KrAOI* dst, const KrMapLut88_8* lut);

    template <class>
    friend struct OperationsOf;

protected:
    // The kernels, which may be replaced: images are not null and the common region is not empty.
    virtual void MapLut88L8SW(const KrAOI8* src, KrAOI8* dst, const KrMapLut1x8* lut);
    virtual void MapLut888L16SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst, const KrMapLut88_8* lut);
};

}  // namespace KrN
