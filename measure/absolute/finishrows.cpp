#include "measure/absolute/finishrows.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <vector>

#include "measure/base/phase.h"
#include "measure/base/wide.h"
#include "measure/fringe/jumps.h"

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

// The logarithm of the probability of the next best order.
MEASURE_WIDE void HalveLeads(const float* __restrict lead, float* __restrict wrong, int width) {
    for (int x = 0; x < width; ++x) wrong[x] = -0.5f * std::min(lead[x], 100.0f);
}

// `wrong` is the probability of the next best order. Phases that fit each other by more than three deviations badly may
// have no right order.
MEASURE_WIDE void RatePixels(const float* __restrict residual, const float* __restrict lead,
                             const float* __restrict wrong, bool isCoded, std::uint8_t* __restrict reliability,
                             int width) {
    constexpr float kMuch = 9;
    const float ofCode = isCoded ? 1.0f : 0.0f, ofSets = 1 - ofCode;
    for (int x = 0; x < width; ++x) {
        const float likely = (1 - wrong[x]) * (kMuch / std::max(ofSets * MisfitOf(residual[x], lead[x]), kMuch));
        const float near = 1 - ofCode * 2 * residual[x];
        const float rating = std::min(std::max(std::min(likely, near), 0.0f), 1.0f);
        reliability[x] = static_cast<std::uint8_t>(static_cast<int>(255.0f * rating + 0.5f));
    }
}

// Whether all pixels have the highest rating for certain.
MEASURE_WIDE bool AreCertain(const float* residual, const float* lead, int width) {
    constexpr float kMuch = 40, kFits = 9;  // the others' probability is lost when it is taken off 1
    int certain = 1;
    for (int x = 0; x < width; ++x) {
        const float share = std::min(residual[x], 0.499f);
        certain &= (lead[x] >= kMuch) & (lead[x] * share * share <= kFits * (1 - 2 * share));
    }
    return certain != 0;
}

void RateRow(const float* residual, const float* lead, bool isCoded, std::uint8_t* reliability, int width) {
    if (!isCoded && AreCertain(residual, lead, width)) {
        std::fill_n(reliability, width, std::uint8_t{255});
        return;
    }
    cv::Mat1f wrong(1, width);
    HalveLeads(lead, wrong[0], width);
    cv::exp(wrong, wrong);
    RatePixels(residual, lead, wrong[0], isCoded, reliability, width);
}

struct Doubt {
    int pixels = 0, doubtful = 0;  // usable ones
};

MEASURE_WIDE void CountDoubtful(const float* lead, float limit, const std::uint8_t* usable, int width, Doubt& doubt) {
    int pixels = 0, doubtful = 0;
    for (int x = 0; x < width; ++x) {
        const int isUsable = usable[x] != 0;
        pixels += isUsable;
        doubtful += isUsable & (lead[x] < limit);
    }
    doubt.pixels += pixels;
    doubt.doubtful += doubtful;
}

MEASURE_WIDE int CountOutsideInRow(const float* values, float least, float most, int width) {
    int count = 0;
    for (int x = 0; x < width; ++x) count += (values[x] < least) | (values[x] > most);  // false for NaN
    return count;
}

// From absolute phases to positions, in pixels of the projector.
MEASURE_WIDE void LocateRow(const float* __restrict phase, float perRadian, float* __restrict coordinate, int width) {
    for (int x = 0; x < width; ++x) coordinate[x] = phase[x] * perRadian;
}

// Back to phases as they were measured, from another zero and in their own direction.
MEASURE_WIDE void CountFrom(float offset, float direction, float* phase, int width) {
    for (int x = 0; x < width; ++x) phase[x] = phase[x] * direction + offset;
}

struct TrustRow {
    const float *fine, *residual, *lead, *margin;
    const short* order;
    const std::uint8_t* usable;
};
struct TrustLimits {
    float begin, end;  // periods, between which the positions lie
    int gainOfRead;    // in trust, from a code that could be read
    float residual;    // the largest one
};
constexpr float kForever = 1e30f;

MEASURE_WIDE void MarkRow(const TrustRow& row, const TrustLimits& limits, std::uint8_t* __restrict trust, int width) {
    constexpr float kLeastLead = 4.0f;
    const TrustRow r = row;
    const TrustLimits l = limits;
    for (int x = 0; x < width; ++x) {
        const float position = r.fine[x] * kPeriodsPerRadian + static_cast<float>(r.order[x]);
        const int isInside = (position >= l.begin) & (position <= l.end);
        const int isRead = r.margin[x] >= kLeastMargin;
        const int isSure = (r.residual[x] <= l.residual) & (r.lead[x] >= kLeastLead) & isInside & isRead;
        const int unsure = eDoubtful + (isRead & l.gainOfRead), known = isSure * eTrusted + (1 - isSure) * unsure;
        trust[x] = static_cast<std::uint8_t>(known & r.usable[x]);
    }
}

MEASURE_WIDE void OpenRow(const float* __restrict fine, float slack, float end, int count, short* __restrict order,
                          int width) {
    const auto turn = static_cast<float>(count);
    for (int x = 0; x < width; ++x) {
        const float position = fine[x] * kPeriodsPerRadian + static_cast<float>(order[x]);
        const int isLast = (position < -slack) & (position + turn <= end);
        order[x] = static_cast<short>(order[x] + isLast * count);
    }
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

std::vector<cv::Rect> FindDoubtfulTiles(const cv::Mat1f& lead, float limit, const cv::Mat1b& usable) {
    constexpr int kTile = 64;
    constexpr double kFew = 0.01;  // a few pixels find their order by growth
    const cv::Rect image({}, lead.size());
    const int across = (image.width + kTile - 1) / kTile, down = (image.height + kTile - 1) / kTile;
    std::vector<Doubt> doubts(static_cast<std::size_t>(across * down));
    cv::parallel_for_(cv::Range(0, down), [&](const cv::Range& bands) {  // whole rows, which memory gives faster
        for (int y = bands.start * kTile; y < std::min(bands.end * kTile, image.height); ++y)
            for (int i = 0, x = 0; i < across; ++i, x += kTile)
                CountDoubtful(lead[y] + x, limit, usable[y] + x, std::min(kTile, image.width - x),
                              doubts[static_cast<std::size_t>(y / kTile * across + i)]);
    });
    std::vector<cv::Rect> tiles;
    for (int i = 0; i < across * down; ++i) {
        const Doubt& doubt = doubts[static_cast<std::size_t>(i)];
        if (doubt.doubtful > kFew * doubt.pixels)
            tiles.push_back(cv::Rect(i % across * kTile, i / across * kTile, kTile, kTile) & image);
    }
    return tiles;
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
    ForRows(phase, [&](int y) { OpenRow(phase[y], slack, end, count, order[y], phase.cols); });
}

void MarkTrusted(const DecodeState& state, const DecidedRows& rows, cv::Mat1b& trust) {
    const float period = static_cast<float>(state.result.period), slack = Slack(state.result.period) / period;
    const float end = static_cast<float>(state.axis.length) / period + slack;
    const bool isSingle = !rows.range.center.empty() && rows.range.count == 1;  // the code alone decides
    const int gain = isSingle ? eNearly - eDoubtful : 0;
    // Positions are spread over a cell; near its borders it may have been taken for the next one.
    constexpr double kMostResidual = 0.25, kShareOfCell = 0.7;
    const double inCell = isSingle ? kShareOfCell * state.axis.gray->cell / (2 * state.result.period) : 0;
    const auto residual = static_cast<float>(std::max(kMostResidual, inCell));
    const TrustLimits limits = state.result.repeat > 0 ? TrustLimits{-kForever, kForever, gain, residual}
                                                       : TrustLimits{-slack, end, gain, residual};
    const OrderDecision& decision = rows.decision;
    const std::vector<float> noMargin(static_cast<std::size_t>(trust.cols), 1.0f);
    ForRows(trust, [&](int y) {
        const float* margin = rows.margin.empty() ? noMargin.data() : rows.margin[y];
        MarkRow({rows.phase[y], decision.residual[y], decision.lead[y], margin, decision.order[y], rows.usable[y]},
                limits, trust[y], trust.cols);
    });
}

void RateOrders(const OrderDecision& decision, bool isCoded, cv::Mat1b& reliability) {
    constexpr int kPart = 128;  // of a row
    ForRows(reliability, [&](int y) {
        for (int x = 0; x < reliability.cols; x += kPart)
            RateRow(decision.residual[y] + x, decision.lead[y] + x, isCoded, reliability[y] + x,
                    std::min(kPart, reliability.cols - x));
    });
}

void FinishResult(DecodeState& state) {
    AbsolutePhase& result = state.result;
    result.modulation = state.Finest().modulation;
    result.valid = cv::countNonZero(result.mask);
    result.coordinate = state.spares.Take<float>(result.mask.size());
    const auto direction = static_cast<float>(result.direction), offset = static_cast<float>(result.offset);
    const float slack = 2 * Slack(result.period), end = static_cast<float>(state.axis.length) + slack;
    const auto perRadian = static_cast<float>(result.period / (2 * CV_PI));
    std::atomic<int> beyond{0};
    ForRows(result.mask, [&](int y) {
        const int width = result.mask.cols;
        LocateRow(result.phase[y], perRadian, result.coordinate[y], width);
        beyond += CountOutsideInRow(result.coordinate[y], -slack, end, width);
        if (offset != 0 || direction < 0) CountFrom(offset, direction, result.phase[y], width);
        const std::uint8_t* const mask = result.mask[y];
        std::uint8_t* const reliability = result.reliability[y];
        for (int x = 0; x < width; ++x) reliability[x] &= mask[x];
    });
    state.beyond = beyond;
    result.jumps.where = state.spares.Take<std::uint8_t>(result.mask.size());
    result.jumps.count = MarkJumps(result.phase, result.jumps.where);
}

}  // namespace measure
