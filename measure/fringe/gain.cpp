#include "measure/fringe/gain.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace measure {

rows::Gain GainOf(const Ripple& ripple) {
    constexpr int kSamples = 128;
    constexpr double kMost = 0.8;  // of |u|: fringes of which hardly anything is left have no gain that could be told
    std::complex<double> u(ripple.sines[0], -ripple.cosines[0]);
    u *= std::min(1.0, kMost / std::max(std::abs(u), 1e-9));
    rows::Gain gain;
    gain.mean = 0;
    gain.least = static_cast<float>(1 / (1 + std::abs(u)));
    gain.most = static_cast<float>(1 / (1 - std::abs(u)));
    gain.multiple = ripple.harmonics.front();
    gain.swing.count = 2;
    for (int i = 0; i < kSamples; ++i) {
        const double angle = 2 * CV_PI * i / kSamples;
        const double value = 1 / std::abs(1.0 + u * std::polar(1.0, -angle)) / kSamples;
        gain.mean += static_cast<float>(value);
        for (std::size_t m = 0; m < 2; ++m) {
            gain.swing.sines[m] += static_cast<float>(2 * value * std::sin(static_cast<double>(m + 1) * angle));
            gain.swing.cosines[m] += static_cast<float>(2 * value * std::cos(static_cast<double>(m + 1) * angle));
        }
    }
    return gain;
}

}  // namespace measure
