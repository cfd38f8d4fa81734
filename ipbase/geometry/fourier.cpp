#include "ipbase/geometry/fourier.h"

#include <cmath>

namespace KrN::geometry {

void ShiftRowsFourier(cv::Mat1d& image, const std::function<double(int)>& shift) {
    const int n = image.cols;
    cv::dft(image, image, cv::DFT_ROWS);
    for (int y = 0; y < image.rows; ++y) {
        const double s = shift(y);
        double* row = image[y];
        // Packed: the mean, pairs of real and imaginary parts, and for even lengths the highest frequency, of which
        // only the cosine can be told.
        for (int k = 1; 2 * k < n; ++k) {
            const double angle = -2.0 * CV_PI * std::fmod(k * s, n) / n;
            const double c = std::cos(angle), d = std::sin(angle), re = row[2 * k - 1], im = row[2 * k];
            row[2 * k - 1] = re * c - im * d;
            row[2 * k] = re * d + im * c;
        }
        if (n % 2 == 0) row[n - 1] *= std::cos(CV_PI * std::fmod(s, 2.0));
    }
    cv::dft(image, image, cv::DFT_ROWS | cv::DFT_INVERSE | cv::DFT_SCALE | cv::DFT_REAL_OUTPUT);
}

int FourierLength(int least) {
    for (int length = least | 1;; length += 2) {
        int rest = length;
        for (const int factor : {3, 5, 7, 11, 13})
            while (rest % factor == 0) rest /= factor;
        if (rest == 1) return length;
    }
}

}  // namespace KrN::geometry
