#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "imagemodel/krbufferaoi.h"
#include "ipbase/base/rowaccess.h"
#include "ipbase/ipLTrans.h"
#include "ipbase/unwrap/regions/forest.h"
#include "ipbase/unwrap/regions/growth.h"

// What the region unwrapper holds between Execute and the operations on its result.
namespace KrN {

// What a target must still have when it is written again.
struct UnwrapTargetShape {
    KrTSize<short> size;
    bool hasAddresses = false;

    UnwrapTargetShape() = default;
    template <class AOI>
    explicit UnwrapTargetShape(const AOI& aoi) : size(aoi.AOISize()), hasAddresses(HaveRowPointers(&aoi)) {}
    bool operator==(const UnwrapTargetShape& other) const {
        return size == other.size && hasAddresses == other.hasAddresses;
    }
};

struct UnwrapState {
    KrLTransfer transfer;
    UnwrapPlanes planes;
    UnwrapAreas areas;
    UnwrapForest forest;
    KrAOIInfo info;
    KrBufferAOI16 ownTarget;
    KrBufferAOI8 ownMask;
    KrAOI16* target = nullptr;
    KrAOI8* targetMask = nullptr;
    UnwrapTargetShape targetShape, maskShape;  // at Execute
    std::array<std::uint8_t, 256> allowance{};
    KrTRange<std::int32_t> range;

    void Forget();
    void SetTargets(KrAOI16* image, KrAOI8* mask);
    void RequireTargets() const;
    void SetAllowance(unsigned mode);
    void Read(const KrAOI8& phase, const KrAOI8& quality, const KrAOI8& mask);
    void Unwrap(unsigned minQuality, std::uint32_t minAreaSize, bool liftMinimum);
    void DropSmallComponents(std::uint32_t minAreaSize);
    void CorrectPhaseImage(const std::vector<std::int16_t>& corrections);
    KrTRange<std::int32_t> GetMinMaxPhase() const;
    void ShowPhaseImage();
    void DelTreeAreas(const std::vector<std::uint32_t>& treeAreas);
    void CheckResult(const KrAOI* result, const KrAOI* resultMask, std::uint32_t line) const;

    // Plane index of a pixel with a result, or 0 (a spare pixel) when there is none at these coordinates.
    std::size_t ValidPixel(int x, int y) const {
        if (!planes.Contains(x, y)) return 0;
        const std::size_t pixel = planes.Row(y) + static_cast<std::size_t>(x);
        return planes.area[pixel] ? pixel : 0;
    }
    // Calls apply(pixel) for all pixels of some areas, given counted from 0.
    template <class Apply>
    void ForEachPixel(const std::vector<std::uint32_t>& areaIndices, Apply apply) {
        for (const std::uint32_t index : areaIndices) {
            const SrUnwrapArea& area = areas.areas[index];
            for (std::size_t i = area.first; i < std::size_t{area.first} + area.pixelCount; ++i) apply(areas.pixels[i]);
        }
    }
};

}  // namespace KrN
