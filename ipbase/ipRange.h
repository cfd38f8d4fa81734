#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// The least and the greatest pixel value of a typed image of any pixel type, in every step.x-th column and step.y-th
// row from the first on (steps of 0 or less count as 1), and, with a mask, of the common region where the mask value is
// below 64. NaN does not count; (0, 0) when no pixel does, and for a null image or mask.
class VORIP_API KrIpRange {
public:
    template <class T>
    KrTFloatRange<double> Execute(const KrTAOI<T>* aoi, const KrTPoint<short>& step = {1, 1}) const;
    template <class T>
    KrTFloatRange<double> Execute(const KrTAOI<T>* aoi, const KrAOI8* mask, const KrTPoint<short>& step = {1, 1}) const;
};

}  // namespace KrN
