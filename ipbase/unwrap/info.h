#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

// Describes the result of an unwrapper, whose values times `scale` are in the unit of the phase: name and unit come
// from the phase's record, the ranges from the result. The result's own record is created when it has none.
void DescribeUnwrapped(KrAOI& result, const KrAOIInfo& phase, double scale);

}  // namespace KrN
