#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "measure/absolute.h"
#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/coding.h"
#include "measure/absolute/decodestate.h"
#include "measure/absolute/finishrows.h"
#include "measure/absolute/noise.h"
#include "measure/absolute/sharedripple.h"
#include "measure/error.h"

namespace measure {
namespace {

class AxisDecoder {
public:
    AxisDecoder(const CodedAxis& axis, const AxisPictures& pictures, const DecodeOptions& options,
                const Progress& progress)
        : mState{axis, pictures, options}, mProgress(progress) {}

    AbsolutePhase Run() {
        CheckPictures(Axis(), mState.pictures);
        FindFinest();
        Solve();
        CorrectRipples();
        mProgress.Report("checking the coding", 0.4);
        Result().noise = EstimateNoise(mState);
        FindBest(mState);
        if (mState.options.correctRipple && !Axis().gray) CorrectSharedRipple(mState);
        if (Axis().direction < 0)
            for (FringePhase& fringes : mState.fringes) cv::subtract(0.0, fringes.phase, fringes.phase);
        CheckFrameOrder(mState);
        CheckMeans(mState);
        DecodeCode();
        FindOrigins();
        Decide();
        Grow();
        FinishResult(mState, mDecision);
        return std::move(mState.result);
    }

private:
    const CodedAxis& Axis() const { return mState.axis; }
    AbsolutePhase& Result() { return mState.result; }
    std::size_t Finest() const { return static_cast<std::size_t>(mState.result.finest); }

    // The finest set first, then by falling periods.
    void FindFinest() {
        std::vector<std::size_t> order(Axis().sines.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        const auto period = [&](std::size_t set) { return Axis().sines[set].period; };
        std::stable_sort(order.begin(), order.end(), [&](auto a, auto b) { return period(a) < period(b); });
        mOrder = order;
        for (const std::size_t set : order) mPeriods.push_back(period(set));
        Result().finest = static_cast<int>(order[0]);
        Result().period = mPeriods[0];
        Result().direction = Axis().direction;
        Result().length = Axis().length;
        if (Axis().length / mPeriods[0] > 30000)
            throw InputError("length: more than 30000 periods of the finest set cannot be told apart");
        mRepeat = FindRepeat(mPeriods, Axis().length);
        const bool isCovered = mRepeat == 0 || mRepeat * mPeriods[0] >= Axis().length * (1 - 1e-3);
        if (Axis().gray) return RequireNarrowCells();
        if (isCovered) return;
        Result().repeat = mRepeat;
        if (mRepeat == 1)
            throw InputError(NameOf(Finest()) +
                             ": fringes of one period cannot tell which fringe is which; add sets of "
                             "other periods or a Gray code, or unwrap the phase spatially");
    }

    // Orders of the finest set that the sets tell apart.
    double DistinctOrders() const { return mRepeat > 0 ? mRepeat : Axis().length / mPeriods[0]; }

    void RequireNarrowCells() const {
        const double most = DistinctOrders() * mPeriods[0], cell = Axis().gray->cell;
        if (cell > most * (1 + 1e-6))
            throw InputError("gray.cell: cells of " + Text(cell) +
                             " projector pixels are wider than what the sets of "
                             "fringes tell apart (" +
                             Text(most) + "): they cannot tell the orders");
    }

    void Solve() {
        for (std::size_t i = 0; i < Axis().sines.size(); ++i) {
            try {
                mState.fringes.push_back(
                    SolveFringes({mState.pictures.sines[i], Axis().sines[i].shifts}, mState.options.limits, mProgress));
            } catch (const InputError& error) {
                throw InputError(NameOf(i) + ": " + error.what());
            }
        }
        mState.usable = mState.fringes[0].usable.clone();
        for (const FringePhase& fringes : mState.fringes) mState.usable &= fringes.usable;
        Result().usable = cv::countNonZero(mState.usable);
        constexpr double kLeastShare = 1e-3;
        if (Result().usable < std::max(100.0, kLeastShare * static_cast<double>(mState.usable.total())))
            throw NothingUsable(
                "hardly any pixel has enough light and modulation in all sets: the pictures are too "
                "dark or saturated, or the fringes do not move from frame to frame");
    }

    // Sets of few periods cannot tell their ripple; they take that of the finest set with the same shifts.
    void CorrectRipples() {
        std::vector<Ripple>& ripples = Result().ripples;
        for (FringePhase& fringes : mState.fringes) {
            const cv::Mat1b own = fringes.usable;
            fringes.usable = mState.usable;
            ripples.push_back(EstimateRipple(fringes, mProgress));
            fringes.usable = own;
        }
        for (std::size_t i = 0; i < ripples.size(); ++i) {
            if (!ripples[i].known)
                for (const std::size_t other : mOrder)
                    if (ripples[other].known && Axis().sines[other].shifts == Axis().sines[i].shifts) {
                        const double inView = ripples[i].periodsInView;
                        ripples[i] = ripples[other];
                        ripples[i].periodsInView = inView;
                        break;
                    }
            if (mState.options.correctRipple) CorrectRipple(mState.fringes[i], ripples[i], mProgress);
        }
    }

    void DecodeCode() {
        if (!Axis().gray) return;
        mProgress.Report("decoding the Gray code", 0.5);
        const AxisPictures& pictures = mState.pictures;
        const cv::Mat1f& modulation = mState.Finest().modulation;
        if (!pictures.inverse.empty()) {
            mCode = DecodeGray(pictures.gray, pictures.inverse, modulation);
        } else if (!pictures.white.empty() && !pictures.black.empty()) {
            cv::Mat1f threshold;
            cv::addWeighted(pictures.white, 0.5, pictures.black, 0.5, 0.0, threshold, CV_32F);
            mCode = DecodeGray(pictures.gray, threshold, modulation);
        } else {
            mCode = DecodeGray(pictures.gray, mState.Finest().mean, modulation);
        }
    }

    void FindOrigins() {
        const double origin = Axis().origin.value_or(0.0);
        for (const SineSet& set : Axis().sines) mState.origins.push_back(-2 * CV_PI * origin / set.period);
        if (Axis().gray) {
            const CodeEdges edges = CheckCode(mState, mCode);
            if (!Axis().origin && !edges.origins.empty()) {
                mState.origins = edges.origins;
                mState.commonOrigins = false;
            }
            if (!Axis().origin && edges.origins.empty())
                Result().warnings.push_back(
                    "gray: hardly any border between its cells is seen, so the column where the "
                    "phase is 0 is not known and taken as 0; give \"origin\"");
        }
        const std::vector<double> offsets = CheckRelations(mState);
        for (std::size_t set = 0; set < offsets.size(); ++set) mState.origins[set] += offsets[set];
        Result().offset = Result().direction * mState.origins[Finest()];
        for (FringePhase& fringes : mState.fringes)  // what follows needs other images of that size
            fringes.mean = fringes.residual = cv::Mat1f();
    }

    void Decide() {
        mProgress.Report("deciding the orders", 0.6);
        std::vector<PhaseSet> sets;
        for (std::size_t i = 0; i < mOrder.size(); ++i) {
            const std::size_t set = mOrder[i];
            const FringePhase& fringes = mState.fringes[set];
            PhaseSet phase{fringes.phase, fringes.modulation, mPeriods[i], static_cast<int>(fringes.shifts.size())};
            if (mState.origins[set] != 0) cv::subtract(phase.phase, mState.origins[set], phase.phase);
            sets.push_back(std::move(phase));
        }
        mFine = sets[0].phase;
        mRange = FindRange();
        if (mRange.count == 1) sets.resize(1);
        mDecision = DecideOrders(sets, mRange, Result().noise);
        if (sets.size() > 1) DecideDoubtful(sets);
        if (mIsRing && Result().repeat == 0) OpenRing(mFine, mPeriods[0], Axis().length, mRepeat, mDecision.order);
    }

    // Where noise leaves doubt, the phases of some pixels together decide.
    void DecideDoubtful(const std::vector<PhaseSet>& sets) {
        constexpr int kTile = 64;
        const cv::Rect image(cv::Point(), mFine.size());
        const int across = (image.width + kTile - 1) / kTile, down = (image.height + kTile - 1) / kTile;
        cv::parallel_for_(cv::Range(0, across * down), [&](const cv::Range& tiles) {
            for (int i = tiles.start; i < tiles.end; ++i)
                DecideDoubtful(sets, cv::Rect(i % across * kTile, i / across * kTile, kTile, kTile) & image);
        });
    }

    void DecideDoubtful(const std::vector<PhaseSet>& sets, const cv::Rect& tile) {
        constexpr double kLeastLead = 16, kFew = 0.01;  // a few pixels find their order by growth
        cv::Mat1b doubtful;
        cv::compare(mDecision.lead(tile), kLeastLead, doubtful, cv::CMP_LT);
        doubtful &= mState.usable(tile);
        if (cv::countNonZero(doubtful) <= kFew * cv::countNonZero(mState.usable(tile))) return;
        std::vector<PhaseSet> smooth;
        for (const PhaseSet& set : sets) smooth.push_back(Smooth(set, mState.usable, tile));
        const OrderRange range{mRange.count, mRange.center.empty() ? cv::Mat1f() : cv::Mat1f(mRange.center(tile))};
        const OrderDecision decision = DecideOrders(smooth, range, Result().noise);
        OrderDecision part{mDecision.order(tile), mDecision.residual(tile), mDecision.lead(tile)};
        ReplaceDecision(part, decision, doubtful, smooth[0].phase, mFine(tile));
    }

    OrderRange FindRange() {
        const double orders = Axis().length / mPeriods[0];
        OrderRange range;
        if (!Axis().gray) {
            const auto all = static_cast<int>(std::ceil(orders - 1e-3)) + 1;
            mIsRing = mRepeat > 0 && mRepeat <= 2 * all;
            range.count = mIsRing ? mRepeat : all;
            return range;
        }
        const GrayCode& gray = *Axis().gray;
        const double wanted = std::min(DistinctOrders(), 2 * gray.cell / mPeriods[0]);
        range.count = std::max(1, static_cast<int>(std::lround(wanted)));
        range.center = PredictOrders(mCode.code, gray, mFine, mPeriods[0]);
        return range;
    }

    void Grow() {
        const cv::Mat1b trust = MarkTrusted(mState, mDecision, mCode, mRange, mFine);
        mCode = {};
        mRange.center.release();
        GrowthOptions growth = mState.options.growth;
        growth.repeat = Result().repeat;
        GrownOrders grown = GrowOrders(mFine, mDecision.order, trust, growth, mProgress);
        Result().phase = grown.absolute;
        Result().mask = grown.mask;
        Result().corrected = grown.corrected;
        Result().contradicted = grown.contradicted;
        Result().components = grown.components;
    }

    DecodeState mState;
    const Progress& mProgress;
    std::vector<std::size_t> mOrder;  // sets by rising period
    std::vector<double> mPeriods;     // in that order
    GrayDecoding mCode;
    cv::Mat1f mFine;  // the phase of the finest set above its origin
    OrderRange mRange;
    int mRepeat = 0;       // of the sets, which may be longer than the length
    bool mIsRing = false;  // the candidates form a ring: the first one follows on the last one
    OrderDecision mDecision;
};

}  // namespace

AbsolutePhase DecodeAxis(const CodedAxis& axis, const AxisPictures& pictures, const DecodeOptions& options,
                         const Progress& progress) {
    return AxisDecoder(axis, pictures, options, progress).Run();
}

}  // namespace measure
