#pragma once

#include <vector>

namespace measure {

// The number of different shifts when these divide a period equally and each occurs as often as the others, as in 0,
// 120, 240 or -90, 0, 90, 180, 270, 360 + ... degrees; else 0.
int EqualSteps(const std::vector<double>& shifts);

// What multiples of the phase a ripple consists of: N and 2 N for N equal steps, else 1 to 8.
std::vector<int> HarmonicsOf(const std::vector<double>& shifts);

}  // namespace measure
