#pragma once

#include "ipbase/ipLHistogram.h"

namespace KrN {

// A maximum or a minimum of a histogram.
struct SrExtremum {
    std::uint32_t index;       // its bin; the middle one of several equal adjacent bins
    std::uint32_t count;       // of that bin
    std::uint32_t prominence;  // see KrHistogramAnalyzer
    bool isMaximum;
};

// Finds the peaks of a histogram and the valleys between them, leaving out ripples.
//
// The prominence of a maximum is how far one must descend from it, on the better side, before the counts rise above it
// again; beyond both ends of the histogram the counts are 0. That of a minimum is likewise how far one must climb
// before the counts fall below it, or the histogram ends. Found are all maxima with a given prominence or more, also at
// the ends of the histogram, and the lowest minimum between each two of them; their prominences are not smaller either.
class VORIP_API KrHistogramAnalyzer {
public:
    KrHistogramAnalyzer();
    KrHistogramAnalyzer(const KrHistogramAnalyzer&);
    KrHistogramAnalyzer& operator=(const KrHistogramAnalyzer&);
    virtual ~KrHistogramAnalyzer();

    // Takes time proportional to the number of bins. A minimum prominence of 0 counts as 1 pixel.
    virtual void FindExtrema(const KrLHistogram& histogram, std::uint32_t minProminence);

    // What the last search found, in the order of the bins: maximum, minimum, ..., maximum. Empty for an empty
    // histogram.
    const KrTMem<SrExtremum>& GetExtrema() const { return mExtrema; }

private:
    void AddProminences();

    KrTMem<SrExtremum> mExtrema;
};

// Divides a histogram with two modes, as of dark background and bright object, at the threshold that maximises the
// variance between the two classes, w0 * w1 * (mean1 - mean0)^2: N. Otsu, "A threshold selection method from gray-level
// histograms", IEEE Transactions on Systems, Man, and Cybernetics 9 (1979), 62-66. Where several adjacent thresholds
// reach the maximum, as between two modes with empty bins between them, the middle one is taken.
class VORIP_API KrBimodalHistoAnalyzer {
public:
    KrBimodalHistoAnalyzer();
    KrBimodalHistoAnalyzer(const KrBimodalHistoAnalyzer&);
    KrBimodalHistoAnalyzer& operator=(const KrBimodalHistoAnalyzer&);
    virtual ~KrBimodalHistoAnalyzer();

    // Returns false, and all results are 0, when fewer than two bins are filled.
    virtual bool Analyze(const KrLHistogram& histogram);
    // The same of counts of anything, without a threshold as a grey value.
    bool AnalyzeCounts(const KrTBuf1D<std::uint32_t>& counts);

    // The last bin of the lower class.
    std::uint32_t GetThreshold() const { return mThreshold; }
    // The same as a grey value: the least whole one of the upper class, which KrLThreshold::High takes.
    double GetThresholdValue() const { return mThresholdValue; }
    // The classes' means, in bins, and the lower one's share of the pixels, 0..1.
    double GetLowerMean() const { return mLowerMean; }
    double GetUpperMean() const { return mUpperMean; }
    double GetLowerShare() const { return mLowerShare; }
    // The variance between the classes divided by the total one: 0..1, and 1 when there are two values only.
    double GetSeparability() const { return mSeparability; }

private:
    std::uint32_t mThreshold = 0;
    double mThresholdValue = 0.0;
    double mLowerMean = 0.0;
    double mUpperMean = 0.0;
    double mLowerShare = 0.0;
    double mSeparability = 0.0;
};

}  // namespace KrN
