// Whether all that is seen lies elsewhere in other pictures.
#include "measure/absolute/causes.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/picturepair.h"

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

// Pixels with the gradient of the mean of the finest set.
struct GradientSample {
    cv::Point at;
    cv::Vec4d terms;  // gradient, level, 1
    double difference = 0;
};

// Not in a grid: what remains of fringes might have its period.
std::vector<GradientSample> SampleGradients(const DecodeState& state) {
    constexpr double kSample = 1 << 13;
    const cv::Size size = state.usable.size();
    const int step = static_cast<int>(std::sqrt(size.area() / kSample)) + 1;
    const Means& means = state.FinestMeans();
    const auto at = [&](int y, int x) { return static_cast<double>(means.At(y, x)); };
    std::vector<GradientSample> samples;
    for (int y = 1; y + 1 < size.height; y += step)
        for (int x = 1 + y * 5 / 3 % step; x + 1 < size.width; x += step)
            if (state.usable(y, x))
                samples.push_back(
                    {{x, y}, {(at(y, x + 1) - at(y, x - 1)) / 2, (at(y + 1, x) - at(y - 1, x)) / 2, at(y, x), 1}});
    return samples;
}

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
double ShiftByGradients(std::vector<GradientSample> samples, const LevelOf& levelOf, const IsInRange& isInRange) {
    constexpr double kDeviations = 4, kFar = 3;
    const auto drop = [&](const auto& isDropped) {
        samples.erase(std::remove_if(samples.begin(), samples.end(), isDropped), samples.end());
    };
    drop([&](const GradientSample& sample) { return !isInRange(sample.at.y, sample.at.x); });
    for (GradientSample& sample : samples)
        sample.difference = static_cast<double>(levelOf(sample.at.y, sample.at.x)) - sample.terms[2];
    const Fit all = FitSamples(samples);
    drop([&](const GradientSample& sample) {
        return std::pow(sample.difference - sample.terms.dot(all.factors), 2) > kFar * kFar * all.variance;
    });
    const Fit fit = FitSamples(samples);
    const double error = std::sqrt(fit.variance * (fit.inverse(0, 0) + fit.inverse(1, 1)));
    return std::max(0.0, std::hypot(fit.factors[0], fit.factors[1]) - kDeviations * error);
}

// Calls visit(name, level of a pixel, whether the camera shows that as it is) for the mean of every other set, and of
// a pair of pictures, until it returns true.
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
    return pair && visit(std::string(pair->name), meanAt, isInRange);
}

template <class LevelOf>
cv::Mat1f ImageOf(cv::Size size, const LevelOf& levelOf) {
    cv::Mat1f image(size);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) image(y, x) = levelOf(y, x);
    return image;
}

constexpr double kMostShift = 0.25;  // pixels; right scans, of a camera that shakes, reach 0.12

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
    const std::vector<GradientSample> samples = SampleGradients(state);
    VisitOthers(state, [&](const std::string& name, const auto& levelOf, const auto& isInRange) {
        found = ShiftInWords(state, name, levelOf, ShiftByGradients(samples, levelOf, isInRange));
        return !found.empty();
    });
    return found;
}

void CheckShifts(DecodeState& state) {
    const std::vector<GradientSample> samples = SampleGradients(state);
    VisitOthers(state, [&](const std::string& name, const auto& levelOf, const auto& isInRange) {
        const double shift = ShiftByGradients(samples, levelOf, isInRange);
        const bool isStill = shift <= kMostShift;
        Note(state.result,
             {name + ": shift of all that is seen against the finest set, in pixels", shift, kMostShift, isStill},
             isStill ? "" : ShiftInWords(state, name, levelOf, shift));
        state.isShifted |= !isStill;
        return false;
    });
}

}  // namespace measure
