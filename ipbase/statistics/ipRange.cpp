#include "ipbase/ipRange.h"

#include "ipbase/base/mask.h"
#include "ipbase/statistics/extremes.h"

namespace KrN {

namespace {

template <class T>
KrTFloatRange<double> ToRange(const std::optional<kernels::Extremes<T>>& found) {
    if (!found) return {0.0, 0.0};
    return {static_cast<double>(found->least), static_cast<double>(found->greatest)};
}

// The admitted pixels of a row are gathered, and so the same row function finds their extremes.
template <class T>
std::optional<kernels::Extremes<T>> FindMasked(const KrTAOI<T>* aoi, const KrAOI8* mask, const KrTPoint<short>& step) {
    const int stepY = std::max<int>(step.y, 1);
    const auto stepX = static_cast<std::size_t>(std::max<int>(step.x, 1));
    const auto range = std::get<kernels::RangeRow<T>>(kernels::GetScaleKernels().range);
    kernels::Extremes<T> extremes = NoExtremes<T>();
    KrTBuf1D<T> admitted(static_cast<std::size_t>(CommonRegion(aoi, mask).cx));
    VisitRows(
        Access::eTyped,
        [&](int y, const T* pixels, const std::uint8_t* maskPixels, std::size_t count) {
            if (y % stepY != 0) return;
            std::size_t taken = 0;
            for (std::size_t x = 0; x < count; x += stepX) {
                admitted[taken] = pixels[x];
                taken += Admits(maskPixels[x]);
            }
            range(admitted.Data(), taken, extremes);
        },
        aoi, static_cast<const KrTAOI<std::uint8_t>*>(mask));
    if (extremes.least > extremes.greatest) return std::nullopt;
    return extremes;
}

}  // namespace

template <class T>
KrTFloatRange<double> KrIpRange::Execute(const KrTAOI<T>* aoi, const KrTPoint<short>& step) const {
    return ToRange(FindExtremes(aoi, step));
}

template <class T>
KrTFloatRange<double> KrIpRange::Execute(const KrTAOI<T>* aoi, const KrAOI8* mask, const KrTPoint<short>& step) const {
    return ToRange(FindMasked(aoi, mask, step));
}

#define VORIP_RANGE(T)                                                                                                 \
  template VORIP_API KrTFloatRange<double> KrIpRange::Execute(const KrTAOI<T>*, const KrTPoint<short>&) const;         \
  template VORIP_API KrTFloatRange<double> KrIpRange::Execute(const KrTAOI<T>*, const KrAOI8*, const KrTPoint<short>&) \
      const;
VORIP_RANGE(std::uint8_t)
VORIP_RANGE(std::uint16_t)
VORIP_RANGE(std::int32_t)
VORIP_RANGE(float)
VORIP_RANGE(double)

}  // namespace KrN
