#pragma once

#include <functional>
#include <opencv2/core.hpp>

namespace KrN::geometry {

// Moves each row of a periodic image by shift(row) pixels to the right, by the discrete Fourier transform.
void ShiftRowsFourier(cv::Mat1d& image, const std::function<double(int)>& shift);

// The least odd length from `least` on that transforms fast: its prime factors are at most 13.
int FourierLength(int least);

}  // namespace KrN::geometry
