#pragma once

#include <vector>

#include "measure/fringe.h"

namespace measure {

using Levels = std::vector<double>;  // of one pixel in all frames
Levels LevelsAt(const std::vector<cv::Mat>& frames, int y, int x);

// The levels of about so many usable pixels, evenly spread, without a rhythm that fringes could have.
std::vector<Levels> SampleLevels(const FringeSet& set, const FringePhase& phase, int count = 5000);

// One row for each shift: what A, C = B cos(phase) and S = B sin(phase) add to a frame.
cv::Mat1d FunctionsOf(const std::vector<double>& shifts);

// What remains when the frames are fitted by A + B cos(phase + shift) in another order than they are given in.
// Without pixels all orders fit.
class OrderFit {
public:
    OrderFit(const std::vector<double>& shifts, const std::vector<Levels>& pixels);
    // The rms in grey levels; order[k] is the frame that stands in place k.
    double Rms(const std::vector<int>& order) const;
    int Count() const { return mRest.rows; }  // of the frames

private:
    cv::Mat1d mRest;      // what is left of the frames beside the fit
    cv::Mat1d mProducts;  // mean products of the frames
};

// Two frames of a set, from 0; -1 for none.
struct FramePair {
    int a = -1, b = -1;
};

// Another order is a better one when it lowers the rms of the fit's residual to less than this share; orders do as well
// as the best one up to this many times its rms.
inline constexpr double kBetterOrder = 0.9, kAsGoodAnOrder = 1.02;

struct Exchanges {
    std::vector<FramePair> pairs;  // one of which is exchanged: the best one, if it is a better order, and as good ones
    double given = 0, least = 0;   // the rms in the given order, and the least of it and all exchanges
};
// Three frames fit in any order: of them nothing is known.
Exchanges FindExchanges(const OrderFit& fit);

// Two frames that show the same, beside noise, although their shifts differ: the projector did not go on.
FramePair FindAlike(const std::vector<double>& shifts, const std::vector<Levels>& pixels, double noise);

}  // namespace measure
