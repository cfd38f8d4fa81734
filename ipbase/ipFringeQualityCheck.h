#pragma once

#include "ipbase/ipLHistogram.h"

namespace KrN {

enum QualityCheckResult { QualityOk = 0, QualityLowContrast = 1, QualityLowIntensity = 2 };

// Decides whether fringe images are usable: whether enough pixels inside a mask reach a contrast (modulation), and, if
// not, whether that is because too few reach an intensity.
//
// The pixels looked at are those of the common region of image and mask whose mask value is below 64, in every x-th
// column and y-th row. A check passes when at least trunc(percent * pixels / 100 + 0.5) of them have a grey value at or
// above the threshold, computed in single precision; percentages above 100 cannot be met but by an empty mask, which
// passes everything. Before Init all thresholds and percentages are 0, and every check passes. The checks leave the
// histogram of the last image behind. A null image or mask throws KrNotImplementedException (KrLHistogram::Create).
class VORIP_API KrFringeQualityCheck : public KrLHistogram {
public:
    KrFringeQualityCheck();
    KrFringeQualityCheck(const KrFringeQualityCheck&);
    KrFringeQualityCheck& operator=(const KrFringeQualityCheck&);
    ~KrFringeQualityCheck() override;

    // Sampling steps of 0 or less count as 1; thresholds are grey values.
    void Init(KrTPoint<short> sampling, unsigned char contrastThreshold, unsigned char contrastPercent,
              unsigned char intensityThreshold, unsigned char intensityPercent);
    bool IsInitialised() const { return mInitialised != 0; }

    // QualityOk or QualityLowContrast.
    QualityCheckResult CheckContrast(const KrAOI8* contrast, const KrAOI8* mask);
    // QualityOk or QualityLowIntensity.
    QualityCheckResult CheckIntensity(const KrAOI8* intensity, const KrAOI8* mask);
    // QualityOk when the contrast is; the intensity image is then not looked at. Else QualityLowIntensity when the
    // intensity explains it, and QualityLowContrast when it does not.
    QualityCheckResult Execute(const KrAOI8* intensity, const KrAOI8* contrast, const KrAOI8* mask);

private:
    bool IsReached(const KrAOI8* image, const KrAOI8* mask, unsigned char threshold, unsigned char percent);

    KrTPoint<short> mSampling;
    unsigned char mContrastThreshold = 0;
    unsigned char mIntensityThreshold = 0;
    unsigned char mContrastPercent = 0;
    unsigned char mIntensityPercent = 0;
    std::int32_t mInitialised = 0;
};

}  // namespace KrN
