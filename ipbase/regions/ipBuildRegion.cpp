#include "ipbase/ipBuildRegion.h"

#include <opencv2/core/core_c.h>
#include <opencv2/imgproc/imgproc_c.h>

#include <memory>

#include "ipbase/base/dispatch.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/ipCopy.h"
#include "ipbase/ipLShift.h"

namespace KrN {

namespace {

constexpr wchar_t kFile[] = L"C\\ipBuildRegion";
constexpr int kMaxSide = 32765;
constexpr std::uint8_t kFilled = 32;

struct Release {
    void operator()(IplImage* image) const { cvReleaseImage(&image); }
};
using Header = std::unique_ptr<IplImage, Release>;

}  // namespace

KrBuildRegion::KrBuildRegion() = default;
KrBuildRegion::KrBuildRegion(const KrBuildRegion&) = default;
KrBuildRegion& KrBuildRegion::operator=(const KrBuildRegion&) = default;
KrBuildRegion::~KrBuildRegion() = default;

void KrBuildRegion::SetMask(const KrAOI8* mask) {
    if (!mask) return;
    if (mask->AOIWidth() > kMaxSide || mask->AOIHeight() > kMaxSide)
        throw new KrException(kFile, 37, L"Error in KrBuildRegion: a side of the mask has more than 32765 pixels");
    mWorkMask.Resize({static_cast<short>(mask->AOIWidth() + 2), static_cast<short>(mask->AOIHeight() + 2)});
    mMask = mask;
}

bool KrBuildRegion::IsInsideAOI(const KrTPoint<short>& point, const KrAOI8* aoi) {
    return point.x >= 0 && point.y >= 0 && point.x < aoi->AOIWidth() && point.y < aoi->AOIHeight();
}

void KrBuildRegion::Execute(const KrAOI8* image, const KrTPoint<short>& seed, KrAOI8* dst) {
    if (!image || !dst)
        ThrowNotImplemented(kFile, 49, L"Execute( %s, %s )", static_cast<const KrAOI*>(image),
                            static_cast<const KrAOI*>(dst));
    if (!mMask) throw new KrException(kFile, 51, L"Error in KrBuildRegion: no mask is set");
    SetMask(mMask);  // a fresh work mask, whatever an earlier run left and whatever size the mask has now
    KrIpCopy().Copy(mMask, &mWorkMask);
    KrLShift().Shift(&mWorkMask, &mWorkMask, 1, 1, 0.0);
    if (IsInsideAOI(seed, image)) Fill(*image, seed);
    KrLShift().Shift(&mWorkMask, &mWorkMask, -1, -1, 0.0);
    KrIpCopy().Copy(&mWorkMask, dst);
    const auto label = [this](std::uint8_t* d, const std::uint8_t* s, std::size_t count) {
        const std::uint8_t inside = mRegionLabel, outside = mNotRegionLabel;
        for (std::size_t x = 0; x < count; ++x) d[x] = s[x] == kFilled ? inside : outside;
    };
    WalkRows(Access::eTyped, label, dst, static_cast<const KrAOI8*>(dst));
}

// The work mask's pixels of the region become kFilled. Differences of 255 let every pixel pass that is not blocked.
void KrBuildRegion::Fill(const KrAOI8& image, const KrTPoint<short>& seed) {
    constexpr int connectivity = 4;
    const Header pixels(image.CreateIplImage()), mask(mWorkMask.CreateIplImage());
    cvFloodFill(pixels.get(), cvPoint(seed.x, seed.y), cvScalar(255.0), cvScalar(255.0), cvScalar(255.0), nullptr,
                connectivity | kFilled << 8 | CV_FLOODFILL_MASK_ONLY, mask.get());
}

}  // namespace KrN
