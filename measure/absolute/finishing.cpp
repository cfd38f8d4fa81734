#include "measure/absolute/finishing.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>

#include "measure/absolute/wrapping.h"

namespace measure {
namespace {

template <class Visit>
void ForRows(const cv::Mat& image, const Visit& visit) {
    cv::parallel_for_(cv::Range(0, image.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) visit(y);
    });
}

// Projector pixels by which noise may carry a position beyond the end of the code.
float Slack(double period) { return static_cast<float>(1 + 0.03 * period); }

// 255 times the probability that the order is right.
void RateRow(const float* residual, const float* lead, bool isCoded, cv::Mat1f& buffer, std::uint8_t* reliability,
             const std::uint8_t* mask) {
    const int width = buffer.cols;
    float* chance = buffer[0];
    for (int x = 0; x < width; ++x) chance[x] = -0.5f * std::min(lead[x], 100.0f);
    cv::exp(buffer, buffer);
    for (int x = 0; x < width; ++x) {
        const float likely = 1 - chance[x], near = isCoded ? 1 - 2 * residual[x] : 1.0f;
        const float rating = std::clamp(std::min(likely, near), 0.0f, 1.0f);
        reliability[x] = mask[x] ? static_cast<std::uint8_t>(255.0f * rating + 0.5f) : std::uint8_t{0};
    }
}

int CountJumps(const cv::Mat1f& phase) {
    constexpr auto kHalf = static_cast<float>(CV_PI);
    std::atomic<int> jumps{0};
    ForRows(phase, [&](int y) {
        const float *here = phase[y], *below = y + 1 < phase.rows ? phase[y + 1] : here;
        int count = 0;
        for (int x = 0; x + 1 < phase.cols; ++x)
            count += (std::abs(here[x + 1] - here[x]) > kHalf) + (std::abs(below[x] - here[x]) > kHalf);
        jumps += count + (std::abs(below[phase.cols - 1] - here[phase.cols - 1]) > kHalf);
    });
    return jumps;
}

}  // namespace

cv::Mat1f PredictOrders(const cv::Mat1w& code, const GrayCode& gray, const cv::Mat1f& phase, double period) {
    cv::Mat1f center(phase.size());
    const auto scale = static_cast<float>(gray.cell / period);
    const auto start = static_cast<float>((0.5 * gray.cell + gray.offset - 0.5) / period);
    ForRows(phase, [&](int y) {
        const std::uint16_t* cell = code[y];
        const float* fine = phase[y];
        float* order = center[y];
        for (int x = 0; x < phase.cols; ++x)
            order[x] = static_cast<float>(cell[x]) * scale + start - fine[x] * kPeriodsPerRadian;
    });
    return center;
}

void ReplaceDecision(OrderDecision& decision, const OrderDecision& other, const cv::Mat1b& where,
                     const cv::Mat1f& otherPhase, const cv::Mat1f& phase) {
    ForRows(phase, [&](int y) {
        for (int x = 0; x < phase.cols; ++x) {
            if (!where(y, x)) continue;
            const float periods = Nearest((otherPhase(y, x) - phase(y, x)) * kPeriodsPerRadian);
            decision.order(y, x) = static_cast<short>(other.order(y, x) + static_cast<int>(periods));
            decision.residual(y, x) = other.residual(y, x);
            decision.lead(y, x) = other.lead(y, x);
        }
    });
}

void OpenRing(const cv::Mat1f& phase, double period, double length, int count, cv::Mat1s& order) {
    const float slack = Slack(period) / static_cast<float>(period), end = static_cast<float>(length / period) + slack;
    ForRows(phase, [&](int y) {
        const float* fine = phase[y];
        short* k = order[y];
        for (int x = 0; x < phase.cols; ++x) {
            const float position = fine[x] * kPeriodsPerRadian + k[x];
            const bool isLast = position < -slack && position + static_cast<float>(count) <= end;
            k[x] = static_cast<short>(k[x] + (isLast ? count : 0));
        }
    });
}

cv::Mat1b MarkTrusted(const DecodeState& state, const OrderDecision& decision, const GrayDecoding& code,
                      const OrderRange& range, const cv::Mat1f& phase) {
    constexpr float kMostResidual = 0.25f, kLeastMargin = 0.2f, kLeastLead = 4.0f;
    const auto period = static_cast<float>(state.result.period), slack = Slack(state.result.period);
    const bool isSingle = !range.center.empty() && range.count == 1;  // the code alone decides
    const bool isEndless = state.result.repeat > 0;
    const float end = static_cast<float>(state.axis.length) + slack;
    cv::Mat1b trust(phase.size());
    ForRows(phase, [&](int y) {
        const float *fine = phase[y], *residual = decision.residual[y], *lead = decision.lead[y];
        const float* margin = code.margin.empty() ? nullptr : code.margin[y];
        const short* order = decision.order[y];
        const std::uint8_t* usable = state.usable[y];
        std::uint8_t* out = trust[y];
        for (int x = 0; x < phase.cols; ++x) {
            const float position = (fine[x] * kPeriodsPerRadian + order[x]) * period;
            const bool isInside = isEndless | ((position >= -slack) & (position <= end));
            const bool isRead = isSingle && margin[x] >= kLeastMargin;
            const bool isSure = (residual[x] <= kMostResidual) & (lead[x] >= kLeastLead) & isInside &
                                (!margin || margin[x] >= kLeastMargin);
            out[x] = !usable[x] ? eNoPhase : isSure ? eTrusted : isRead ? eNearly : eDoubtful;
        }
    });
    return trust;
}

void FinishResult(DecodeState& state, const OrderDecision& decision) {
    AbsolutePhase& result = state.result;
    result.modulation = state.Finest().modulation;
    result.valid = cv::countNonZero(result.mask);
    result.coordinate = result.phase * (result.period / (2 * CV_PI));
    if (result.offset != 0 || result.direction < 0)
        result.phase.convertTo(result.phase, CV_32F, result.direction, result.offset);
    result.reliability.create(result.mask.size());
    const bool isCoded = state.axis.gray.has_value();
    ForRows(result.mask, [&](int y) {
        cv::Mat1f buffer(1, result.mask.cols);
        RateRow(decision.residual[y], decision.lead[y], isCoded, buffer, result.reliability[y], result.mask[y]);
    });
    result.jumps = CountJumps(result.phase);
    if (result.valid == 0) return;
}

}  // namespace measure
