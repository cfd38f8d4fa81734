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
            mSquares += std::pow(static_cast<double>(bright - dark) / 2, 2);
        }
    }

    // Root mean square of the difference as a share of the amplitude.
    double Difference(std::size_t frame, std::size_t inverse) const {
        double squares = 0;
        for (std::size_t i = 0; i < mSums.size(); ++i) {
            const cv::Point at = mState.best[i];
            const float sum = LevelAt(mState.pictures.gray[frame], at.y, at.x) +
                              LevelAt(mState.pictures.inverse[inverse], at.y, at.x);
            squares += std::pow(static_cast<double>(sum - mSums[i]), 2);
        }
        return std::sqrt(squares / std::max(mSquares, 1e-9));
    }

private:
    const DecodeState& mState;
    std::vector<float> mSums;
    double mSquares = 0;
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

std::string PictureName(const char* list, std::size_t i) {
    return std::string("gray.") + list + "[" + std::to_string(i) + "]";
}

}  // namespace

void CheckPairs(DecodeState& state) {
    for (const auto& [list, pictures] :
         {std::pair("frames", &state.pictures.gray), std::pair("inverse", &state.pictures.inverse)})
        if (const auto same = FindSamePictures(state, *pictures))
            throw InputError(PictureName(list, same->first) + " and " + PictureName(list, same->second) +
                             " show the same: is one of them there twice, or did the projector not go on?");
    constexpr double kMostDifference = 0.7;
    const std::size_t count = state.pictures.inverse.size();
    if (count == 0) return;
    const PairTest test(state);
    std::size_t worst = 0;
    std::vector<double> differences;
    for (std::size_t i = 0; i < count; ++i) {
        differences.push_back(test.Difference(i, i));
        if (differences[i] > differences[worst]) worst = i;
    }
    std::string advice = ": are the two lists in different orders, or did the light change between them?";
    for (std::size_t other = 0; other < count && differences[worst] > kMostDifference; ++other)
        if (test.Difference(worst, other) < 0.5 * kMostDifference)
            advice = ", but " + PictureName("inverse", other) + " does: are the two lists in different orders?";
    Require(state.result,
            {"gray: difference of the light of any one pair of pictures over its amplitude", differences[worst],
             kMostDifference, differences[worst] <= kMostDifference},
            PictureName("inverse", worst) + " does not complete " + PictureName("frames", worst) + " (" +
                Text(differences[worst]) + " of the amplitude)" + advice);
}

}  // namespace measure
