#pragma once

#include "measure/absolute.h"
#include "measure/absolute/decodestate.h"

namespace measure {

// What the pixels say of their orders by themselves, some neighbours being asked where noise leaves doubt.
struct OwnOrders {
    cv::Mat1s order;
    cv::Mat1b trust;        // the values of Trust
    cv::Mat1b reliability;  // 255 certain, 0 a guess
    cv::Mat1b clear;        // 255 where noise leaves no doubt
    cv::Mat1f deviations;   // see MisfitOf, of the pixels of a TileGrid; the root
};

// Decides the orders of the finest set, whose phases above its origin are given, and how far they are to be trusted.
OwnOrders DecideOwnOrders(DecodeState& state, const cv::Mat1f& fine, const Progress& progress);

}  // namespace measure
