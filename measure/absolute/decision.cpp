#include "measure/absolute/decision.h"

#include <algorithm>
#include <cmath>

#include "measure/absolute/coding.h"
#include "measure/absolute/finishrows.h"
#include "measure/absolute/noise.h"
#include "measure/absolute/orderrows.h"
#include "measure/absolute/tilegrid.h"

namespace measure {
namespace {

// Decides band after band of rows, of which all that is known can be told while it is at hand: what two images of
// floats would hold is summed up in bytes.
class OrderDecider {
public:
    OrderDecider(DecodeState& state, const cv::Mat1f& fine) : mState(state), mFine(fine) {
        for (std::size_t i = 0; i < state.order.size(); ++i) {
            const std::size_t set = state.order[i];
            const FringePhase& fringes = state.fringes[set];
            mSets.push_back({fringes.phase, fringes.modulation, state.periods[i],
                             static_cast<int>(fringes.shifts.size()), std::remainder(state.origins[set], 2 * CV_PI)});
        }
        mSets[0].phase = fine;
        mSets[0].origin = 0;
        mCount = FindCount();
        if (mCount == 1) mSets.resize(1);
        const cv::Size size = fine.size();
        mOrders.order.create(size);
        for (cv::Mat1b* image : {&mOrders.trust, &mOrders.reliability, &mOrders.clear})
            *image = state.spares.Take<std::uint8_t>(size);
        mOrders.deviations.create(TileGrid::SizeFor(size));
    }

    OwnOrders Run(const Progress& progress) {
        constexpr int kStretch = 64;  // bands between questions whether to go on
        const int bands = (mFine.rows + kBand - 1) / kBand;
        for (int first = 0; first < bands; first += kStretch) {
            progress.Report("deciding the orders", static_cast<double>(first) / bands);
            cv::parallel_for_(cv::Range(first, std::min(bands, first + kStretch)), [&](const cv::Range& range) {
                OrderDecision buffer{{}, cv::Mat1f(kBand, mFine.cols), cv::Mat1f(kBand, mFine.cols)};
                for (int i = range.start; i < range.end; ++i)
                    DecideBand({i * kBand, std::min((i + 1) * kBand, mFine.rows)}, buffer);
            });
        }
        return std::move(mOrders);
    }

private:
    int FindCount() {
        const double orders = mState.axis.length / mState.periods[0];
        if (!mState.axis.gray) {
            const auto all = static_cast<int>(std::ceil(orders - 1e-3)) + 1;
            mIsRing = mState.repeat > 0 && mState.repeat <= std::min(2 * all, kMostOrders);
            return mIsRing ? mState.repeat : all;
        }
        const double wanted = std::min(mState.DistinctOrders(), 2 * mState.axis.gray->cell / mState.periods[0]);
        return std::max(1, static_cast<int>(std::lround(wanted)));
    }

    void DecideBand(const cv::Range& rows, const OrderDecision& buffer) {
        const cv::Range all = cv::Range::all(), own(0, rows.size());
        DecidedRows band;
        band.phase = mFine(rows, all);
        band.usable = mState.usable(rows, all);
        band.decision = {mOrders.order(rows, all), buffer.residual(own, all), buffer.lead(own, all)};
        band.range.count = mCount;
        if (mState.axis.gray) {
            band.margin = mState.code.margin(rows, all);
            band.range.center =
                PredictOrders(mState.code.code(rows, all), *mState.axis.gray, band.phase, mState.periods[0]);
        }
        std::vector<PhaseSet> sets = mSets;
        for (PhaseSet& set : sets) {
            set.phase = set.phase(rows, all);
            set.modulation = set.modulation(rows, all);
        }
        DecideOrders(sets, band.range, mState.result.noise, band.decision, {});
        if (sets.size() > 1)
            for (const cv::Rect& tile : FindDoubtfulTiles(band.decision.lead, kLeastLead, band.usable))
                DecideDoubtful(tile, rows.start, band);
        if (mIsRing && mState.result.repeat == 0)
            OpenRing(band.phase, mState.periods[0], mState.axis.length, mState.repeat, band.decision.order);
        cv::Mat1b trust = mOrders.trust(rows, all), reliability = mOrders.reliability(rows, all),
                  clear = mOrders.clear(rows, all);
        MarkTrusted(mState, band, trust);
        RateOrders(band.decision, mState.axis.gray.has_value(), reliability);
        cv::compare(band.decision.lead, kLeastLead, clear, cv::CMP_GE);
        StoreDeviations(rows, band.decision);
    }

    // Where noise leaves doubt, the phases of some pixels together decide.
    void DecideDoubtful(const cv::Rect& tile, int firstRow, DecidedRows& band) const {
        cv::Mat1b doubtful;
        cv::compare(band.decision.lead(tile), kLeastLead, doubtful, cv::CMP_LT);
        doubtful &= band.usable(tile);
        std::vector<PhaseSet> smooth;
        for (const PhaseSet& set : mSets) smooth.push_back(Smooth(set, mState.usable, tile + cv::Point(0, firstRow)));
        const cv::Mat1f& center = band.range.center;
        const OrderRange range{mCount, center.empty() ? cv::Mat1f() : cv::Mat1f(center(tile))};
        const OrderDecision decision = DecideOrders(smooth, range, mState.result.noise);
        OrderDecision part{band.decision.order(tile), band.decision.residual(tile), band.decision.lead(tile)};
        ReplaceDecision(part, decision, doubtful, smooth[0].phase, band.phase(tile));
    }

    void StoreDeviations(const cv::Range& rows, const OrderDecision& decision) {
        for (int y = rows.start; y < rows.end; ++y) {
            if (y % TileGrid::kTile % TileGrid::kDown != 0) continue;
            const float *residual = decision.residual[y - rows.start], *lead = decision.lead[y - rows.start];
            float* const deviations = mOrders.deviations[TileGrid::RowOf(y)];
            for (int left = 0; left < mFine.cols; left += TileGrid::kTile)
                for (int x = left; x < std::min(left + TileGrid::kTile, mFine.cols); x += TileGrid::kAcross)
                    deviations[TileGrid::ColumnOf(x)] = std::sqrt(std::max(MisfitOf(residual[x], lead[x]), 0.0f));
        }
    }

    static constexpr int kBand = 64;         // rows, as many as a doubtful tile has
    static constexpr float kLeastLead = 16;  // without doubt

    DecodeState& mState;
    const cv::Mat1f& mFine;
    std::vector<PhaseSet> mSets;  // the finest one first
    int mCount = 1;
    bool mIsRing = false;  // the candidates form a ring: the first one follows on the last one
    OwnOrders mOrders;
};

}  // namespace

OwnOrders DecideOwnOrders(DecodeState& state, const cv::Mat1f& fine, const Progress& progress) {
    return OrderDecider(state, fine).Run(progress);
}

}  // namespace measure
