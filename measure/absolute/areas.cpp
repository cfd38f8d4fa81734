#include "measure/absolute/areas.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "measure/absolute.h"
#include "measure/absolute/growthrows.h"
#include "measure/base/phase.h"

namespace measure {

namespace {

class AreaFinder {
public:
    AreaFinder(const cv::Mat1f& absolute, const cv::Mat1b& trust, float maxStep, int repeat)
        : mAbsolute(absolute),
          mTrust(trust),
          mMaxStep(maxStep),
          mRepeat(kRadiansPerPeriod * static_cast<float>(repeat)),
          mLinks(static_cast<std::size_t>(absolute.cols)) {}

    TrustedAreas Find() {
        std::size_t above = 0;
        for (int y = 0; y < mAbsolute.rows; ++y) {
            const std::size_t current = mAreas.runs.size();
            AddRuns(y);
            if (y > 0) JoinRows(above, current);
            above = current;
        }
        return std::move(mAreas);
    }

private:
    // By how many repeats b has to be raised to be next to a; false when it is no neighbour of a even so.
    bool AreNeighbours(float a, float b, int& lift) const {
        float step = a - b;
        lift = 0;
        if (mRepeat > 0) {
            const float repeats = std::nearbyint(step / mRepeat);
            step -= repeats * mRepeat;
            lift = static_cast<int>(repeats);
        }
        return std::abs(step) < mMaxStep;
    }

    void AddRuns(int y) {
        const float* const absolute = mAbsolute[y];
        rows::LinkRow(absolute, mTrust[y], mMaxStep, mLinks.data(), mLinks.size());
        for (auto first = Skip(mLinks.begin(), kNone); first != mLinks.end();) {
            const auto end = Skip(first + 1, kContinues);
            const auto x = static_cast<int>(first - mLinks.begin());
            mAreas.runs.push_back({y, x, static_cast<int>(end - mLinks.begin())});
            const int run = mAreas.sets.Add(static_cast<int>(end - first));
            int lift = 0;
            if (mRepeat > 0 && x > 0 && first[-1] != kNone && AreNeighbours(absolute[x - 1], absolute[x], lift))
                mAreas.sets.Join(run - 1, run, lift);
            first = Skip(end, kNone);
        }
    }

    using Link = std::vector<std::uint8_t>::const_iterator;
    // The next pixel that is linked otherwise.
    Link Skip(Link from, std::uint8_t link) const {
        constexpr std::ptrdiff_t kMany = 32;  // compared at once
        const auto isSame = [link](std::uint8_t own) { return own == link; };
        while (mLinks.end() - from >= kMany && std::count_if(from, from + kMany, isSame) == kMany) from += kMany;
        return std::find_if_not(from, mLinks.end(), isSame);
    }

    void JoinRows(std::size_t above, std::size_t current) {
        const std::vector<TrustedAreas::Run>& runs = mAreas.runs;
        std::size_t a = above, b = current;
        while (a < current && b < runs.size()) {
            JoinRuns(a, b);
            ++(runs[a].end < runs[b].end ? a : b);
        }
    }

    void JoinRuns(std::size_t a, std::size_t b) {
        const TrustedAreas::Run &up = mAreas.runs[a], &down = mAreas.runs[b];
        const float *above = mAbsolute[up.y], *below = mAbsolute[down.y];
        int lift = 0;
        for (int x = std::max(up.first, down.first); x < std::min(up.end, down.end); ++x)
            if (AreNeighbours(above[x], below[x], lift))
                return mAreas.sets.Join(static_cast<int>(a), static_cast<int>(b), lift);
    }

    const cv::Mat1f& mAbsolute;
    const cv::Mat1b& mTrust;
    float mMaxStep, mRepeat;
    static constexpr std::uint8_t kNone = 0, kContinues = 2;
    std::vector<std::uint8_t> mLinks;  // of a row
    TrustedAreas mAreas;
};

}  // namespace

TrustedAreas FindTrustedAreas(const cv::Mat1f& absolute, const cv::Mat1b& trust, float maxStep, int repeat) {
    return AreaFinder(absolute, trust, maxStep, repeat).Find();
}

}  // namespace measure
