#include "measure/absolute/areas.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "measure/absolute.h"
#include "measure/absolute/wrapping.h"

namespace measure {

int LiftedSets::Add(int size) {
    mNodes.push_back({Count(), 0, size});
    return Count() - 1;
}

int LiftedSets::Find(int member, int& lift) {
    int root = member, total = 0;
    while (At(root).parent != root) {
        total += At(root).lift;
        root = At(root).parent;
    }
    lift += total;
    while (member != root) {  // shortens the way for the next time
        Node& node = At(member);
        const int next = node.parent, own = node.lift;
        node.parent = root;
        node.lift = total;
        total -= own;
        member = next;
    }
    return root;
}

void LiftedSets::Join(int a, int b, int lift) {
    int liftA = 0, liftB = 0;
    int rootA = Find(a, liftA), rootB = Find(b, liftB);
    if (rootA == rootB) return;
    int offset = liftA + lift - liftB;  // of root b above root a
    if (At(rootA).size < At(rootB).size) {
        std::swap(rootA, rootB);
        offset = -offset;
    }
    At(rootB).parent = rootA;
    At(rootB).lift = offset;
    At(rootA).size += At(rootB).size;
}

namespace {

class AreaFinder {
public:
    AreaFinder(const cv::Mat1f& absolute, const cv::Mat1b& trust, float maxStep, int repeat)
        : mAbsolute(absolute),
          mTrust(trust),
          mMaxStep(maxStep),
          mRepeat(kRadiansPerPeriod * static_cast<float>(repeat)) {}

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
        const float* absolute = mAbsolute[y];
        const unsigned char* trust = mTrust[y];
        const int width = mAbsolute.cols;
        for (int x = 0; x < width;) {
            if (trust[x] != eTrusted) {
                ++x;
                continue;
            }
            const int first = x++;
            while (x < width && trust[x] == eTrusted && std::abs(absolute[x] - absolute[x - 1]) < mMaxStep) ++x;
            mAreas.runs.push_back({y, first, x});
            const int run = mAreas.sets.Add(x - first);
            int lift = 0;
            if (mRepeat > 0 && first > 0 && trust[first - 1] == eTrusted &&
                AreNeighbours(absolute[first - 1], absolute[first], lift))
                mAreas.sets.Join(run - 1, run, lift);
        }
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
    TrustedAreas mAreas;
};

}  // namespace

TrustedAreas FindTrustedAreas(const cv::Mat1f& absolute, const cv::Mat1b& trust, float maxStep, int repeat) {
    return AreaFinder(absolute, trust, maxStep, repeat).Find();
}

}  // namespace measure
