#include "ipbase/ipHistoAnalyzer.h"

#include <algorithm>
#include <vector>

#include "ipbase/statistics/counts.h"

namespace KrN {

KrHistogramAnalyzer::KrHistogramAnalyzer() = default;
KrHistogramAnalyzer::KrHistogramAnalyzer(const KrHistogramAnalyzer&) = default;
KrHistogramAnalyzer& KrHistogramAnalyzer::operator=(const KrHistogramAnalyzer&) = default;
KrHistogramAnalyzer::~KrHistogramAnalyzer() = default;

// Walks from the highest bin since the last minimum to where the counts have fallen by the prominence, which makes it a
// maximum, then from the lowest bin to where they have risen by it, and so on.
void KrHistogramAnalyzer::FindExtrema(const KrLHistogram& histogram, std::uint32_t minProminence) {
    struct Candidate {
        std::uint32_t count, first, last;
    };
    const KrTBuf1D<std::uint32_t>& counts = histogram.GetBuffer();
    const std::uint32_t needed = std::max(minProminence, 1u);
    bool climbing = true;
    Candidate best{0, 0, 0};
    mExtrema.Clear();
    for (std::uint32_t i = 0; i <= counts.Size(); ++i) {
        const std::uint32_t count = i < counts.Size() ? counts[i] : 0;
        const bool better = climbing ? count > best.count : count < best.count;
        const std::uint32_t back = climbing ? best.count - count : count - best.count;  // unless better
        if (better) {
            best = {count, i, i};
        } else if (back == 0 && best.last + 1 == i) {
            best.last = i;
        } else if (back >= needed) {
            mExtrema.Add({best.first + (best.last - best.first) / 2, best.count, 0, climbing});
            climbing = !climbing;
            best = {count, i, i};
        }
    }
    AddProminences();
}

namespace {

using Heights = std::vector<std::int64_t>;

// For each peak the lowest valley on its left, up to a higher peak or the end; valleys[k] lies before peaks[k].
Heights LeftBases(const Heights& peaks, const Heights& valleys) {
    struct Open {
        std::int64_t peak, base;
    };
    std::vector<Open> open;  // peaks that are higher than all behind them
    Heights bases;
    for (std::size_t k = 0; k < peaks.size(); ++k) {
        std::int64_t base = valleys[k];
        for (; !open.empty() && open.back().peak <= peaks[k]; open.pop_back()) base = std::min(base, open.back().base);
        bases.push_back(base);
        open.push_back({peaks[k], base});
    }
    return bases;
}

Heights Prominences(Heights peaks, Heights valleys) {
    const Heights left = LeftBases(peaks, valleys);
    std::reverse(peaks.begin(), peaks.end());
    std::reverse(valleys.begin(), valleys.end());
    Heights prominences = LeftBases(peaks, valleys);
    for (std::size_t k = 0; k < peaks.size(); ++k)
        prominences[k] = peaks[k] - std::max(prominences[k], left[peaks.size() - 1 - k]);
    std::reverse(prominences.begin(), prominences.end());
    return prominences;
}

}  // namespace

void KrHistogramAnalyzer::AddProminences() {
    Heights maxima, minima{0}, depths, tops;  // the latter two upside down: minima as peaks between the maxima
    for (const SrExtremum& e : mExtrema) {
        (e.isMaximum ? maxima : minima).push_back(e.count);
        (e.isMaximum ? tops : depths).push_back(-static_cast<std::int64_t>(e.count));
    }
    minima.push_back(0);
    const Heights ofMaxima = Prominences(maxima, minima), ofMinima = Prominences(depths, tops);
    for (std::size_t i = 0; i < mExtrema.Size(); ++i)
        mExtrema[i].prominence = static_cast<std::uint32_t>((mExtrema[i].isMaximum ? ofMaxima : ofMinima)[i / 2]);
}

namespace {

// The least grey value that falls into a bin at or above the given one.
double LeastValue(const KrLHistogram& histogram, std::uint32_t bin) {
    const std::uint64_t steps = histogram.GetNumSteps();
    const auto values = static_cast<std::uint64_t>(histogram.CalcRange(histogram.GetNumSteps()).lower + 0.5);
    const std::uint64_t least = (bin * values + steps - 1) / steps;
    return static_cast<double>(least);
}

}  // namespace

KrBimodalHistoAnalyzer::KrBimodalHistoAnalyzer() = default;
KrBimodalHistoAnalyzer::KrBimodalHistoAnalyzer(const KrBimodalHistoAnalyzer&) = default;
KrBimodalHistoAnalyzer& KrBimodalHistoAnalyzer::operator=(const KrBimodalHistoAnalyzer&) = default;
KrBimodalHistoAnalyzer::~KrBimodalHistoAnalyzer() = default;

bool KrBimodalHistoAnalyzer::Analyze(const KrLHistogram& histogram) {
    if (!AnalyzeCounts(histogram.GetBuffer())) return false;
    mThresholdValue = LeastValue(histogram, mThreshold + 1);
    return true;
}

bool KrBimodalHistoAnalyzer::AnalyzeCounts(const KrTBuf1D<std::uint32_t>& counts) {
    *this = KrBimodalHistoAnalyzer();
    const auto total = static_cast<double>(Total(counts));
    const double mean = Mean(counts, [](double x) { return x; });

    // With the sum s of (x - mean) over the lower class of n pixels, the variance between the classes is
    // s^2 / (n * (total - n)): empty bins do not change it, so that ties are exact.
    double n = 0.0, s = 0.0, most = 0.0;
    std::uint32_t first = 0, last = 0;
    for (std::uint32_t i = 0; i < counts.Size(); ++i) {
        n += counts[i];
        s += counts[i] * (i - mean);
        if (n == 0.0 || n == total) continue;
        const double variance = s * s / (n * (total - n));
        if (variance > most) {
            most = variance;
            first = i;
            mLowerMean = mean + s / n;
            mUpperMean = mean - s / (total - n);
            mLowerShare = n / total;
        }
        if (variance == most && (first == i || last + 1 == i)) last = i;
    }
    if (most == 0.0) return false;
    mThreshold = first + (last - first) / 2;
    mSeparability = std::min(most / CentralMoment(counts, 2), 1.0);
    return true;
}

}  // namespace KrN
