#include "measure/absolute/causes.h"

#include <cmath>
#include <complex>
#include <opencv2/imgproc.hpp>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/picturepair.h"
#include "measure/absolute/tilegrid.h"

namespace measure {
namespace {

// Root mean square of what one image of the mean has that another one, brighter or darker as a whole, has not, in the
// best pixels.
double DifferenceOf(const DecodeState& state, const cv::Mat1f& image, const cv::Mat1f& reference) {
    double squares = 0, products = 0, references = 0;
    for (const cv::Point& at : state.best) {
        const auto level = static_cast<double>(image(at)), other = static_cast<double>(reference(at));
        squares += level * level;
        products += level * other;
        references += other * other;
    }
    const double rest = references - products * products / std::max(squares, 1e-9);
    return std::sqrt(std::max(0.0, rest) / std::max(1.0, static_cast<double>(state.best.size())));
}

// By how many pixels an image lies away from another one; 0 when it does not, or when moving it back explains little.
double ShiftOf(const DecodeState& state, const cv::Mat1f& image, const cv::Mat1f& reference) {
    constexpr int kFewest = 16, kMost = 1024;  // pixels of a side that are compared
    constexpr double kLeast = 0.5, kExplained = 0.5;
    const cv::Size size(std::min(image.cols, kMost), std::min(image.rows, kMost));
    if (size.width < kFewest || size.height < kFewest) return 0;
    const cv::Rect middle({(image.cols - size.width) / 2, (image.rows - size.height) / 2}, size);
    cv::Mat1f window;
    cv::createHanningWindow(window, size, CV_32F);
    // Of copies, which it may multiply by the window.
    const cv::Point2d by = cv::phaseCorrelate(reference(middle).clone(), image(middle).clone(), window);
    if (!(std::hypot(by.x, by.y) >= kLeast)) return 0;  // or not a number
    cv::Mat1f moved;
    cv::warpAffine(image, moved, cv::Matx23d(1, 0, by.x, 0, 1, by.y), image.size(),
                   cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_REPLICATE);
    const bool isExplained = DifferenceOf(state, moved, reference) < kExplained * DifferenceOf(state, image, reference);
    return isExplained ? std::hypot(by.x, by.y) : 0;
}

// What the pictures of a code have in common with the mean of fringes.
cv::Mat1f MeanOfCode(const AxisPictures& pictures) {
    cv::Mat1f mean;
    if (const auto pair = FindPair(pictures)) cv::addWeighted(pair->bright, 0.5, pair->dark, 0.5, 0.0, mean, CV_32F);
    return mean;
}

}  // namespace

std::string FindShift(const DecodeState& state) {
    const auto finest = static_cast<std::size_t>(state.result.finest);
    const cv::Mat1f reference = state.FinestMeans().Image();
    const auto find = [&](const std::string& name, const cv::Mat1f& mean) -> std::string {
        const double shift = mean.empty() ? 0 : ShiftOf(state, mean, reference);
        return shift == 0 ? ""
                          : "all that " + name + " shows is shifted by about " + Text(shift) + " pixels against " +
                                NameOf(finest) + ": did the camera move between them?";
    };
    for (std::size_t set = 0; set < state.Count(); ++set) {
        const std::string found = set == finest ? "" : find(NameOf(set), state.means[set].Image());
        if (!found.empty()) return found;
    }
    return find("the Gray code", MeanOfCode(state.pictures));
}

std::string FindCurve(const DecodeState& state) {
    constexpr double kLeastSlope = 0.1, kExplained = 0.72;
    const FringePhase& finest = state.Finest();
    if (state.Count() < 2) return {};
    for (std::size_t set = 0; set < state.Count(); ++set) {
        if (static_cast<int>(set) == state.result.finest) continue;
        // The mean of a bent curve over fringes: A + f''/2 · B²/2.
        double squares = 0, products = 0, differences = 0;
        for (int y = 0; y < state.usable.rows; y += TileGrid::kDown)
            for (int x = 0; x < state.usable.cols; x += TileGrid::kAcross) {
                if (!state.usable(y, x)) continue;
                const auto mean = static_cast<double>(state.FinestMeans().At(y, x));
                const auto other = static_cast<double>(state.fringes[set].modulation(y, x)),
                           own = static_cast<double>(finest.modulation(y, x));
                const double contrast = (other * other - own * own) / (mean + 1),
                             difference = static_cast<double>(state.means[set].At(y, x)) - mean;
                squares += contrast * contrast;
                products += contrast * difference;
                differences += difference * difference;
            }
        const bool isBent =
            products < -kLeastSlope * squares && products * products > kExplained * squares * differences;
        if (!isBent) return {};
    }
    return "as a curve of the camera makes them do, sRGB or gamma, which also bends the phase: take linear pictures, "
           "without such a curve";
}

std::string FindSameSets(const DecodeState& state) {
    constexpr double kSame = 0.97, kMostAlike = 0.5, kOtherPeriod = 1.01;
    const auto meanOf = [&](const auto& phaseAt) {
        std::complex<double> sum;
        for (const cv::Point& at : state.best) sum += std::polar(1.0, static_cast<double>(phaseAt(at)));
        return std::abs(sum) / std::max(1.0, static_cast<double>(state.best.size()));
    };
    for (std::size_t b = 1; b < state.Count(); ++b)
        for (std::size_t a = 0; a < b; ++a) {
            const double periods = state.axis.sines[a].period / state.axis.sines[b].period;
            if (std::max(periods, 1 / periods) < kOtherPeriod) continue;
            const cv::Mat1f &one = state.fringes[a].phase, &other = state.fringes[b].phase;
            if (meanOf([&](cv::Point at) { return one(at); }) < kMostAlike &&
                meanOf([&](cv::Point at) { return one(at) - other(at); }) > kSame)
                return NameOf(a) + " and " + NameOf(b) +
                       " show the same fringes, although their periods differ: was one of them taken twice, or did the "
                       "projector not go on to the next set?";
        }
    return {};
}

}  // namespace measure
