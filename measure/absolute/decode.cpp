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
        FinishResult(mState);
        NoteDoubts(mState);
        return std::move(mState.result);
    }

private:
    AbsolutePhase& Result() { return mState.result; }

    void Decide() {
        const auto finest = static_cast<std::size_t>(Result().finest);
        mFine = mState.fringes[finest].phase;
        const double origin = std::remainder(mState.origins[finest], 2 * CV_PI);
        if (origin != 0) cv::subtract(mFine, origin, mFine);
        mOrders = DecideOwnOrders(mState, mFine, mProgress);
        mState.code = {};
        for (FringePhase& fringes : mState.fringes)  // nor does what follows need the other sets
            if (&fringes != &mState.Finest())
                for (cv::Mat1f* image : {&fringes.phase, &fringes.modulation}) mState.spares.Keep(*image);
        CheckSeams(mState, mFine, mOrders.order);
    }

    void Grow() {
        GrowthOptions growth = mState.options.growth;
        growth.repeat = Result().repeat;
        GrownOrders grown =
            GrowOrders(mFine, mOrders.order, std::move(mOrders.trust), growth, mState.spares, mProgress);
        mState.torn = ShareOfTornParts(mState, mFine, mOrders, grown);
        if (mState.Count() > 1 && !mState.axis.gray) mState.misfits = ShareOfMisfits(mOrders.deviations, grown.mask);
        Result().phase = grown.absolute;
        Result().mask = grown.mask;
        Result().reliability = mOrders.reliability;
        Result().corrected = grown.corrected;
        Result().contradicted = grown.contradicted;
        Result().components = grown.components;
    }

    DecodeState mState;
    const Progress& mProgress;
    cv::Mat1f mFine;  // the phase of the finest set above its origin
    OwnOrders mOrders;
};

}  // namespace

AbsolutePhase DecodeAxis(const CodedAxis& axis, const AxisPictures& pictures, const DecodeOptions& options,
                         const Progress& progress) {
    return AxisDecoder(axis, pictures, options, progress).Run();
}

}  // namespace measure
