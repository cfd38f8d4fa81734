#pragma once

// Weights of interpolation between whole positions.
namespace KrN {

// Of the pixels at -1, 0, 1, 2 for the position t in 0 ... 1: R. G. Keys, "Cubic convolution interpolation for digital
// image processing", 1981, with a = -1/2, which reproduces parabolas.
template <class R>
inline void CubicWeights(R t, R* weights) {
    const R t2 = t * t, t3 = t2 * t;
    weights[0] = R(-0.5) * t + t2 - R(0.5) * t3;
    weights[1] = R(1) - R(2.5) * t2 + R(1.5) * t3;
    weights[2] = R(0.5) * t + R(2) * t2 - R(1.5) * t3;
    weights[3] = R(-0.5) * t2 + R(0.5) * t3;
}

}  // namespace KrN
