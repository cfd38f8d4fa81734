// Whether the pictures of a Gray code differ from each other, and each stands beside its own inverse.
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/error.h"
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

// Pictures of a code with as many of its pictures dark and bright as makes them differ from each other.
class PictureTest {
public:
    PictureTest(const DecodeState& state, const std::vector<cv::Mat>& pictures) : mState(state), mPictures(pictures) {}

    // Those that show the same, and not one grey all over.
    std::optional<std::pair<std::size_t, std::size_t>> FindAlike() const {
        constexpr double kAlike = 0.2;
        for (std::size_t b = 1; b < mPictures.size(); ++b) {
            if (!IsMixed(b)) continue;
            const double swing =
                Difference([&](cv::Point at) { return LevelAt(mPictures[b], at.y, at.x) - Middle(at); });
            for (std::size_t a = 0; a < b; ++a) {
                const auto between = [&](cv::Point at) {
                    return LevelAt(mPictures[b], at.y, at.x) - LevelAt(mPictures[a], at.y, at.x);
                };
                if (Difference(between) < kAlike * swing) return std::pair(a, b);
            }
        }
        return {};
    }

private:
    float Middle(cv::Point at) const { return mState.Finest().mean(at); }
    bool IsMixed(std::size_t picture) const {
        constexpr double kLeastShare = 0.05;
        const auto bright =
            static_cast<double>(std::count_if(mState.best.begin(), mState.best.end(), [&](cv::Point at) {
                return LevelAt(mPictures[picture], at.y, at.x) > Middle(at);
            }));
        const double share = bright / static_cast<double>(std::max<std::size_t>(mState.best.size(), 1));
        return share > kLeastShare && share < 1 - kLeastShare;
    }
    template <class Value>
    double Difference(const Value& value) const {
        double squares = 0;
        for (const cv::Point& at : mState.best) squares += std::pow(static_cast<double>(value(at)), 2);
        return std::sqrt(squares);
    }

    const DecodeState& mState;
    const std::vector<cv::Mat>& mPictures;
};

std::string PictureName(const char* list, std::size_t i) {
    return std::string("gray.") + list + "[" + std::to_string(i) + "]";
}

}  // namespace

void CheckPairs(DecodeState& state) {
    for (const auto& [list, pictures] :
         {std::pair("frames", &state.pictures.gray), std::pair("inverse", &state.pictures.inverse)})
        if (const auto alike = PictureTest(state, *pictures).FindAlike())
            throw InputError(PictureName(list, alike->first) + " and " + PictureName(list, alike->second) +
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
