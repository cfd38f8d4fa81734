#pragma once

#include "measure/absolute.h"
#include "measure/base/spareimages.h"

namespace measure {

// The growth of orders for images that are known to fit, without gaps between their rows. Writes over `trust`; the
// images of the result are taken from those to spare.
GrownOrders GrowOrders(const cv::Mat1f& phase, const cv::Mat1s& order, cv::Mat1b trust, const GrowthOptions& options,
                       SpareImages& spares, const Progress& progress);

}  // namespace measure
