#pragma once

#include "measure/absolute.h"

namespace measure {

// The decision of orders into images that, where they have the size, are written over.
void DecideOrders(const std::vector<PhaseSet>& sets, const OrderRange& range, double noise, OrderDecision& decision,
                  const Progress& progress);

}  // namespace measure
