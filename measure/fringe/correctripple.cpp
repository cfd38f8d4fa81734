#include <cmath>
#include <complex>

#include "measure/fringe.h"
#include "measure/fringe/harmonicrows.h"
#include "measure/fringe/harmonics.h"
#include "measure/fringe/neighboursums.h"
#include "measure/fringe/phaserows.h"
#include "measure/fringe/rowbands.h"

namespace measure {
namespace {

rows::Harmonics ToHarmonics(const Ripple& ripple) {
    rows::Harmonics harmonics;
    for (const int harmonic : ripple.harmonics) {
        const auto i = static_cast<std::size_t>(harmonics.count++);
        if (i >= rows::Harmonics::kLargest || harmonic != ripple.harmonics.front() * harmonics.count)
            throw InputError("the harmonics of a ripple are the first multiples of the least, at most eight");
        harmonics.sines[i] = static_cast<float>(ripple.sines[i]);
        harmonics.cosines[i] = static_cast<float>(ripple.cosines[i]);
    }
    return harmonics;
}

// 1 / |1 + u e^(-i N truth)| as a function of N times the uncorrected phase.
rows::Gain GainOf(const Ripple& ripple) {
    constexpr int kSamples = 128;
    constexpr double kMost = 0.8;  // of |u|: fringes of which hardly anything is left have no gain that could be told
    const double steps = ripple.harmonics.front();
    std::complex<double> u(ripple.sines[0], -ripple.cosines[0]);
    u *= std::min(1.0, kMost / std::max(std::abs(u), 1e-9));
    rows::Gain gain;
    gain.mean = 0;
    gain.swing.count = 2;
    for (int i = 0; i < kSamples; ++i) {
        const double angle = 2 * CV_PI * i / kSamples;
        double truth = angle;
        for (std::size_t m = 0; m < 2; ++m) {
            const double multiple = static_cast<double>(m + 1) * angle;
            truth += steps * (ripple.sines[m] * std::sin(multiple) + ripple.cosines[m] * std::cos(multiple));
        }
        const double value = 1 / std::abs(1.0 + u * std::polar(1.0, -truth)) / kSamples;
        gain.mean += static_cast<float>(value);
        for (std::size_t m = 0; m < 2; ++m) {
            gain.swing.sines[m] += static_cast<float>(2 * value * std::sin(static_cast<double>(m + 1) * angle));
            gain.swing.cosines[m] += static_cast<float>(2 * value * std::cos(static_cast<double>(m + 1) * angle));
        }
    }
    return gain;
}

// Finds the usable pixels of those tiles anew where the modulation of a pixel is near the limit; elsewhere its swing
// decides nothing.
class UsableTiles {
public:
    explicit UsableTiles(FringePhase& phase)
        : mPhase(phase),
          mLimits(phase.limits),
          mAcross((phase.phase.cols + kTile - 1) / kTile),
          mDown((phase.phase.rows + kTile - 1) / kTile),
          mIsNear(phase.phase.rows, mAcross) {}

    // Of a row whose modulation is freed of its swing; other threads may look at other rows.
    void Look(int y) {
        constexpr float kMost = 3;
        for (int i = 0; i < mAcross; ++i) {
            const int x = i * kTile, width = std::min(kTile, mPhase.phase.cols - x);
            mIsNear(y, i) = rows::IsAnyWithin(mPhase.modulation[y] + x, mLimits.modulation / kMost,
                                              mLimits.modulation * kMost, static_cast<std::size_t>(width));
        }
    }

    void FindUsable() const {
        cv::parallel_for_(cv::Range(0, mAcross * mDown), [&](const cv::Range& tiles) {
            for (int i = tiles.start; i < tiles.end; ++i) {
                const cv::Rect tile(i % mAcross * kTile, i / mAcross * kTile, kTile, kTile);
                const cv::Rect look = cv::Rect(i % mAcross, tile.y, 1, kTile) & cv::Rect({}, mIsNear.size());
                if (cv::countNonZero(mIsNear(look)) > 0) FindUsable(tile & cv::Rect({}, mPhase.phase.size()));
            }
        });
    }

private:
    static constexpr int kTile = 64;

    void FindUsable(const cv::Rect& tile) const {
        const cv::Size image = mPhase.phase.size();
        const int left = std::max(tile.x - 1, 0), right = std::min(tile.br().x + 1, image.width);
        const auto width = static_cast<std::size_t>(right - left);
        NeighbourSums cosines({right - left, image.height}), sines({right - left, image.height});
        std::vector<float> c(width), s(width);
        const auto load = [&](int y) {
            rows::PhasorOf(mPhase.phase[y] + left, mPhase.modulation[y] + left, c.data(), s.data(), width);
            cosines.Load(y, c.data());
            sines.Load(y, s.data());
        };
        load(std::max(tile.y - 1, 0));
        load(tile.y);
        for (int y = tile.y; y < tile.br().y; ++y) {
            if (y + 1 < image.height) load(y + 1);
            const rows::Neighbourhood around{Shift(cosines.Around(y), tile.x - left),
                                             Shift(sines.Around(y), tile.x - left)};
            rows::MarkUsable(mPhase.mean[y] + tile.x, mPhase.modulation[y] + tile.x, mPhase.saturated[y] + tile.x,
                             around, mLimits, mPhase.usable[y] + tile.x, static_cast<std::size_t>(tile.width));
        }
    }

    static rows::ThreeRows Shift(const rows::ThreeRows& rows, int by) {
        return {rows.above + by, rows.own + by, rows.below + by};
    }

    FringePhase& mPhase;
    const rows::Limits mLimits;
    const int mAcross, mDown;
    cv::Mat1b mIsNear;  // of each row the part in each column of tiles
};

}  // namespace

void CorrectRipple(FringePhase& phase, const Ripple& ripple, const Progress& progress) {
    if (!ripple.IsWorthCorrecting()) return;
    if (ripple.harmonics != HarmonicsOf(phase.shifts))
        throw InputError("the ripple was estimated on fringes with other phase shifts");
    const rows::Harmonics harmonics = ToHarmonics(ripple);
    const int multiple = ripple.harmonics.front();
    const auto width = static_cast<std::size_t>(phase.phase.cols);
    const auto forRows = [&](const auto& correct) {
        ForRowBands(phase.phase.size(), progress, "correcting the ripple", [&](const cv::Range& range) {
            for (int y = range.start; y < range.end; ++y) correct(y);
        });
    };
    if (EqualSteps(phase.shifts) == 0)
        return forRows([&](int y) { rows::AddHarmonics(harmonics, multiple, phase.phase[y], width); });
    const rows::Gain gain = GainOf(ripple);
    UsableTiles tiles(phase);
    forRows([&](int y) {
        rows::AddHarmonics(harmonics, gain, multiple, phase.phase[y], phase.modulation[y], width);
        tiles.Look(y);
    });
    tiles.FindUsable();
}

}  // namespace measure
