#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/fringe/rowbands.h"
#include "measure/roughness.h"

namespace measure {
namespace {

constexpr double kLongestCutoff = 32767;  // pixels
constexpr double kTruncation = 0.8;       // of the cut-off: 2e-5 of the weight lie beyond
constexpr int kMostSummed = 40;           // radius; longer sums are found sooner by their spectrum

int RadiusOf(double cutoff) { return std::max(1, static_cast<int>(std::ceil(kTruncation * cutoff))); }

// From the middle outwards.
std::vector<double> GaussianWeights(double cutoff) {
    const int radius = RadiusOf(cutoff);
    const double scale = CV_PI / (std::log(2.0) / CV_PI * cutoff * cutoff);  // π / (α λ)², α² = ln 2 / π
    std::vector<double> weights;
    for (int i = 0; i <= radius; ++i) weights.push_back(std::exp(-scale * i * i));
    return weights;
}

// Heights and what they count, 0 where there are none.
cv::Mat2f Weighted(const cv::Mat1f& heights) {
    cv::Mat2f weighted(heights.size());
    for (int y = 0; y < heights.rows; ++y) {
        const float* const in = heights[y];
        cv::Vec2f* const out = weighted[y];
        for (int x = 0; x < heights.cols; ++x) {
            const bool valid = std::isfinite(in[x]);
            out[x] = valid ? cv::Vec2f(in[x], 1.0f) : cv::Vec2f(0.0f, 0.0f);
        }
    }
    return weighted;
}

// Weighted sums over both directions.
cv::Mat2f Sum(const cv::Mat2f& image, const std::vector<double>& weights, const Progress& progress) {
    const int radius = static_cast<int>(weights.size()) - 1;
    cv::Mat1f kernel(1, 2 * radius + 1);
    for (int i = -radius; i <= radius; ++i)
        kernel(i + radius) = static_cast<float>(weights[static_cast<std::size_t>(std::abs(i))]);
    kernel *= 1.0 / cv::sum(kernel)[0];
    cv::Mat2f sums(image.size());
    // Bands see their neighbours' rows, which costs as many rows again as the weights are long.
    const int band = std::max(64, 2 * kernel.cols);
    const int bands = (image.rows + band - 1) / band, together = std::max(1, cv::getNumThreads());
    for (int first = 0; first < bands; first += together) {
        progress.Report("filtering", static_cast<double>(first) / bands);
        cv::parallel_for_(cv::Range(first, std::min(bands, first + together)), [&](const cv::Range& range) {
            for (int i = range.start; i < range.end; ++i) {
                const cv::Range rows(i * band, std::min(image.rows, (i + 1) * band));
                cv::sepFilter2D(image.rowRange(rows), sums.rowRange(rows), CV_32F, kernel, kernel, {-1, -1}, 0,
                                cv::BORDER_CONSTANT);
            }
        });
    }
    return sums;
}

// The same along the rows alone, by their spectrum: as the weights are real, both channels pass as one complex number.
void SumRows(cv::Mat2f& image, const std::vector<double>& weights, const char* stage, const Progress& progress) {
    const int reach = std::min(static_cast<int>(weights.size()) - 1, image.cols - 1);
    const int length = cv::getOptimalDFTSize(image.cols + reach);
    cv::Mat2d spectrum(1, length, cv::Vec2d());
    for (int i = 0; i <= reach; ++i)
        spectrum(i) = spectrum((length - i) % length) = cv::Vec2d(weights[static_cast<std::size_t>(i)], 0);
    cv::dft(spectrum, spectrum);  // of weights that are the same on either side: real
    const auto sum = [&](const cv::Range& range) {
        constexpr int kTogether = 8;  // rows that stay in the caches
        for (int y = range.start; y < range.end; y += kTogether) {
            cv::Mat2f rows = image.rowRange(y, std::min(range.end, y + kTogether));
            cv::Mat2d padded(rows.rows, length, cv::Vec2d()), inside = padded.colRange(0, rows.cols);
            rows.convertTo(inside, CV_64F);
            cv::dft(padded, padded, cv::DFT_ROWS);
            for (int row = 0; row < padded.rows; ++row)
                for (int i = 0; i < length; ++i) padded(row, i) *= spectrum(i)[0];
            cv::dft(padded, padded, cv::DFT_ROWS | cv::DFT_INVERSE | cv::DFT_SCALE);
            inside.convertTo(rows, CV_32F);
        }
    };
    ForRowBands(image.size(), progress, stage, sum, 1 << 18);
}

}  // namespace

cv::Mat1f GaussianFilter(const cv::Mat1f& heights, double cutoff, const Progress& progress) {
    if (!(cutoff > 0 && cutoff <= kLongestCutoff))
        throw InputError(
            cv::format("a cut-off of %g pixels: it must be above 0 and at most %g", cutoff, kLongestCutoff));
    RequireOneSize({"the heights", heights});
    const std::vector<double> weights = GaussianWeights(cutoff);
    cv::Mat2f sums = Weighted(heights);
    if (RadiusOf(cutoff) <= kMostSummed) {
        sums = Sum(sums, weights, progress);
    } else {
        SumRows(sums, weights, "filtering along the rows", progress);
        sums = sums.t();
        SumRows(sums, weights, "filtering along the columns", progress);
        sums = sums.t();
    }
    cv::Mat1f smooth(heights.size());
    for (int y = 0; y < heights.rows; ++y) {
        const float* const in = heights[y];
        const cv::Vec2f* const sum = sums[y];
        float* const out = smooth[y];
        for (int x = 0; x < heights.cols; ++x)
            out[x] = std::isfinite(in[x]) ? sum[x][0] / sum[x][1] : std::numeric_limits<float>::quiet_NaN();
    }
    return smooth;
}

}  // namespace measure
