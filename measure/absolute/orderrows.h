#pragma once

#include "measure/absolute.h"

namespace measure {

// Possible orders of a pixel, which are held in 16 bits.
inline constexpr int kMostOrders = 32767;

// The decision of orders into images that, where they have the size, are written over.
void DecideOrders(const std::vector<PhaseSet>& sets, const OrderRange& range, double noise, OrderDecision& decision,
                  const Progress& progress);

}  // namespace measure
