// Whether each picture of a Gray code stands beside its own inverse.
#include <algorithm>
#include <cmath>
#include <limits>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
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

}  // namespace

void CheckPairs(DecodeState& state) {
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
    const auto text = [](const char* list, std::size_t i) {
        return std::string("gray.") + list + "[" + std::to_string(i) + "]";
    };
    std::string advice = ": are the two lists in different orders, or did the light change between them?";
    for (std::size_t other = 0; other < count && differences[worst] > kMostDifference; ++other)
        if (test.Difference(worst, other) < 0.5 * kMostDifference)
            advice = ", but " + text("inverse", other) + " does: are the two lists in different orders?";
    Require(state.result,
            {"gray: difference of the light of any one pair of pictures over its amplitude", differences[worst],
             kMostDifference, differences[worst] <= kMostDifference},
            text("inverse", worst) + " does not complete " + text("frames", worst) + " (" + Text(differences[worst]) +
                " of the amplitude)" + advice);
}

}  // namespace measure
