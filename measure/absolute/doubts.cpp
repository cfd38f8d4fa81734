// What speaks against a result that has been decoded.
#include <algorithm>
#include <cmath>
#include <complex>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/base/wide.h"
#include "measure/error.h"

namespace measure {
namespace {

constexpr float kSteep = 10;  // projector pixels per pixel; edges of objects are steeper

// How much more the coordinate rises, or falls, across the picture than down, of -1 to 1.
double AcrossOf(const cv::Mat1f& coordinate) {
    constexpr int kStep = 5;
    double across = 0, down = 0;
    for (int y = 0; y + 1 < coordinate.rows; y += kStep) {
        for (int x = 0; x + 1 < coordinate.cols; x += kStep) {
            const float here = coordinate(y, x), right = coordinate(y, x + 1) - here,
                        below = coordinate(y + 1, x) - here;
            if (!std::isfinite(right) || !std::isfinite(below)) continue;
            across += static_cast<double>(std::clamp(right, -kSteep, kSteep));
            down += static_cast<double>(std::clamp(below, -kSteep, kSteep));
        }
    }
    across = std::abs(across);
    down = std::abs(down);
    return (across - down) / std::max(across + down, 1e-9);
}

// Steps of about one period between neighbours.
bool IsPeriod(float step, float period) { return std::abs(std::abs(step) - period) < 0.25f * period; }

MEASURE_WIDE int CountPeriods(const float* a, const float* b, float period, int count) {
    int found = 0;
    for (int x = 0; x < count; ++x) found += IsPeriod(b[x] - a[x], period);
    return found;
}

// Steps of one period in the midst of a surface. Those of orders that a code makes wrong by one lie at one place of its
// cells, where such edges of objects as have that size lie anywhere and cancel in the sum.
double CountSlipsAtBorders(const cv::Mat1f& coordinate, double period, double cell) {
    const auto size = static_cast<float>(period), even = 0.05f * size;
    std::complex<double> sum;
    // Those that lie one period farther apart than the surface runs on before and behind them.
    const auto add = [&](const float* before, const float* a, const float* b, const float* after, int count) {
        if (CountPeriods(a, b, size, count) == 0) return;
        for (int x = 0; x < count; ++x) {
            const float step = b[x] - a[x], rest = step > 0 ? step - size : step + size;
            if (!IsPeriod(step, size) || !(std::abs(rest - (a[x] - before[x])) < even) ||
                !(std::abs(rest - (after[x] - b[x])) < even))
                continue;
            sum += std::polar(1.0, 2 * CV_PI * static_cast<double>(a[x] + rest / 2) / cell);
        }
    };
    constexpr int kStep = 4;
    for (int y = 0; y + 3 < coordinate.rows; y += kStep) {
        const float* const row = coordinate[y];
        add(row, row + 1, row + 2, row + 3, coordinate.cols - 3);
        add(row, coordinate[y + 1], coordinate[y + 2], coordinate[y + 3], coordinate.cols);
    }
    return kStep * std::abs(sum);
}

// Of the valid pixels, those in which noise alone may turn a bit of the code.
double ShareOfUnreadable(const DecodeState& state) {
    constexpr int kStep = 5;
    const auto readable = static_cast<float>(state.ReadableModulation());
    int all = 0, unreadable = 0;
    for (int y = 0; y < state.result.mask.rows && readable > 0; y += kStep)
        for (int x = 0; x < state.result.mask.cols; x += kStep) {
            if (!state.result.mask(y, x)) continue;
            ++all;
            unreadable += state.result.modulation(y, x) < readable;
        }
    return static_cast<double>(unreadable) / std::max(all, 1);
}

void NoteSlips(DecodeState& state, double valid) {
    constexpr double kMostSlips = 1e-3;
    if (!state.axis.gray) return;
    const double slips =
        CountSlipsAtBorders(state.result.coordinate, state.result.period, state.axis.gray->cell) / valid;
    Note(state.result,
         {"gray: steps of one period at the borders of its cells, per pixel", slips, kMostSlips, slips <= kMostSlips},
         cv::format("gray: surfaces are torn by steps of one period at the borders of its cells, %.1f per thousand "
                    "pixels: did something move, or the light change, while it was shown?",
                    1000 * slips));
}

}  // namespace

std::string HintOfExchangedDirections(const AbsolutePhase& columns, const AbsolutePhase& rows) {
    constexpr double kClear = 0.5;
    if (AcrossOf(columns.coordinate) > -kClear || AcrossOf(rows.coordinate) < kClear) return {};
    return "the columns of the projector run down the picture and its rows across: if the camera is not turned by 90 "
           "degrees, the pictures of \"columns\" and \"rows\" are exchanged";
}

void NoteDoubts(DecodeState& state) {
    constexpr double kMostCorrected = 0.1, kMostTorn = 0.01, kMostMisfits = 0.01, kMostContradicted = 0.01,
                     kLeastValid = 0.9, kMostBeyond = 0.005, kMostSaturated = 0.01, kNothing = 0.01,
                     kOfUnreadable = 0.2;
    AbsolutePhase& result = state.result;
    const auto percent = [](double share) { return cv::format("%.1f %%", 100 * share); };
    if (result.repeat > 0)
        result.warnings.push_back(
            cv::format("the fringes repeat before the end of the projector: orders are known modulo %d only",
                       result.repeat) +
            (result.components > 1 ? cv::format(", between %d separate areas", result.components) : std::string()));
    const double usable = std::max(result.usable, 1), valid = std::max(result.valid, 1);
    const auto limit = [&](const char* what, double share, double most, const std::string& text) {
        Note(result, {what, share, most, share <= most}, text);
    };
    const double contradicted = result.contradicted / usable;
    limit("share of the usable pixels that their neighbours contradict", contradicted, kMostContradicted,
          percent(contradicted) + " of the usable pixels were dropped because their neighbours contradict them");
    const double corrected = result.corrected / valid;
    limit("share of the pixels whose order was corrected by neighbours", corrected,
          kMostCorrected + kOfUnreadable * ShareOfUnreadable(state),
          percent(corrected) +
              " of the pixels were given another order than their own by their neighbours: do all "
              "pictures belong to this scan and stand in their place?");
    limit("share of the pixels in torn parts where many orders were corrected by neighbours", state.torn, kMostTorn,
          "in " + percent(state.torn) +
              " of the picture surfaces jump although many pixels were given another order than their own by their "
              "neighbours: did something move there, or the light change, between the pictures?");
    limit("share of the pixels in parts where the sets fit to no order", state.misfits, kMostMisfits,
          "in " + percent(state.misfits) +
              " of the picture the sets do not fit to each other: did something move there between them, or does light "
              "reach it from other parts of the scene?");
    const double kept = valid / usable;
    if (kept < kNothing)
        throw NothingUsable("hardly any of the usable pixels has an order that its neighbours agree with (" +
                            percent(kept) + "): do all pictures belong to this scan and to its description?");
    Note(result, {"share of the usable pixels that have a phase", kept, kLeastValid, kept >= kLeastValid},
         "only " + percent(kept) +
             " of the usable pixels have an absolute phase; for the others the pictures ask for no order that their "
             "neighbours agree with");
    NoteSlips(state, valid);
    if (result.repeat == 0) {
        const double beyond = state.beyond / valid;
        limit("share of the positions beyond the projector", beyond, kMostBeyond,
              percent(beyond) +
                  " of the positions lie beyond the projector: are the frames of a set rotated, so that "
                  "its list begins with another one, or is \"length\" wrong?");
    }
    for (std::size_t set = 0; set < result.saturated.size(); ++set)
        if (result.saturated[set] > kMostSaturated)
            result.warnings.push_back(NameOf(set) + ": " + percent(result.saturated[set]) +
                                      " of the pixels are saturated and left out; expose shorter");
}

}  // namespace measure
