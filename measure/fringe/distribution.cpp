#include "measure/fringe/distribution.h"

#include <algorithm>
#include <cmath>

#include "measure/base/phase.h"
#include "measure/base/quantile.h"
#include "measure/fringe/wholeperiods.h"

namespace measure {
namespace {

constexpr int kPatches = 8;  // across and down
constexpr int kWhole = 16;   // by which a pixel counts

std::size_t BinOf(float phase) {
    const int bin = static_cast<int>(phase * (kBins / (2 * kPi)) + kBins / 2.0f);
    return static_cast<std::size_t>(std::clamp(bin, 0, kBins - 1));
}

// Different for every line, without a rhythm that fringes could have.
int Scatter(int line, int count) {
    return static_cast<int>((static_cast<std::uint32_t>(line) * 2654435769U >> 16) % static_cast<std::uint32_t>(count));
}

// Rows of the image, or its columns, some of which are turned at a time.
class Lines {
public:
    Lines(const FringePhase& set, bool isDown) : mSet(set), mIsDown(isDown), mWidth(isDown ? 16 : 1) {}

    int Blocks() const { return (mIsDown ? mSet.phase.cols : mSet.phase.rows) / mWidth; }
    int Size() const { return mIsDown ? mSet.phase.rows : mSet.phase.cols; }

    void Read(int block) {
        const cv::Range range(block * mWidth, (block + 1) * mWidth);
        if (mIsDown) {
            cv::transpose(mSet.phase.colRange(range), phase);
            cv::transpose(mSet.usable.colRange(range), usable);
        } else {
            phase = mSet.phase.rowRange(range);
            usable = mSet.usable.rowRange(range);
        }
    }

    cv::Mat1f phase;
    cv::Mat1b usable;

private:
    const FringePhase& mSet;
    bool mIsDown;
    int mWidth;
};

// Calls add(pixel, weight) for the pixels of a period. What is missing between two counts as these do.
template <class Add>
void Weigh(const WholePeriod& period, const std::uint8_t* usable, const Add& add) {
    add(period.first, static_cast<std::uint32_t>(std::lround(kWhole * period.shareOfFirst)));
    int last = period.first;
    for (int x = period.first + 1; x < period.end; ++x) {
        if (!usable[x]) continue;
        add(x, kWhole);
        if (x - last > 1) {
            const auto missing = static_cast<std::uint32_t>((x - last - 1) * kWhole / 2);
            add(last, missing);
            add(x, missing);
        }
        last = x;
    }
}

// Where a phase that rises evenly passes through the middle of a period, and how fast.
struct EvenPhase {
    EvenPhase(const WholePeriod& period, const float* phase, const std::uint8_t* usable) {
        float last = phase[period.first], risen = last, sum = 0, places = 0, count = 0;
        for (int x = period.first; x < period.end; ++x) {
            if (!usable[x]) continue;
            risen += WrapOnce(phase[x] - last);
            last = phase[x];
            sum += risen;
            places += static_cast<float>(x);
            ++count;
        }
        mSlope = std::copysign(2 * kPi / period.length, risen - phase[period.first]);
        mStart = sum / count - mSlope * places / count;
    }
    float At(int x) const { return std::remainder(mStart + mSlope * static_cast<float>(x), 2 * kPi); }

private:
    float mStart, mSlope;
};

// Adds a line to the patches that it runs through; returns how many whole periods it has.
double AddLine(const float* phase, const std::uint8_t* usable, int size, double shortPeriod, Distribution* patches,
               Distribution& even) {
    std::vector<WholePeriod> periods;
    FindWholePeriods(phase, usable, size, periods);
    for (const WholePeriod& period : periods) {
        Distribution& patch = patches[period.first * kPatches / size];
        Weigh(period, usable, [&](int x, std::uint32_t weight) { patch[BinOf(phase[x])] += weight; });
        if (static_cast<double>(period.length) > shortPeriod) continue;
        const EvenPhase line(period, phase, usable);
        Weigh(period, usable, [&](int x, std::uint32_t weight) { even[BinOf(line.At(x))] += weight; });
    }
    return static_cast<double>(periods.size());
}

}  // namespace

PhaseDistribution DistributePhase(const FringePhase& set, bool isDown, double shortPeriod, const Progress& progress) {
    constexpr int kEnoughPixels = 1 << 17, kMostStep = 16;
    const int step = std::clamp(set.phase.size().area() / kEnoughPixels, 1, kMostStep);
    PhaseDistribution result;
    result.patches.resize(kPatches * kPatches);
    std::array<Distribution, kPatches> evens{};
    std::array<std::vector<double>, kPatches> counts;
    progress.Report("estimating the ripple");
    cv::parallel_for_(cv::Range(0, kPatches), [&](const cv::Range& range) {
        Lines lines(set, isDown);
        for (int band = range.start; band < range.end; ++band) {
            const auto b = static_cast<std::size_t>(band);
            for (int block = band * lines.Blocks() / kPatches; block < (band + 1) * lines.Blocks() / kPatches;
                 ++block) {
                if (block % step != Scatter(block / step, step)) continue;
                lines.Read(block);
                for (int line = 0; line < lines.phase.rows; ++line)
                    counts[b].push_back(AddLine(lines.phase[line], lines.usable[line], lines.Size(), shortPeriod,
                                                &result.patches[b * kPatches], evens[b]));
            }
        }
    });
    std::vector<double> all;
    for (std::size_t band = 0; band < kPatches; ++band) {
        all.insert(all.end(), counts[band].begin(), counts[band].end());
        for (std::size_t i = 0; i < kBins; ++i) result.even[i] += evens[band][i];
    }
    result.periods = all.empty() ? 0 : QuantileOf(all, 0.9);
    return result;
}

}  // namespace measure
