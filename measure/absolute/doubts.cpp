// What speaks against a result that has been decoded.
#include <algorithm>
#include <cmath>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
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

}  // namespace

std::string HintOfExchangedDirections(const AbsolutePhase& columns, const AbsolutePhase& rows) {
    constexpr double kClear = 0.5;
    if (AcrossOf(columns.coordinate) > -kClear || AcrossOf(rows.coordinate) < kClear) return {};
    return "the columns of the projector run down the picture and its rows across: are the pictures of \"columns\" and "
           "\"rows\" exchanged, or is the camera turned by 90 degrees?";
}

void NoteDoubts(DecodeState& state) {
    constexpr double kMostCorrected = 0.1, kMostContradicted = 0.01, kLeastValid = 0.9, kMostBeyond = 0.005,
                     kMostSaturated = 0.01, kNothing = 0.01;
    AbsolutePhase& result = state.result;
    const auto percent = [](double share) { return cv::format("%.1f %%", 100 * share); };
    if (result.repeat > 0)
        result.warnings.push_back(
            cv::format("the fringes repeat before the end of the projector: orders are known modulo %d only, between "
                       "%d separate areas",
                       result.repeat, result.components));
    const double usable = std::max(result.usable, 1), valid = std::max(result.valid, 1);
    const double contradicted = result.contradicted / usable;
    Note(result,
         {"share of the usable pixels that their neighbours contradict", contradicted, kMostContradicted,
          contradicted <= kMostContradicted},
         percent(contradicted) + " of the usable pixels were dropped because their neighbours contradict them");
    const double corrected = result.corrected / valid;
    Note(result,
         {"share of the pixels whose order was corrected by neighbours", corrected, kMostCorrected,
          corrected <= kMostCorrected},
         percent(corrected) +
             " of the pixels were given another order than their own by their neighbours: do all "
             "pictures belong to this scan and stand in their place?");
    const double kept = valid / usable;
    if (kept < kNothing)
        throw NothingUsable("hardly any of the usable pixels has an order that its neighbours agree with (" +
                            percent(kept) + "): do all pictures belong to this scan and to its description?");
    Note(result, {"share of the usable pixels that have a phase", kept, kLeastValid, kept >= kLeastValid},
         "only " + percent(kept) +
             " of the usable pixels have an absolute phase; for the others the pictures ask for no order that their "
             "neighbours agree with");
    if (result.repeat == 0) {
        const double beyond = state.beyond / valid;
        Note(result, {"share of the positions beyond the projector", beyond, kMostBeyond, beyond <= kMostBeyond},
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
