#include <algorithm>
#include <cmath>

#include "measure/absolute.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/coding.h"
#include "measure/absolute/decision.h"
#include "measure/absolute/decodestate.h"
#include "measure/absolute/finishrows.h"
#include "measure/absolute/growth.h"
#include "measure/absolute/noise.h"
#include "measure/absolute/preparation.h"

namespace measure {
namespace {

class AxisDecoder {
public:
    AxisDecoder(const CodedAxis& axis, const AxisPictures& pictures, const DecodeOptions& options,
                const Progress& progress)
        : mState{axis, pictures, options}, mProgress(progress) {}

    AbsolutePhase Run() {
        SolveSets(mState, mProgress);
        RequireLight(mState);
        CheckSets(mState, mProgress);
        NoteMisfits(mState);
        for (FringePhase& fringes : mState.fringes) {  // what follows needs other images of that size
            mState.spares.Keep(fringes.residual);
            for (cv::Mat1b* image : {&fringes.saturated, &fringes.usable}) mState.spares.Keep(*image);
        }
        Decide();
        Grow();
        FinishResult(mState, mDecision);
        NoteDoubts(mState);
        return std::move(mState.result);
    }

private:
    const CodedAxis& Axis() const { return mState.axis; }
    AbsolutePhase& Result() { return mState.result; }

    void Decide() {
        std::vector<PhaseSet> sets;
        for (std::size_t i = 0; i < mState.order.size(); ++i) {
            const std::size_t set = mState.order[i];
            const FringePhase& fringes = mState.fringes[set];
            PhaseSet phase{fringes.phase, fringes.modulation, mState.periods[i],
                           static_cast<int>(fringes.shifts.size())};
            // Orders count from the position 0, wherever the phase is 0.
            const double origin = std::remainder(mState.origins[set], 2 * CV_PI);
            if (origin != 0) cv::subtract(phase.phase, origin, phase.phase);
            sets.push_back(std::move(phase));
        }
        mFine = sets[0].phase;
        mRange = FindRange();
        if (mRange.count == 1) sets.resize(1);
        const cv::Size size = mFine.size();
        mDecision.residual = mState.spares.Take<float>(size);
        mDecision.lead = mState.spares.Take<float>(size);
        DecideOrders(sets, mRange, Result().noise, mDecision, mProgress);
        if (sets.size() > 1) DecideDoubtful(sets);
        if (mIsRing && Result().repeat == 0)
            OpenRing(mFine, mState.periods[0], Axis().length, mState.repeat, mDecision.order);
        CheckSeams(mState, mFine, mDecision);
        sets.clear();
        for (FringePhase& fringes : mState.fringes)  // nor does what follows need the other sets
            if (&fringes != &mState.Finest())
                for (cv::Mat1f* image : {&fringes.phase, &fringes.modulation}) mState.spares.Keep(*image);
    }

    // Where noise leaves doubt, the phases of some pixels together decide.
    void DecideDoubtful(const std::vector<PhaseSet>& sets) {
        const std::vector<cv::Rect> tiles = FindDoubtfulTiles(mDecision.lead, kLeastLead, mState.usable);
        cv::parallel_for_(cv::Range(0, static_cast<int>(tiles.size())), [&](const cv::Range& range) {
            for (int i = range.start; i < range.end; ++i) DecideDoubtful(sets, tiles[static_cast<std::size_t>(i)]);
        });
    }

    void DecideDoubtful(const std::vector<PhaseSet>& sets, const cv::Rect& tile) {
        cv::Mat1b doubtful;
        cv::compare(mDecision.lead(tile), kLeastLead, doubtful, cv::CMP_LT);
        doubtful &= mState.usable(tile);
        std::vector<PhaseSet> smooth;
        for (const PhaseSet& set : sets) smooth.push_back(Smooth(set, mState.usable, tile));
        const OrderRange range{mRange.count, mRange.center.empty() ? cv::Mat1f() : cv::Mat1f(mRange.center(tile))};
        const OrderDecision decision = DecideOrders(smooth, range, Result().noise);
        OrderDecision part{mDecision.order(tile), mDecision.residual(tile), mDecision.lead(tile)};
        ReplaceDecision(part, decision, doubtful, smooth[0].phase, mFine(tile));
    }

    OrderRange FindRange() {
        const double orders = Axis().length / mState.periods[0];
        OrderRange range;
        if (!Axis().gray) {
            const auto all = static_cast<int>(std::ceil(orders - 1e-3)) + 1;
            mIsRing = mState.repeat > 0 && mState.repeat <= 2 * all;
            range.count = mIsRing ? mState.repeat : all;
            return range;
        }
        const GrayCode& gray = *Axis().gray;
        const double wanted = std::min(mState.DistinctOrders(), 2 * gray.cell / mState.periods[0]);
        range.count = std::max(1, static_cast<int>(std::lround(wanted)));
        range.center = PredictOrders(mState.code.code, gray, mFine, mState.periods[0]);
        return range;
    }

    void Grow() {
        cv::Mat1b trust = MarkTrusted(mState, mDecision, mState.code, mRange, mFine);
        mState.code = {};
        mRange.center.release();
        GrowthOptions growth = mState.options.growth;
        growth.repeat = Result().repeat;
        GrownOrders grown = GrowOrders(mFine, mDecision.order, std::move(trust), growth, mState.spares, mProgress);
        mState.torn = ShareOfTornParts(mState, mFine, mDecision, kLeastLead, grown);
        if (mState.Count() > 1 && !Axis().gray) mState.misfits = ShareOfMisfits(mDecision, grown.mask);
        Result().phase = grown.absolute;
        Result().mask = grown.mask;
        Result().corrected = grown.corrected;
        Result().contradicted = grown.contradicted;
        Result().components = grown.components;
    }

    static constexpr float kLeastLead = 16;  // without doubt

    DecodeState mState;
    const Progress& mProgress;
    cv::Mat1f mFine;  // the phase of the finest set above its origin
    OrderRange mRange;
    bool mIsRing = false;  // the candidates form a ring: the first one follows on the last one
    OrderDecision mDecision;
};

}  // namespace

AbsolutePhase DecodeAxis(const CodedAxis& axis, const AxisPictures& pictures, const DecodeOptions& options,
                         const Progress& progress) {
    return AxisDecoder(axis, pictures, options, progress).Run();
}

}  // namespace measure
