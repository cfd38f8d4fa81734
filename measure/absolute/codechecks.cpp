#include <algorithm>
#include <cmath>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/codeborders.h"
#include "measure/absolute/codesteps.h"
#include "measure/error.h"

namespace measure {
namespace {

// Borders that lie evenly about the right phase agree; a wrong period or width of the cells lets them drift.
void CheckEdges(DecodeState& state, const BorderPhases& edges, std::size_t set) {
    constexpr double kLeastConcentration = 0.5, kSure = 0.97, kLeastGain = 0.01, kFits = 0.9;
    const std::string names = "gray and " + NameOf(set);
    const double concentration = std::abs(edges.Mean()), period = state.axis.sines[set].period,
                 cell = state.axis.gray->cell;
    bool drifts = false;
    std::string likely = ": is the width of the cell or the period wrong?";
    if (concentration < kSure) {
        const double drift = edges.FindDrift(2 * CV_PI * cell / period / 3), without = std::abs(edges.Mean(drift));
        const double fitting = 1 / (1 / period + drift / (2 * CV_PI * cell));
        drifts = without > std::max(kFits, concentration + kLeastGain);
        if (drifts)
            likely = ": a period of " + Text(fitting) + " would fit, but " + Text(period) + " is given (or cells of " +
                     Text(cell * period / fitting) + " instead of " + Text(cell) + ")";
    }
    Require(state.result,
            {names + ": share of the borders of cells that fit to the phase", concentration, kLeastConcentration,
             concentration >= kLeastConcentration && !drifts},
            names + " do not fit to each other (" + Text(concentration) + " of 1)" + likely);
}

// With which frame, counted from 0, a list begins that makes the phase run ahead by so many periods; 0 for none.
std::size_t FindFirstFrame(const std::vector<double>& shifts, double ahead) {
    constexpr double kNear = 0.03;
    for (std::size_t first = 1; first < shifts.size(); ++first) {
        double off = 0;
        for (std::size_t i = 0; i < shifts.size(); ++i) {
            const double step = (shifts[(first + i) % shifts.size()] - shifts[i]) / (2 * CV_PI);
            off = std::max(off, std::abs(std::remainder(step - ahead, 1.0)));
        }
        if (off < kNear) return first;
    }
    return 0;
}

// By how many projector pixels the borders may be off: a projector shows cells of whole pixels.
double RoundingOf(const GrayCode& gray) {
    constexpr double kWhole = 1e-3, kHalf = 0.5;
    const auto isWhole = [](double v) { return std::abs(v - std::nearbyint(v)) < kWhole; };
    return isWhole(gray.cell) && isWhole(gray.offset) ? 0 : kHalf;
}

// The origin that is given against the one that the borders show; `measured` is the phase at the position 0, `error`
// its standard error.
void CheckOrigin(DecodeState& state, std::size_t set, double measured, double error) {
    constexpr double kMostOffset = 0.1, kClear = 0.02, kDeviations = 3;  // right ones are off by some thousandths
    const SineSet& sines = state.axis.sines[set];
    const double ahead = std::remainder((measured - state.origins[set]) / (2 * CV_PI), 1.0), off = std::abs(ahead);
    const std::string name = NameOf(set), names = "gray and " + name;
    const std::size_t first = FindFirstFrame(sines.shifts, ahead * state.axis.direction);
    const std::string rotated = first == 0 ? ""
                                           : "are the frames of " + name + " rotated, so that the list begins with " +
                                                 "number " + std::to_string(first + 1) + " of " +
                                                 std::to_string(sines.shifts.size()) + ", or ";
    const auto likely = [&](const char* key, double given, double fitting) {
        return std::string(key) + " (" + Text(given) + " is given, " + Text(fitting) + " would fit)";
    };
    const double origin = *state.axis.origin, offset = state.axis.gray->offset, columns = ahead * sines.period;
    const double unknown = kDeviations * error / (2 * CV_PI) + RoundingOf(*state.axis.gray) / sines.period;
    const bool isWrong = off > kMostOffset + unknown;
    const double limit = (isWrong ? kMostOffset : kClear) + unknown;
    (isWrong ? Require : Note)(state.result, {names + ": distance of the origins in periods", off, limit, off <= limit},
                               names + " do not begin at the same place (" + Text(off) + " periods off): " + rotated +
                                   "is " + likely("\"origin\"", origin, origin - columns) + " or " +
                                   likely("\"offset\"", offset, offset + columns) + " wrong?");
}

// What the positions of a scan without an origin have from the borders.
void NoteOrigin(DecodeState& state, double error) {
    constexpr double kNearly = 0.1;  // projector pixels
    const GrayCode& gray = *state.axis.gray;
    AbsolutePhase& result = state.result;
    result.offsetError = error;
    const double columns = error * result.period / (2 * CV_PI);
    if (RoundingOf(gray) > 0)
        result.notes.push_back("gray: a projector shows cells of whole pixels, \"cell\" is " + Text(gray.cell) +
                               " and \"offset\" " + Text(gray.offset) +
                               ": without \"origin\" all positions may be off by up to half a projector pixel");
    if (columns > kNearly)
        result.notes.push_back("gray: the borders of its cells tell the place where the phase is 0 to " +
                               Text(columns) +
                               " projector pixels only (standard error), so all positions may be off "
                               "by as much and more; give \"origin\"");
}

// Where the phase runs over cells, their borders must be seen.
void RequireBorders(const DecodeState& state, int changes) {
    constexpr int kFew = 100;
    constexpr double kSure = 30;
    const Ripple& ripple = state.result.ripples[static_cast<std::size_t>(state.result.finest)];
    const double cells = ripple.periodsInView * state.periods[0] / state.axis.gray->cell;
    const double expected = cells * std::sqrt(static_cast<double>(state.result.usable));
    if (changes < kFew && expected > kSure * kFew)
        throw InputError("gray: hardly any border between its cells is seen, although the fringes run over about " +
                         Text(cells) + " of them: are its pictures dark, or of another exposure or code?");
}

// The cells must follow each other, and the phase.
void CheckSteps(DecodeState& state, const BorderCollector& collector) {
    constexpr double kLeastOnes = 0.9, kLeastAgreeing = 0.75, kMirrored = 0.25, kLeastOfPicture = 0.5;
    const std::vector<CodeSteps> steps = collector.Steps();
    const auto bits = static_cast<int>(state.pictures.gray.size());
    const double ones = static_cast<double>(collector.Ones()) / collector.Count();
    const double agreeing = static_cast<double>(collector.Agreeing()) / std::max(collector.Ones(), 1);
    std::string slip = ExplainSteps(steps, bits, !state.pictures.inverse.empty());
    if (slip.empty() && (ones < kLeastOnes || agreeing < kLeastAgreeing)) {
        const WorstPicture stray = FindStrayPicture(steps, bits);
        if (stray.index >= 0)
            slip = CodeName(state.axis, static_cast<std::size_t>(stray.index)) +
                   " does not fit to the others: is it dark, without contrast, or of another exposure or code" +
                   (stray.index == 0 ? ", or are two frames of a set of fringes exchanged?" : "?");
    }
    Require(state.result,
            {"gray: share of its steps that lead to the next cell", ones, kLeastOnes,
             ones >= kLeastOnes && (slip.empty() || agreeing < kLeastAgreeing)},
            (ones < kLeastOnes ? "gray: its cells do not follow each other (" + Text(ones) + " of 1, at least " +
                                     Text(kLeastOnes) + " are needed): "
                               : "gray: its cells would follow the phase better: ") +
                (slip.empty() ? "are its pictures in the right order, the most significant bit first?" : slip));
    const std::string against =
        agreeing > kMirrored ? "are two frames of a set of fringes exchanged, or is a picture of the code there twice, "
                               "dark, or of another code?"
                             : "are the signs of all shifts wrong, is \"direction\" -1, or is the code mirrored, its "
                               "first picture exchanged with the inverse one?";
    Require(
        state.result,
        {"gray: share of its steps that go the way of the phase", agreeing, kLeastAgreeing, agreeing >= kLeastAgreeing},
        "gray: the code runs against the phase (" + Text(agreeing) + " of its steps go the same way, at least " +
            Text(kLeastAgreeing) + " are needed): " + (slip.empty() ? against : slip));
    const WorstPicture worst = FindWorstPicture(steps, bits);
    if (worst.index >= 0)
        Note(state.result,
             {"gray: share of the steps of any one picture that lead to the next cell", worst.share, kLeastOfPicture,
              worst.share >= kLeastOfPicture},
             CodeName(state.axis, static_cast<std::size_t>(worst.index)) + ": only " + Text(worst.share) +
                 " of its borders lead to the next cell: is it in its place in the list?");
}

// The borders must fit to the phase in all parts of the picture alike.
void CheckParts(DecodeState& state, const BorderCollector& collector) {
    constexpr double kMostElsewhere = 0.05;  // wires in much noise reach 0.036
    const double elsewhere = collector.ShareElsewhere();
    Note(state.result,
         {"gray: share of the borders of its cells in parts of the picture where they do not fit to the phase",
          elsewhere, kMostElsewhere, elsewhere <= kMostElsewhere},
         cv::format(
             "gray: %.1f %% of the borders of its cells are in parts of the picture where they lie elsewhere in the "
             "fringes than in the rest",
             100 * elsewhere) +
             ": did something move there between the fringes and the code?");
}

// The phases at the position 0, per set, which must be those of a given origin.
std::vector<double> CheckOrigins(DecodeState& state, const BorderCollector& collector) {
    std::vector<double> origins;
    for (std::size_t set = 0; set < state.Count(); ++set) {
        CheckEdges(state, collector.Phases(set), set);
        origins.push_back(std::arg(collector.Phases(set).Mean()));
        if (state.axis.origin) CheckOrigin(state, set, origins.back(), collector.StandardError(set));
    }
    if (!state.axis.origin) NoteOrigin(state, collector.StandardError(state.order[0]));
    return origins;
}

}  // namespace

std::vector<double> CheckCode(DecodeState& state, const GrayDecoding& code) {
    constexpr int kFewSteps = 100;
    BorderCollector collector(state, code);
    collector.Collect();
    if (collector.Count() < kFewSteps) {
        RequireBorders(state, collector.Changes());
        return {};
    }
    CheckSteps(state, collector);
    CheckParts(state, collector);
    return CheckOrigins(state, collector);
}

}  // namespace measure
