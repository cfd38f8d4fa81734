#include "measure/absolute/bridging.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "measure/absolute.h"
#include "measure/base/phase.h"
#include "measure/base/wide.h"

namespace measure {
namespace {

// The gap between two fixed pixels in a line, which is visited pixel by pixel.
class Gap {
public:
    void Visit(GrowthImages& images, int i, int stride) {
        constexpr float kMostBend = 0.5f, kMostMisfit = 1.0f;  // radians
        const unsigned char state = images.state.data[i];
        const bool isNext = mStart >= 0 && mStart == i - stride;
        if (state == eOut) mStart = -1;
        if (state == eFixed && isNext) mStart = i;
        if (state == eOut || mStart == i || (mStart < 0 && state != eFixed)) return;
        const float* phase = images.phase[0] + i;
        if (mStart >= 0) {
            if (isNext) {
                mPhase = images.absolute[0][mStart];
                mIsEven = true;
                mHasStep = stride == 1 ? mStart % images.phase.cols != 0 : mStart >= stride;  // no edge of the image
                if (mHasStep) mStep = WrapRadians(phase[-stride] - phase[-2 * stride]);
            }
            const float step = WrapRadians(*phase - phase[-stride]);
            mPhase += step;
            mIsEven = mIsEven & (!mHasStep || std::abs(step - mStep) < kMostBend);
            mStep = step;
            mHasStep = true;
        }
        if (state != eFixed) return;
        if (mStart >= 0 && mIsEven && std::abs(mPhase - images.absolute[0][i]) < kMostMisfit) Bridge(images, i, stride);
        mStart = i;
    }

private:
    void Bridge(GrowthImages& images, int end, int stride) const {
        int* const area = images.area.empty() ? nullptr : images.area[0];
        if (area && area[mStart] != area[end]) return;
        const float* phase = images.phase[0];
        float* absolute = images.absolute[0];
        if (!AgreesWithOwnOrders(images, end, stride)) return;
        float sum = absolute[mStart];
        for (int i = mStart + stride; i < end; i += stride) {
            sum += WrapRadians(phase[i] - phase[i - stride]);
            if (std::abs(sum - absolute[i]) > ReachOf(images.trust.data[i])) continue;
            absolute[i] = sum;
            images.state.data[i] = eFixed;
            if (area) area[i] = area[end];
        }
    }

    // Whether most pixels by themselves say what their neighbours ask for, as they do not on an object before a wall.
    bool AgreesWithOwnOrders(const GrowthImages& images, int end, int stride) const {
        float sum = images.absolute[0][mStart];
        int agreeing = 0;
        for (int i = mStart + stride; i < end; i += stride) {
            sum += WrapRadians(images.phase[0][i] - images.phase[0][i - stride]);
            agreeing += std::abs(sum - images.absolute[0][i]) < 1;
        }
        return 4 * agreeing >= 3 * ((end - mStart) / stride - 1);
    }

    int mStart = -1;   // the last fixed pixel, -1: none since the last one that is out
    float mPhase = 0;  // radians, continued from there
    float mStep = 0;   // the last one
    bool mHasStep = false, mIsEven = true;
};

// A gap begins behind the pixel before the first one at rest and ends with the next one that is not.
void BridgeRow(GrowthImages& images, int y) {
    const unsigned char* const state = images.state[y];
    const int begin = y * images.state.cols, width = images.state.cols;
    Gap gap;
    for (int x = 0; x < width;) {
        const void* const found = std::memchr(state + x, eRest, static_cast<std::size_t>(width - x));
        if (!found) return;
        const auto first = static_cast<int>(static_cast<const unsigned char*>(found) - state);
        if (first > 0) gap.Visit(images, begin + first - 1, 1);
        for (x = first; x < width && state[x] == eRest; ++x) gap.Visit(images, begin + x, 1);
        if (x < width) gap.Visit(images, begin + x, 1);
    }
}

MEASURE_WIDE int CountRest(const unsigned char* state, int width) {
    int count = 0;
    for (int x = 0; x < width; ++x) count += state[x] == eRest;
    return count;
}

}  // namespace

float ReachOf(unsigned char trust) {
    return trust == eDoubtful ? std::numeric_limits<float>::infinity() : kRadiansPerPeriod + 1;
}

void BridgeGaps(GrowthImages& images) {
    const int stride = images.state.cols;
    std::atomic<int> rest{0};
    cv::parallel_for_(cv::Range(0, images.state.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            BridgeRow(images, y);
            rest += CountRest(images.state[y], stride);
        }
    });
    constexpr double kFew = 0.03;  // these can grow as well
    if (rest < kFew * static_cast<double>(images.state.total())) return;
    cv::parallel_for_(cv::Range(0, stride), [&](const cv::Range& columns) {
        std::vector<Gap> gaps(static_cast<std::size_t>(columns.size()));
        for (int y = 0; y < images.state.rows; ++y)
            for (int x = columns.start; x < columns.end; ++x)
                gaps[static_cast<std::size_t>(x - columns.start)].Visit(images, y * stride + x, stride);
    });
}

}  // namespace measure
