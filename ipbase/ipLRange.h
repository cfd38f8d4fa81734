#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

class VORIP_API KrLGreyScaleRange {
public:
    KrLGreyScaleRange();
    KrLGreyScaleRange(const KrLGreyScaleRange&);
    KrLGreyScaleRange& operator=(const KrLGreyScaleRange&);
    virtual ~KrLGreyScaleRange();

    // The least and greatest value of the view, visiting every step.x-th column and step.y-th row from the first on
    // (steps of 0 or less count as 1). All pixel types. NaN does not count; (0, 0) when nothing is found. Throws
    // KrNotImplementedException (file "C\ipLRange", line 61) for a null image.
    virtual KrTFloatRange<double> Scan(const KrAOI* aoi, const KrTPoint<short>& step);

    template <class>
    friend struct OperationsOf;

protected:
    // The kernels, which may be replaced: images are not null and the common region is not empty.
    virtual KrTFloatRange<double> ScanRange8SW(const KrAOI8* aoi, const KrTPoint<short>& step);
    virtual KrTFloatRange<double> ScanRange16SW(const KrAOI16* aoi, const KrTPoint<short>& step);
    virtual KrTFloatRange<double> ScanRange32SW(const KrAOI32* aoi, const KrTPoint<short>& step);
    virtual KrTFloatRange<double> ScanRange32FSW(const KrAOI32Float* aoi, const KrTPoint<short>& step);
    virtual KrTFloatRange<double> ScanRange64DSW(const KrAOI64Double* aoi, const KrTPoint<short>& step);
};

}  // namespace KrN
