// Whether the pictures of a Gray code differ from each other, and each stands beside its own inverse.
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/error.h"
#include "measure/fringe/exchange.h"
#include "measure/fringe/framepixels.h"

namespace measure {
namespace {

// The light of a picture and its inverse together is that of a white and a black one, in whatever pair.
class PairTest {
public:
    explicit PairTest(const DecodeState& state) : mState(state) {
        for (const cv::Point& at : state.best) {
            float dark = std::numeric_limits<float>::max(), bright = -dark;
            for (const auto* const pictures : {&state.pictures.gray, &state.pictures.inverse})
                for (const cv::Mat& picture : *pictures) {
                    dark = std::min(dark, LevelAt(picture, at.y, at.x));
                    bright = std::max(bright, LevelAt(picture, at.y, at.x));
                }
            mSums.push_back(dark + bright);
            mAmplitudes.push_back((bright - dark) / 2);
        }
    }

    // Root mean square of the difference as a share of the amplitude.
    double Difference(std::size_t frame, std::size_t inverse) const {
        double squares = 0, amplitudes = 0;
        for (std::size_t i = 0; i < mSums.size(); ++i) {
            squares += std::pow(OffBy(frame, inverse, i), 2);
            amplitudes += std::pow(static_cast<double>(mAmplitudes[i]), 2);
        }
        return std::sqrt(squares / std::max(amplitudes, 1e-9));
    }

    // Of the pixels, those in which both are bright or dark. No curve of a camera does that at the borders of cells.
    double ShareAlike(std::size_t frame, std::size_t inverse) const {
        constexpr double kFar = 1.3;
        int alike = 0;
        for (std::size_t i = 0; i < mSums.size(); ++i)
            alike += std::abs(OffBy(frame, inverse, i)) > kFar * static_cast<double>(mAmplitudes[i]);
        return alike / static_cast<double>(std::max<std::size_t>(mSums.size(), 1));
    }

private:
    const DecodeState& mState;
    std::vector<float> mSums, mAmplitudes;

    double OffBy(std::size_t frame, std::size_t inverse, std::size_t pixel) const {
        const cv::Point at = mState.best[pixel];
        return static_cast<double>(LevelAt(mState.pictures.gray[frame], at.y, at.x) +
                                   LevelAt(mState.pictures.inverse[inverse], at.y, at.x) - mSums[pixel]);
    }
};

// Two pictures of a code that show the same. One that is dark, or bright, all over is not compared: where only a part
// of the projector is seen, several may be.
std::optional<std::pair<std::size_t, std::size_t>> FindSamePictures(const DecodeState& state,
                                                                    const std::vector<cv::Mat>& pictures) {
    constexpr double kAlike = 0.2, kLeastShare = 0.05;
    std::vector<Levels> pixels;  // above the mean of the fringes
    for (const cv::Point& at : state.best) {
        Levels levels = LevelsAt(pictures, at.y, at.x);
        for (double& level : levels) level -= static_cast<double>(state.FinestMeans().At(at));
        pixels.push_back(std::move(levels));
    }
    const auto sumOfSquares = [&](const auto& valueOf) {
        double squares = 0;
        for (const Levels& levels : pixels) squares += std::pow(valueOf(levels), 2);
        return squares;
    };
    for (std::size_t b = 1; b < pictures.size(); ++b) {
        const auto bright = std::count_if(pixels.begin(), pixels.end(), [b](const Levels& l) { return l[b] > 0; });
        const double share = static_cast<double>(bright) / static_cast<double>(std::max<std::size_t>(pixels.size(), 1));
        if (share <= kLeastShare || share >= 1 - kLeastShare) continue;
        const double least = kAlike * kAlike * sumOfSquares([b](const Levels& l) { return l[b]; });
        for (std::size_t a = 0; a < b; ++a)
            if (sumOfSquares([a, b](const Levels& l) { return l[b] - l[a]; }) < least) return std::pair(a, b);
    }
    return {};
}

}  // namespace

void CheckPairs(DecodeState& state) {
    for (const bool ofInverse : {false, true})
        if (const auto same = FindSamePictures(state, ofInverse ? state.pictures.inverse : state.pictures.gray))
            throw InputError(CodeName(state.axis, same->first, ofInverse) + " and " +
                             CodeName(state.axis, same->second, ofInverse) +
                             " show the same: is one of them there twice, or did the projector not go on?");
    constexpr double kMostDifference = 0.7, kMostAlike = 0.02, kRefused = 0.05;
    const std::size_t count = state.pictures.inverse.size();
    if (count == 0) return;
    const PairTest test(state);
    std::vector<double> differences, alike;
    for (std::size_t i = 0; i < count; ++i) {
        differences.push_back(test.Difference(i, i));
        alike.push_back(test.ShareAlike(i, i));
    }
    const auto worstOf = [](const std::vector<double>& values) {
        return static_cast<std::size_t>(std::max_element(values.begin(), values.end()) - values.begin());
    };
    const auto saidOf = [&](std::size_t i, const std::string& by) {
        const std::string said =
            CodeName(state.axis, i, true) + " does not complete " + CodeName(state.axis, i, false) + ", " + by;
        for (std::size_t other = 0; other < count; ++other)
            if (other != i && test.Difference(i, other) < 0.5 * kMostDifference)
                return said + "; but " + CodeName(state.axis, other, true) +
                       " does: are the two lists in different orders?";
        return said +
               ": is one of them dark, or of another exposure or code, are the two lists in different orders, or did "
               "something move or the light change between them?";
    };
    const std::size_t worst = worstOf(differences), mostAlike = worstOf(alike);
    const double difference = differences[worst], share = alike[mostAlike];
    Require(state.result,
            {"gray: difference of the light of any one pair of pictures over its amplitude", difference,
             kMostDifference, difference <= kMostDifference},
            difference <= kMostDifference ? "" : saidOf(worst, "off by " + Text(difference) + " of the amplitude"));
    (share > kRefused ? Require : Note)(
        state.result,
        {"gray: share of the pixels in which the two of any one pair show the same", share, kMostAlike,
         share <= kMostAlike},
        share <= kMostAlike
            ? ""
            : saidOf(mostAlike, cv::format("both bright or dark in %.1f %% of the pixels", 100 * share)));
}

}  // namespace measure
