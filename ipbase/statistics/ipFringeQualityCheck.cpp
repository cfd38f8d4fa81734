#include "ipbase/ipFringeQualityCheck.h"

#include "ipbase/base/scalar.h"

namespace KrN {

KrFringeQualityCheck::KrFringeQualityCheck() = default;
KrFringeQualityCheck::KrFringeQualityCheck(const KrFringeQualityCheck&) = default;
KrFringeQualityCheck& KrFringeQualityCheck::operator=(const KrFringeQualityCheck&) = default;
KrFringeQualityCheck::~KrFringeQualityCheck() = default;

void KrFringeQualityCheck::Init(KrTPoint<short> sampling, unsigned char contrastThreshold,
                                unsigned char contrastPercent, unsigned char intensityThreshold,
                                unsigned char intensityPercent) {
    mSampling = sampling;
    mContrastThreshold = contrastThreshold;
    mIntensityThreshold = intensityThreshold;
    mContrastPercent = contrastPercent;
    mIntensityPercent = intensityPercent;
    mInitialised = 1;
}

bool KrFringeQualityCheck::IsReached(const KrAOI8* image, const KrAOI8* mask, unsigned char threshold,
                                     unsigned char percent) {
    SetUndersampling(mSampling);
    Create(image, mask, 256);
    const KrTFloatRange<double>& range = GetAOIGreyRange();
    const auto low = TruncateTo<std::uint8_t>(range.lower), high = TruncateTo<std::uint8_t>(range.upper);
    const KrTBuf1D<std::uint32_t>& counts = GetBuffer();
    std::uint32_t total = 0, above = 0;
    for (std::size_t grey = low; grey <= high && grey < counts.Size(); ++grey) {
        total += counts[grey];
        if (grey >= threshold) above += counts[grey];
    }
    const float limit = static_cast<float>(percent) * static_cast<float>(total) / 100.0f + 0.5f;
    return above >= TruncateTo<std::uint32_t>(limit);
}

QualityCheckResult KrFringeQualityCheck::CheckContrast(const KrAOI8* contrast, const KrAOI8* mask) {
    return IsReached(contrast, mask, mContrastThreshold, mContrastPercent) ? QualityOk : QualityLowContrast;
}

QualityCheckResult KrFringeQualityCheck::CheckIntensity(const KrAOI8* intensity, const KrAOI8* mask) {
    return IsReached(intensity, mask, mIntensityThreshold, mIntensityPercent) ? QualityOk : QualityLowIntensity;
}

QualityCheckResult KrFringeQualityCheck::Execute(const KrAOI8* intensity, const KrAOI8* contrast, const KrAOI8* mask) {
    const QualityCheckResult result = CheckContrast(contrast, mask);
    if (result == QualityOk) return QualityOk;
    return CheckIntensity(intensity, mask) == QualityOk ? result : QualityLowIntensity;
}

}  // namespace KrN
