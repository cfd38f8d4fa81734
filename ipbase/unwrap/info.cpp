#include "ipbase/unwrap/info.h"

#include "ipbase/ipLRange.h"

namespace KrN {

void DescribeUnwrapped(KrAOI& result, const KrAOIInfo& phase, double scale) {
    if (!result.GetAOIInfo()) result.AdoptAOIInfo(std::make_unique<KrAOIInfo>());
    KrAOIInfo described = phase;
    described.name.SPrintf(L"Unwrapped %s", phase.name.IsEmpty() ? KrString(L"phase") : phase.name);
    described.valueOffset = 0.0;
    described.valueScale = scale;
    described.range = described.fullRange = KrLGreyScaleRange().Scan(&result, {1, 1});
    described.rangeValid = true;
    described.factor3 = described.factor4 = 1.0;
    described.text = L"";
    *result.GetAOIInfo() = described;
}

}  // namespace KrN
