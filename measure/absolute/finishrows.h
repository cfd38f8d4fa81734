#pragma once

#include <algorithm>

#include "measure/absolute/decodestate.h"

namespace measure {

// A code whose second-smallest margin is below this is hardly read.
constexpr float kLeastMargin = 0.2f;

// By how many squared deviations the sets do not fit to an order that was decided: its cost, of which a decision keeps
// the share in the two roots and the lead.
inline float MisfitOf(float residual, float lead) {
    const float share = std::min(residual, 0.499f);
    return lead * share * share / (1 - 2 * share);
}

// The order of the finest set that a code predicts in every pixel: that of the middle of the cell.
cv::Mat1f PredictOrders(const cv::Mat1w& code, const GrayCode& gray, const cv::Mat1f& phase, double period);

// The tiles of 64 x 64 pixels in which more than a hundredth of the usable pixels have a lead below a limit.
std::vector<cv::Rect> FindDoubtfulTiles(const cv::Mat1f& lead, float limit, const cv::Mat1b& usable);

// Takes another decision where `where` is not 0; the phase that it was made for may be a whole period from ours.
void ReplaceDecision(OrderDecision& decision, const OrderDecision& other, const cv::Mat1b& where,
                     const cv::Mat1f& otherPhase, const cv::Mat1f& phase);

// Orders found modulo `count` lie between 0 and count - 1. Those whose position would lie before the first projector
// pixel belong to its last ones.
void OpenRing(const cv::Mat1f& phase, double period, double length, int count, cv::Mat1s& order);

// A band of rows of the finest set above its origin, and what was decided about it.
struct DecidedRows {
    cv::Mat1f phase;
    cv::Mat1b usable;
    cv::Mat1f margin;  // of a code, empty without one
    OrderRange range;
    OrderDecision decision;
};

// The values of Trust that decision and code deserve.
void MarkTrusted(const DecodeState& state, const DecidedRows& rows, cv::Mat1b& trust);

// 255 times the probability that an order is right.
void RateOrders(const OrderDecision& decision, bool isCoded, cv::Mat1b& reliability);

// Coordinates and the figures of the result, whose phase is yet that above the origin and whose reliability that of all
// pixels.
void FinishResult(DecodeState& state);

}  // namespace measure
