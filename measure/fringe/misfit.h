#pragma once

#include <functional>
#include <string>
#include <vector>

#include "measure/fringe/exchange.h"

namespace measure {

// What frames leave of a fit that neither the noise of the camera nor the shape of the fringes explains: a frame of
// another exposure, period or object, light that flickers.
struct Misfit {
    double share = 0;         // its rms over that of B
    int frame = -1;           // of much misfit, the one without which most goes, from 0; -1 for none
    double shareWithout = 0;  // what stays without that frame

    static constexpr double kMuch = 0.06;  // above what speckle leaves; it leaves 0.1 rad in the phase
    static constexpr double kSome = 0.02;  // above what cameras in good order leave

    bool IsWorthNoting() const { return share > kSome && share <= kMuch; }
};

// Fringes that are no sines leave a residual, too, but frames show the same wave, shifted: the harmonics 2 to 8, common
// to all frames, that fit best are subtracted. `noise` is a standard deviation in grey levels. Three frames leave no
// residual; with four it has one dimension, which does not tell frames apart.
Misfit FindMisfit(const std::vector<double>& shifts, const std::vector<Levels>& pixels, double noise);

// Rounding alone leaves this much noise, as a share of full scale.
constexpr double kLeastNoise = 2e-3;

// What is said of it, and of two frames that show the same.
using FrameNames = std::function<std::string(int frame)>;
std::string MisfitText(const Misfit& misfit, const FrameNames& names);
// Of one that is worth noting and casts no doubt.
std::string SmallMisfitText(const Misfit& misfit);
// Of a ripple that IsOfOtherFrames(), which tells it of three frames, too.
std::string OtherFramesText(const Ripple& ripple);
std::string AlikeText(const FramePair& pair, const FrameNames& names);

}  // namespace measure
