// Whether the levels of the pictures of a Gray code fit to their threshold, or to the fringes.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/codecrossing.h"
#include "measure/absolute/picturepair.h"
#include "measure/base/quantile.h"
#include "measure/fringe/framepixels.h"

namespace measure {
namespace {

// Of a pixel that is bright in one picture of the code and dark in another one, in grey levels.
struct CodeLevels {
    double middle = 0;      // between them, above the threshold or, with inverse pictures, the mean of the fringes
    double half = 0;        // their distance from it
    double modulation = 0;  // of the fringes
};

CodeLevels LevelsOf(const DecodeState& state, int y, int x, float& bright) {
    const std::vector<cv::Mat>&gray = state.pictures.gray, &inverse = state.pictures.inverse;
    float dark = std::numeric_limits<float>::max(), sum = 0, distance = 0;
    bright = -dark;
    const auto look = [&](const cv::Mat& picture) {
        const float level = LevelAt(picture, y, x);
        dark = std::min(dark, level);
        bright = std::max(bright, level);
        return level;
    };
    for (std::size_t i = 0; i < gray.size(); ++i) {
        const float level = look(gray[i]), other = inverse.empty() ? level : look(inverse[i]);
        sum += level + other;
        distance += std::abs(level - other);
    }
    // One of each pair is bright, which tells both levels with little noise.
    const auto pictures = static_cast<float>(2 * gray.size());
    const float middle = inverse.empty() ? (bright + dark) / 2 : sum / pictures,
                half = inverse.empty() ? (bright - dark) / 2 : distance / pictures;
    return {static_cast<double>(middle - CodeThresholdAt(state, y, x)), static_cast<double>(half),
            static_cast<double>(state.Finest().modulation(y, x))};
}

// Some thousand pixels, in few rows, where neither noise nor saturation hides the levels.
std::vector<CodeLevels> SampleCodeLevels(const DecodeState& state) {
    constexpr double kEnough = 1 << 12, kLeastShare = 0.25, kLeastNoise = 4;
    const float saturated = state.SaturatedLevel();
    const cv::Size size = state.usable.size();
    const int step = std::max(1, static_cast<int>(std::sqrt(size.area() / kEnough) / 4));
    std::vector<CodeLevels> sample;
    for (int y = 0; y < size.height; y += 16 * step)
        for (int x = 0; x < size.width; x += step) {
            if (!state.usable(y, x)) continue;
            float bright = 0;
            const CodeLevels levels = LevelsOf(state, y, x, bright);
            const double least = std::max(kLeastShare * levels.modulation, kLeastNoise * state.result.noise);
            if (bright < saturated && levels.half >= least) sample.push_back(levels);
        }
    return sample;
}

// How the light of the code differs from that of its threshold: another exposure moves the middle by a multiple of the
// modulation, other light in the room by a constant.
struct Light {
    double exposure = 0, room = 0;
    double At(double modulation) const { return exposure * modulation + room; }
};

Light FitLight(const std::vector<CodeLevels>& sample) {
    cv::Mat1d functions(static_cast<int>(sample.size()), 2, 1.0), middles(functions.rows, 1), light;
    for (int i = 0; i < functions.rows; ++i) {
        const CodeLevels& levels = sample[static_cast<std::size_t>(i)];
        functions(i, 0) = levels.modulation;
        middles(i, 0) = levels.middle;
    }
    cv::solve(functions, middles, light, cv::DECOMP_NORMAL | cv::DECOMP_SVD);
    return {light(0, 0), light(1, 0)};
}

// Of the pixels whose middle is off by more than such a part of the way to bright or dark.
double ShareOff(const std::vector<CodeLevels>& sample, double most) {
    const auto off = std::count_if(sample.begin(), sample.end(),
                                   [&](const CodeLevels& l) { return std::abs(l.middle) > most * l.half; });
    return static_cast<double>(off) / static_cast<double>(sample.size());
}

// The same for all usable pixels, as far as the light tells: many are too dark to show their levels.
double ShareOffInLight(const DecodeState& state, const std::vector<CodeLevels>& sample, double most) {
    constexpr int kStep = 3;
    constexpr double kDeviations = 1.5;  // by which noise alone puts the middle off
    const Light light = FitLight(sample);
    double halves = 0, modulations = 0;
    for (const CodeLevels& levels : sample) {
        halves += levels.half;
        modulations += levels.modulation;
    }
    const double reach = most * halves / modulations, least = kDeviations * state.result.noise;
    int off = 0, all = 0;
    for (int y = 0; y < state.usable.rows; y += kStep)
        for (int x = 0; x < state.usable.cols; x += kStep) {
            if (!state.usable(y, x)) continue;
            const auto modulation = static_cast<double>(state.Finest().modulation(y, x));
            ++all;
            off += std::abs(light.At(modulation)) > std::max(reach * modulation, least);
        }
    return static_cast<double>(off) / std::max(all, 1);
}

}  // namespace

void CheckContrast(DecodeState& state) {
    constexpr double kLeastContrast = 0.15;  // of that of most pictures; 0.3 can be read
    constexpr std::size_t kStep = 4;
    const std::vector<cv::Mat>&gray = state.pictures.gray, &inverse = state.pictures.inverse;
    if (gray.empty()) return;
    std::vector<double> contrasts;
    for (std::size_t picture = 0; picture < gray.size(); ++picture) {
        std::vector<float> distances;
        for (std::size_t i = 0; i < state.best.size(); i += kStep) {
            const int y = state.best[i].y, x = state.best[i].x;
            const float level = LevelAt(gray[picture], y, x);
            distances.push_back(inverse.empty() ? std::abs(level - CodeThresholdAt(state, y, x))
                                                : std::abs(level - LevelAt(inverse[picture], y, x)) / 2);
        }
        contrasts.push_back(static_cast<double>(MedianOf(distances)));
    }
    std::vector<double> sorted = contrasts;
    const double usual = std::max(static_cast<double>(MedianOf(sorted)), 1e-9);
    const auto least =
        static_cast<std::size_t>(std::min_element(contrasts.begin(), contrasts.end()) - contrasts.begin());
    const double contrast = contrasts[least] / usual;
    Note(
        state.result,
        {"gray: contrast of any one picture, of that of most of them", contrast, kLeastContrast,
         contrast >= kLeastContrast},
        CodeName(state.axis, least) + " has hardly any contrast (" + Text(contrast) +
            " of that of the others): are its cells too fine for projector or camera, was the lens covered, or is it a "
            "picture of something else?");
}

void CheckLevels(DecodeState& state) {
    constexpr std::size_t kFew = 100;
    constexpr double kMostShare = 0.03, kMostInLight = 0.015, kRefused = 0.7, kMostOff = 0.5, kNearLevel = 0.7;
    if (!state.axis.gray) return;
    std::vector<CodeLevels> sample = SampleCodeLevels(state);
    if (sample.size() < kFew) return;
    const auto percent = [](double share) { return cv::format("gray: in %.1f %% of the pixels ", 100 * share); };
    if (!state.pictures.inverse.empty()) {
        const Light light = FitLight(sample);
        for (CodeLevels& levels : sample) levels.middle -= light.At(levels.modulation);
        const double share = ShareOff(sample, kMostOff);
        Note(state.result,
             {"gray: share of the pixels whose light is not that of the fringes", share, kMostShare,
              share <= kMostShare},
             percent(share) + "its light is not that of the fringes: did camera or part move between them?");
        return;
    }
    const char* const others = WhiteAndBlack(state.pictures) ? "the white and the black picture" : "the fringes";
    const auto mistake = [&](double share) {
        return percent(share) + "the threshold between bright and dark is near one of them or beyond: was its light " +
               "or its exposure another one than that of " + others +
               ", or did something move? Inverse pictures do not mind the light";
    };
    const double share = ShareOff(sample, kNearLevel);
    (share > kRefused ? Require : Note)(
        state.result,
        {"gray: share of the pixels whose threshold is near bright or dark", share, kMostShare, share <= kMostShare},
        mistake(share));
    if (share > kMostShare) return;
    const double inLight = ShareOffInLight(state, sample, kNearLevel);
    Note(state.result,
         {"gray: share of the pixels for which its light is too far off its threshold", inLight, kMostInLight,
          inLight <= kMostInLight},
         mistake(inLight));
}

}  // namespace measure
