#include "measure/absolute/causes.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
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

// What fits to samples by least squares: factors of some terms that add up to a value.
struct Fit {
    cv::Vec4d factors;
    double variance = 0;  // of what is left
    cv::Matx44d inverse;  // of the normal equations
};

struct GradientSample {
    cv::Vec4d terms;  // gradient, level, 1
    double difference;
};

Fit FitSamples(const std::vector<GradientSample>& samples) {
    cv::Matx44d terms;
    cv::Vec4d products;
    double squares = 0;
    for (const GradientSample& sample : samples) {
        terms += sample.terms * sample.terms.t();
        products += sample.terms * sample.difference;
        squares += sample.difference * sample.difference;
    }
    const cv::Matx44d inverse = terms.inv(cv::DECOMP_SVD);
    const cv::Vec4d factors = inverse * products;
    const auto count = static_cast<double>(std::max<std::size_t>(samples.size(), 1));
    return {factors, std::max(0.0, squares - products.dot(factors)) / count, inverse};
}

// By how many pixels an image, brighter or darker as a whole, must lie away from that of the finest set to differ from
// it along its gradients as it does, without what chance may make of that. Right for small shifts, too small for
// others.
template <class LevelOf, class IsInRange>
double ShiftByGradients(const DecodeState& state, const LevelOf& levelOf, const IsInRange& isInRange) {
    constexpr double kSample = 1 << 14, kDeviations = 4, kFar = 3;
    const Means& reference = state.FinestMeans();
    const cv::Size size = state.usable.size();
    const int step = static_cast<int>(std::sqrt(size.area() / kSample)) + 1;
    const auto at = [&](int y, int x) { return static_cast<double>(reference.At(y, x)); };
    std::vector<GradientSample> samples;
    // In no grid, which what is left of fringes might fit to.
    for (int y = 1; y + 1 < size.height; y += step)
        for (int x = 1 + y * 5 / 3 % step; x + 1 < size.width; x += step) {
            if (!state.usable(y, x) || !isInRange(y, x)) continue;
            const double level = at(y, x);
            samples.push_back({{(at(y, x + 1) - at(y, x - 1)) / 2, (at(y + 1, x) - at(y - 1, x)) / 2, level, 1},
                               static_cast<double>(levelOf(y, x)) - level});
        }
    const Fit all = FitSamples(samples);
    const auto isFar = [&](const GradientSample& sample) {
        return std::pow(sample.difference - sample.terms.dot(all.factors), 2) > kFar * kFar * all.variance;
    };
    samples.erase(std::remove_if(samples.begin(), samples.end(), isFar), samples.end());
    const Fit fit = FitSamples(samples);
    const double error = std::sqrt(fit.variance * (fit.inverse(0, 0) + fit.inverse(1, 1)));
    return std::max(0.0, std::hypot(fit.factors[0], fit.factors[1]) - kDeviations * error);
}

// Calls visit(name, level of a pixel, whether the camera shows that as it is) for the mean of every other set, and of
// the code, until it returns true.
template <class Visit>
bool VisitOthers(const DecodeState& state, const Visit& visit) {
    for (std::size_t set = 0; set < state.Count(); ++set) {
        const auto meanAt = [&means = state.means[set]](int y, int x) { return means.At(y, x); };
        const auto always = [](int, int) { return true; };
        if (static_cast<int>(set) != state.result.finest && visit(NameOf(set), meanAt, always)) return true;
    }
    const std::optional<PicturePair> pair = FindPair(state.pictures);
    const auto meanAt = [&](int y, int x) { return pair->MeanAt(y, x); };
    const auto isInRange = [&](int y, int x) { return pair->IsInRange(y, x, state.SaturatedLevel()); };
    return pair && visit(std::string("the Gray code"), meanAt, isInRange);
}

template <class LevelOf>
cv::Mat1f ImageOf(cv::Size size, const LevelOf& levelOf) {
    cv::Mat1f image(size);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) image(y, x) = levelOf(y, x);
    return image;
}

constexpr double kMostShift = 0.25;  // pixels

// In words what is seen to be shifted, for which a glance is followed by a closer look; empty when neither finds any.
template <class LevelOf>
std::string ShiftInWords(const DecodeState& state, const std::string& name, const LevelOf& levelOf, double glance) {
    const cv::Mat1f reference = state.FinestMeans().Image();
    double shift = ShiftOf(state, ImageOf(reference.size(), levelOf), reference);
    if (shift == 0 && glance > kMostShift) shift = glance;
    if (shift == 0) return {};
    return "all that " + name + " shows is shifted by about " + Text(shift) + " pixels against " +
           NameOf(static_cast<std::size_t>(state.result.finest)) + ": did the camera move between them?";
}

}  // namespace

std::string FindShift(const DecodeState& state) {
    std::string found;
    VisitOthers(state, [&](const std::string& name, const auto& levelOf, const auto& isInRange) {
        found = ShiftInWords(state, name, levelOf, ShiftByGradients(state, levelOf, isInRange));
        return !found.empty();
    });
    return found;
}

void CheckShifts(DecodeState& state) {
    VisitOthers(state, [&](const std::string& name, const auto& levelOf, const auto& isInRange) {
        const double shift = ShiftByGradients(state, levelOf, isInRange);
        const bool isStill = shift <= kMostShift;
        Note(state.result,
             {name + ": shift of all that is seen against the finest set, in pixels", shift, kMostShift, isStill},
             isStill ? "" : ShiftInWords(state, name, levelOf, shift));
        state.isShifted |= !isStill;
        return false;
    });
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
