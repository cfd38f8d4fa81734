#include "ipbase/ipSegmentScan.h"

#include "ipbase/ipCopy.h"

namespace KrN {

namespace {

constexpr std::uint16_t kFirstLabel = 258;
constexpr int kLabels = 65536 - kFirstLabel;

// Takes the images from a segment in the end, whatever it is.
class ReleaseImages {
public:
    explicit ReleaseImages(KrSegment& segment) : mSegment(segment) {}
    ReleaseImages(const ReleaseImages&) = delete;
    ReleaseImages& operator=(const ReleaseImages&) = delete;
    ~ReleaseImages() { mSegment.Init(nullptr, nullptr); }

private:
    KrSegment& mSegment;
};

}  // namespace

KrSegmentScan::KrSegmentScan() = default;
KrSegmentScan::KrSegmentScan(const KrSegmentScan& other) { *this = other; }
KrSegmentScan& KrSegmentScan::operator=(const KrSegmentScan& other) {
    mSegment = other.mSegment;
    mSegment.Init(nullptr, nullptr);  // it worked on the other's work image
    mMinArea = other.mMinArea;
    return *this;
}
KrSegmentScan::~KrSegmentScan() = default;

std::int32_t KrSegmentScan::Execute(const KrAOI8* image, KrAOI32* numbers, const Found& found) {
    if (!image) throw new KrException(L"C\\ipSegmentScan", 22, L"Error in KrSegmentScan: there is no image");
    if (numbers && numbers->AOISize() != image->AOISize())
        throw new KrException(L"C\\ipSegmentScan", 24,
                              L"Error in KrSegmentScan: AOI size of the numbers is not correct");
    if (numbers) numbers->RequireWritable();
    mWork.Resize(*image);
    const ReleaseImages atEnd(mSegment);
    mSegment.Init(image, &mWork);
    if (numbers) KrIpSet().Set<std::int32_t>(numbers, 0.0);
    std::int32_t count = 0;
    for (short y = 1; y < mWork.AOIHeight() - 1; ++y) {
        const std::uint16_t* row = mWork.GetRowPointer(y);
        for (short x = 1; x < mWork.AOIWidth() - 1; ++x) {
            if (row[x] <= mSegment.GetThreshold() || row[x] > 255) continue;
            if (!Take({x, y}, count + 1, numbers)) continue;
            ++count;
            if (found) found(count, mSegment.GetAttribute());
        }
    }
    return count;
}

// Labels the region in any case, so that it is not found again.
bool KrSegmentScan::Take(const KrTPoint<short>& start, std::int32_t number, KrAOI32* numbers) {
    mSegment.FindSegmentBorder(start);
    mSegment.ExtractSegmentAttributes();
    const bool takes = !(mSegment.GetAttribute().area < mMinArea);
    if (takes) mSegment.Number(numbers, number);
    mSegment.Label(takes ? static_cast<std::uint16_t>(kFirstLabel + (number - 1) % kLabels) : kFirstLabel);
    return takes;
}

}  // namespace KrN
