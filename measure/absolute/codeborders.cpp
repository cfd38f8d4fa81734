// Where the borders between the cells of a Gray code lie, and in what phase.
#include "measure/absolute/codeborders.h"

#include <algorithm>
#include <cmath>

#include "measure/absolute/tilegrid.h"
#include "measure/base/phase.h"

namespace measure {
namespace {

// Neighbouring cells differ in one picture, in whatever order these are listed; surfaces that meet at the edge of an
// object mostly differ in more.
bool IsOneBit(Bits differing) { return (differing & (differing - 1)) == 0; }

// Whether the bit that changes at the lower border of a cell is set in it.
bool Rises(std::size_t cell) {
    const auto code = static_cast<Bits>(cell);
    return (ToGray(code) & (ToGray(code) ^ ToGray(code - 1))) != 0;
}

}  // namespace

void BorderPhases::Add(std::size_t border, double phase) {
    mSums[border] += std::polar(1.0, phase);
    ++(Rises(border) ? mRising : mFalling);
}

double BorderPhases::FindDrift(double most) const {
    const auto seen = [](const std::complex<double>& sum) { return sum != std::complex<double>(); };
    const auto first = std::find_if(mSums.begin(), mSums.end(), seen);
    const auto last = std::find_if(mSums.rbegin(), mSums.rend(), seen).base();
    if (last - first < 3) return 0;
    const double finest = 0.5 / static_cast<double>(last - first);  // the ends 0.08 periods apart
    double drift = 0, best = std::abs(Mean());
    const auto steps = static_cast<int>(std::min(most / finest, 2000.0));
    for (int i = -steps; i <= steps; ++i) {
        const double agreement = std::abs(Mean(i * finest));
        if (agreement <= best) continue;
        best = agreement;
        drift = i * finest;
    }
    return drift;
}

std::complex<double> BorderPhases::Mean(double drift) const {
    std::complex<double> rising, falling;
    for (std::size_t border = 0; border < mSums.size(); ++border)
        if (mSums[border] != std::complex<double>())
            (Rises(border) ? rising : falling) += mSums[border] * std::polar(1.0, -drift * static_cast<double>(border));
    if (mRising > 0) rising /= mRising;
    if (mFalling > 0) falling /= mFalling;
    return mRising > 0 && mFalling > 0 ? (rising + falling) / 2.0 : rising + falling;
}

double BorderPhases::StandardError() const {
    const double mean = std::arg(Mean());
    double squares = 0, weights = 0;
    int borders = 0;
    for (const std::complex<double>& sum : mSums) {
        const double weight = std::abs(sum);
        if (weight == 0) continue;
        squares += std::pow(weight * std::arg(sum * std::polar(1.0, -mean)), 2);
        weights += weight;
        ++borders;
    }
    if (borders > 1) return std::sqrt(squares * borders / (borders - 1)) / weights;
    return std::sqrt(-2 * std::log(std::clamp(std::abs(Mean()), 1e-9, 1.0)));  // from pixel to pixel
}

BorderCollector::BorderCollector(const DecodeState& state, const GrayDecoding& code)
    : mState(state),
      mCode(code),
      mPhases(state.Count(), BorderPhases(state.pictures.gray.size())),
      mTilesAcross(code.code.cols / TileGrid::kTile + 1),
      mTiles(static_cast<std::size_t>(mTilesAcross * (code.code.rows / TileGrid::kTile + 1))) {}

void BorderCollector::Collect() {
    constexpr int kRows = 512;
    const cv::Size size = mCode.code.size();
    const int stride = std::max(1, size.height / kRows);
    for (int y = 0; y < size.height; y += stride)
        for (int x = 0; x < size.width; ++x) {
            if (x + 1 < size.width) Compare({x, y}, {x + 1, y});
            if (y + 1 < size.height) Compare({x, y}, {x, y + 1});
        }
    mSharedDoubt = FindSharedDoubt();
}

std::vector<CodeSteps> BorderCollector::Steps() const {
    std::vector<CodeSteps> steps;
    for (const auto& [kind, count] : mSteps)
        steps.push_back(
            {static_cast<std::uint16_t>(kind >> 17), static_cast<std::uint16_t>(kind >> 1), (kind & 1) != 0, count});
    return steps;
}

bool BorderCollector::IsGood(cv::Point at) const {
    constexpr float kTrustedMargin = 0.2f;
    return mState.usable(at) && mCode.margin(at) >= kTrustedMargin &&
           mState.Finest().modulation(at) >= mState.leastModulation;
}

// By how much the phase rises over four pixels in a row, where it runs on as evenly as its noise lets it; 0
// elsewhere: at the edge of an object any step is right. So may be the code of one pixel whose bit differs from
// that of both its neighbours, which is noise at the threshold.
float BorderCollector::RiseAcross(cv::Point a, cv::Point b) const {
    const cv::Point before = a - (b - a), after = b + (b - a);
    const cv::Rect inside(cv::Point(), mCode.code.size());
    if (!inside.contains(before) || !inside.contains(after) || !mState.usable(before) || !mState.usable(after))
        return 0;
    const auto grayAt = [this](cv::Point at) { return ToGray(mCode.code(at)); };
    const Bits differing = grayAt(a) ^ grayAt(b);
    if (((grayAt(before) ^ grayAt(a)) | (grayAt(after) ^ grayAt(b))) & differing) return 0;
    const cv::Mat1f& phase = mState.Finest().phase;
    const float first = WrapRadians(phase(a) - phase(before)), middle = WrapRadians(phase(b) - phase(a)),
                last = WrapRadians(phase(after) - phase(b));
    // What is left of ripple, and thrice the deviation of a second difference.
    constexpr double kLeastBend = 0.2, kMostBend = 0.7;
    const auto finest = static_cast<std::size_t>(mState.result.finest);
    const double variance = mState.Variance(finest, static_cast<double>(mState.Finest().modulation(a)));
    const auto bend = static_cast<float>(std::min(kMostBend, kLeastBend + 3 * std::sqrt(6 * variance)));
    return std::abs(middle - first) < bend && std::abs(last - middle) < bend ? first + middle + last : 0;
}

void BorderCollector::Compare(cv::Point a, cv::Point b) {
    const int step = mCode.code(b) - mCode.code(a);
    if (step == 0) return;
    mChanges += mState.usable(a) && mState.usable(b);
    if (!IsOneBit(ToGray(mCode.code(a)) ^ ToGray(mCode.code(b)))) return;
    const float rise = IsGood(a) && IsGood(b) ? RiseAcross(a, b) : 0;
    if (rise == 0) return;
    ++mCount;
    const bool rises = rise > 0;
    ++mSteps[std::uint64_t{mCode.code(a)} << 17 | std::uint64_t{mCode.code(b)} << 1 | std::uint64_t{rises}];
    if (std::abs(step) != 1) return;
    ++mOnes;
    mAgreeing += rises == (step > 0);
    AddPhases(a, b);
}

void BorderCollector::AddPhases(cv::Point a, cv::Point b) {
    const GrayCode& gray = *mState.axis.gray;
    const std::size_t border = std::max(mCode.code(a), mCode.code(b));
    const double position = static_cast<double>(border) * gray.cell + gray.offset - 0.5;
    const CodeCrossing crossing = FindCodeCrossing(mState, mCode, a, b, ToGray(mCode.code(a)) ^ ToGray(mCode.code(b)));
    for (std::size_t set = 0; set < mState.Count(); ++set) {
        const cv::Mat1f& of = mState.fringes[set].phase;
        const double predicted = 2 * CV_PI * position / mState.axis.sines[set].period;
        const double phase = static_cast<double>(of(a)) - predicted,
                     rise = static_cast<double>(WrapRadians(of(b) - of(a)));
        mPhases[set].Add(border, phase + crossing.place * rise);
        if (set != static_cast<std::size_t>(mState.result.finest)) continue;
        const double noise = std::sqrt(mState.Variance(set, static_cast<double>(mState.Finest().modulation(a))));
        mSamples.push_back({phase, rise, noise, crossing.doubt});
        Tile& tile = mTiles[static_cast<std::size_t>(a.y / TileGrid::kTile * mTilesAcross + a.x / TileGrid::kTile)];
        tile.sum += std::polar(1.0, phase + crossing.place * rise);
        ++tile.count;
    }
}

double BorderCollector::FindSharedDoubt() const {
    constexpr double kLeastExpected = 0.1;
    const double mean = std::arg(Phases(static_cast<std::size_t>(mState.result.finest)).Mean());
    std::complex<double> places;      // of the borders between pixels, as the mean has them, a turn for a pixel
    double expected = 0, doubts = 0;  // what noise leaves of the places
    for (const Sample& sample : mSamples) {
        doubts += std::abs(sample.rise) * sample.doubt;
        const double turns = 2 * CV_PI / (sample.rise == 0 ? 1e-6 : sample.rise);
        places += std::polar(1.0, turns * std::remainder(mean - sample.phase, 2 * CV_PI));
        expected += std::exp(-0.5 * std::pow(turns * sample.noise, 2));
    }
    const auto count = static_cast<double>(std::max<std::size_t>(mSamples.size(), 1));
    const double shared = expected < kLeastExpected * count ? 1 : std::min(1.0, std::abs(places) / expected);
    return shared * doubts / count;
}

double BorderCollector::ShareElsewhere() const {
    constexpr int kFew = 24;
    constexpr double kFar = 0.05 * kTwoPi, kDeviations = 4;  // nearly all parts of right scans stay within 0.03 periods
    const double mean = std::arg(Phases(static_cast<std::size_t>(mState.result.finest)).Mean());
    double elsewhere = 0, all = 0;
    for (const Tile& tile : mTiles) {
        if (tile.count < kFew) continue;
        const double count = tile.count, concentration = std::clamp(std::abs(tile.sum) / count, 1e-9, 1.0),
                     error = std::sqrt(-2 * std::log(concentration) / count);
        all += count;
        if (std::abs(std::arg(tile.sum * std::polar(1.0, -mean))) > kFar + kDeviations * error) elsewhere += count;
    }
    return elsewhere / std::max(all, 1.0);
}

double BorderCollector::StandardError(std::size_t set) const {
    const double periods = mState.periods[0] / mState.axis.sines[set].period;
    return std::hypot(Phases(set).StandardError(), periods * mSharedDoubt);
}

}  // namespace measure
