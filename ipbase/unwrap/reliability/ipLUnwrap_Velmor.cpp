#include "ipbase/ipLUnwrap_Velmor.h"

#include <opencv2/core/core_c.h>

#include <algorithm>
#include <limits>

#include "imagemodel/krvalues.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/ipLArith.h"
#include "ipbase/unwrap/info.h"
#include "ipbase/unwrap/reliability/groups.h"

namespace KrN {
namespace {

constexpr std::uint8_t kUsable = 255;
constexpr double kRadiansPerStep = KrMath::TwoPi / 256;
constexpr wchar_t kFile[] = L"C\\ipLUnwrap_Velmor";
constexpr wchar_t kMissing[] = L"Error in KrLUnwrap_Velmor: an image is missing";
constexpr wchar_t kTargetSize[] = L"Error in KrLUnwrap_Velmor: AOI size of target AOI is not correct";
constexpr wchar_t kMaskSize[] = L"Error in KrLUnwrap_Velmor: AOI size of target mask AOI is not correct";
constexpr wchar_t kNoResult[] = L"Error in KrLUnwrap_Velmor: there is no result, Execute comes first";
constexpr wchar_t kPixelType[] = L"Error in KrLUnwrap_Velmor: not an image of the right pixel type";

void Require(bool condition, std::uint32_t line, const wchar_t* text) {
    if (!condition) throw new KrException(kFile, line, text);
}

struct ReleaseIplImage {
    void operator()(IplImage* image) const { cvReleaseImage(&image); }
};
using IplImagePtr = std::unique_ptr<IplImage, ReleaseIplImage>;

bool HasPixels(const IplImage* image, int depth) {
    constexpr int kMaxSide = 32767;
    return image && image->depth == depth && image->nChannels == 1 && image->width <= kMaxSide &&
           image->height <= kMaxSide;
}

ReliabilityInput MakeInput(const IplImage& wrapped, const IplImage& unwrapped, const IplImage* mask) {
    ReliabilityInput input;
    input.width = std::min({wrapped.width, unwrapped.width, mask ? mask->width : wrapped.width});
    input.height = std::min({wrapped.height, unwrapped.height, mask ? mask->height : wrapped.height});
    input.wrapped = wrapped.imageData;
    input.wrappedStep = wrapped.widthStep;
    input.mask.assign(input.First(input.height), kUsable);
    for (int y = 0; mask && y < input.height; ++y) {
        const char* const row = mask->imageData + std::ptrdiff_t{y} * mask->widthStep;
        std::copy_n(reinterpret_cast<const std::uint8_t*>(row), input.width, input.mask.data() + input.First(y));
    }
    return input;
}

float Unwrap(float wrapped, int periods) { return static_cast<float>(wrapped + KrMath::TwoPi * periods); }

struct Groups {
    std::uint32_t count;
    float least;  // unwrapped value, 0 without groups
};

// Gives every usable pixel its periods relative to the head of its group, masks those in small groups and numbers the
// others, in the increments of their heads and in the labels.
Groups ResolveGroups(ReliabilityInput& input, PIXELM* pixels, std::uint32_t minGroupSize, const AbortFlag& abort,
                     KrAOI32& labels) {
    constexpr float none = std::numeric_limits<float>::max();
    Groups groups{0, none};
    for (int y = 0; y < input.height && !abort.IsRaised(); ++y) {
        const float* const row = input.Wrapped(y);
        std::uint8_t* const mask = input.mask.data() + input.First(y);
        std::int32_t* const label = labels.GetRowPointer(y);
        const auto first = static_cast<std::int32_t>(input.First(y));
        for (int x = 0; x < input.width; ++x) {
            if (mask[x] != kUsable) continue;
            const ReliabilityHead head = FindHead(pixels, first + x);
            PIXELM& headPixel = pixels[head.pixel];
            if (head.pixel != first + x) pixels[first + x] = {head.pixel, head.increment};
            if (static_cast<std::uint32_t>(-headPixel.group) < minGroupSize) {
                mask[x] = 0;
                continue;
            }
            if (headPixel.increment == 0) headPixel.increment = static_cast<std::int32_t>(++groups.count);
            label[x] = headPixel.increment;
            groups.least = std::min(groups.least, Unwrap(row[x], head.increment));
        }
    }
    if (groups.count == 0) groups.least = 0.0f;
    return groups;
}

void WriteUnwrapped(const ReliabilityInput& input, const PIXELM* pixels, float masked, IplImage& unwrapped) {
    for (int y = 0; y < input.height; ++y) {
        const float* const row = input.Wrapped(y);
        const std::uint8_t* const mask = input.Mask(y);
        auto* const out = reinterpret_cast<float*>(unwrapped.imageData + std::ptrdiff_t{y} * unwrapped.widthStep);
        const PIXELM* const pixel = pixels + input.First(y);
        const auto periods = [pixel](int x) { return pixel[x].group < 0 ? 0 : pixel[x].increment; };
        for (int x = 0; x < input.width; ++x) out[x] = mask[x] == kUsable ? Unwrap(row[x], periods(x)) : masked;
    }
}

}  // namespace

KrLUnWrap_Velmor::KrLUnWrap_Velmor() = default;
KrLUnWrap_Velmor::KrLUnWrap_Velmor(const KrLUnWrap_Velmor& other) = default;
KrLUnWrap_Velmor& KrLUnWrap_Velmor::operator=(const KrLUnWrap_Velmor& other) = default;
KrLUnWrap_Velmor::~KrLUnWrap_Velmor() = default;

void KrLUnWrap_Velmor::Execute(KrAOI8* phase, KrAOI8* mask, std::uint32_t minGroupSize, int* abortFlag) {
    Require(phase != nullptr, 120, kMissing);
    mAbortFlag = abortFlag;
    AbortFlag(mAbortFlag).Clear();

    mUnwrapped.Resize(*phase, 1);
    mMask.Resize(mask ? *mask : *phase, 1);
    KrLArithmetic arithmetic;
    arithmetic.Clear(&mUnwrapped, 0.0);
    arithmetic.Clear(&mMask, mask ? 0.0 : kUsable);
    mInfo = phase->GetAOIInfo() ? *phase->GetAOIInfo() : KrAOIInfo();
    if (mask) mTransfer.Copy(mask, &mMask);
    ForgetComponents();
    if (CommonRegion<KrAOI>(&mUnwrapped, &mMask).cx == 0) return;

    KrBufferAOI32Float radians(phase->AOISize(), 0);
    mTransfer.Copy(phase, &radians);
    arithmetic.MultiplyModulo(&radians, kRadiansPerStep, &radians);
    if (ShouldBeAborted()) return;

    const IplImagePtr wrapped(radians.CreateIplImage());
    const IplImagePtr unwrapped(mUnwrapped.CreateIplImage());
    const IplImagePtr usable(mMask.CreateIplImage());
    int edgeCount = 0;
    Unwrap2DSRNCP(wrapped.get(), unwrapped.get(), usable.get(), minGroupSize, edgeCount);
}

void KrLUnWrap_Velmor::ForgetComponents() {
    mLabels.Resize({0, 0});
    mComponentCount = 0;
}

void KrLUnWrap_Velmor::Unwrap2DSRNCP(IplImage* wrapped, IplImage* unwrapped, const IplImage* mask,
                                     std::uint32_t minGroupSize, int& edgeCount) {
    Require(HasPixels(wrapped, IPL_DEPTH_32F) && HasPixels(unwrapped, IPL_DEPTH_32F), 151, kPixelType);
    Require(!mask || HasPixels(mask, IPL_DEPTH_8U), 152, kPixelType);
    edgeCount = 0;
    ReliabilityInput input = MakeInput(*wrapped, *unwrapped, mask);
    ForgetComponents();
    if (input.mask.empty()) return;
    const AbortFlag abort(mAbortFlag);
    ReliabilityEdges edges;
    if (!CollectEdges(input, abort, edges) || !SortEdges(edges, abort)) return;
    edgeCount = static_cast<int>(edges.Count());

    const std::unique_ptr<PIXELM[]> pixels(new PIXELM[input.mask.size()]);
    initialisePIXELs(nullptr, nullptr, nullptr, pixels.get(), input.width, input.height);
    gatherPIXELs(edges.edges.get(), input.width, input.height, edgeCount);
    edges.edges.reset();
    mPixels = nullptr;
    if (abort.IsRaised()) return;
    KrBufferAOI32 labels({static_cast<short>(input.width), static_cast<short>(input.height)});
    const Groups groups = ResolveGroups(input, pixels.get(), minGroupSize, abort, labels);
    if (abort.IsRaised()) return;
    WriteUnwrapped(input, pixels.get(), groups.least, *unwrapped);
    mLabels = std::move(labels);
    mComponentCount = groups.count;
}

void KrLUnWrap_Velmor::initialisePIXELs(float*, unsigned char*, unsigned char*, PIXELM* pixels, int width, int height) {
    std::fill_n(pixels, std::ptrdiff_t{width} * height, PIXELM{-1, 0});
    mPixels = pixels;
}

void KrLUnWrap_Velmor::gatherPIXELs(EDGE* edges, int width, int, int& edgeCount) {
    if (mPixels) GatherGroups(edges, edgeCount, mPixels, width, AbortFlag(mAbortFlag));
}

int KrLUnWrap_Velmor::ShouldBeAborted() const { return AbortFlag(mAbortFlag).Value(); }

void KrLUnWrap_Velmor::CheckResult(const KrAOI* result, const KrAOI* resultMask, std::uint32_t line) const {
    Require(result && resultMask, line, kMissing);
    Require(result->AOISize() == mUnwrapped.AOISize(), line, kTargetSize);
    Require(resultMask->AOISize() == mMask.AOISize(), line + 4, kMaskSize);
    result->RequireWritable();
    resultMask->RequireWritable();
}

void KrLUnWrap_Velmor::GetResult2(KrAOI16* result, KrAOI8* resultMask) {
    CheckResult(result, resultMask, 1043);
    double least = std::numeric_limits<double>::max();
    const auto findLeast = [&least](int, const float* value, const std::uint8_t* mask, std::size_t count) {
        for (std::size_t x = 0; x < count; ++x) least = mask[x] == kUsable && value[x] < least ? value[x] : least;
    };
    const auto convert = [&least](std::uint16_t* dst, const float* value, const std::uint8_t* mask, std::size_t count) {
        for (std::size_t x = 0; x < count; ++x) {
            const double steps = mask[x] == kUsable ? (value[x] - least) / KrMath::TwoPi * 255.0 : 0.0;
            dst[x] = TruncateTo<std::uint16_t>(steps);
        }
    };
    const auto dropLeast = [&least](std::uint8_t* dst, const std::uint8_t* mask, const float* value,
                                    std::size_t count) {
        for (std::size_t x = 0; x < count; ++x) dst[x] = value[x] == least ? std::uint8_t{0} : mask[x];
    };
    VisitRows<decltype(findLeast), float, std::uint8_t>(Access::eTyped, findLeast, &mUnwrapped, &mMask);
    mTransfer.Clear(result, 0.0);
    WalkRows<decltype(convert), std::uint16_t, float, std::uint8_t>(Access::eTyped, convert, result, &mUnwrapped,
                                                                    &mMask);
    mTransfer.Copy(&mMask, resultMask);
    WalkRows<decltype(dropLeast), std::uint8_t, std::uint8_t, float>(Access::eTyped, dropLeast, resultMask, &mMask,
                                                                     &mUnwrapped);
    DescribeUnwrapped(*result, mInfo, mInfo.valueScale / 255.0);
}

void KrLUnWrap_Velmor::GetResult(KrAOI16* result, KrAOI8* resultMask) {
    CheckResult(result, resultMask, 971);
    const double scale = mInfo.valueScale / 1601.91;
    const auto convert = [scale](std::uint16_t* dst, const float* value, std::size_t count) {
        for (std::size_t x = 0; x < count; ++x) dst[x] = TruncateTo<std::uint16_t>(value[x] * scale);
    };
    mTransfer.Copy(&mMask, resultMask);
    WalkRows<decltype(convert), std::uint16_t, float>(Access::eTyped, convert, result, &mUnwrapped);
    DescribeUnwrapped(*result, mInfo, mInfo.valueScale / 255.0);
}

void KrLUnWrap_Velmor::GetRadians(KrAOI32Float* result, KrAOI8* resultMask) const {
    Require(mUnwrapped.GetRowPointer(0) != nullptr, 924, kNoResult);
    CheckResult(result, resultMask, 925);
    const auto select = [](float* dst, const float* value, const std::int32_t* label, std::size_t count) {
        for (std::size_t x = 0; x < count; ++x) dst[x] = label[x] != 0 ? value[x] : 0.0f;
    };
    const auto mark = [](std::uint8_t* dst, const std::int32_t* label, std::size_t count) {
        for (std::size_t x = 0; x < count; ++x) dst[x] = label[x] != 0 ? kUsable : std::uint8_t{0};
    };
    KrLTransfer transfer;
    transfer.Clear(result, 0.0);
    transfer.Clear(resultMask, 0.0);
    WalkRows<decltype(select), float, float, std::int32_t>(Access::eTyped, select, result, &mUnwrapped, &mLabels);
    WalkRows<decltype(mark), std::uint8_t, std::int32_t>(Access::eTyped, mark, resultMask, &mLabels);
    DescribeUnwrapped(*result, mInfo, 1.0);
    result->GetAOIInfo()->unit = L"rad";
}

void KrLUnWrap_Velmor::GetComponentLabels(KrAOI32* labels) const {
    Require(labels != nullptr, 930, kMissing);
    const auto copy = [](std::int32_t* dst, const std::int32_t* label, std::size_t count) {
        std::copy_n(label, count, dst);
    };
    WalkRows<decltype(copy), std::int32_t, std::int32_t>(Access::eTyped, copy, labels, &mLabels);
}

void KrLUnWrap_Velmor::GetResult(KrAOI8*, KrAOI8*) { throw new KrNotImplementedException(kFile, 894, L"GetResult"); }

void KrLUnWrap_Velmor::GetResult(KrAOI32Float* result, KrAOI8* resultMask) {
    CheckResult(result, resultMask, 909);
    const double scale = mInfo.valueScale / 6.284;
    mTransfer.Copy(&mMask, resultMask);
    mTransfer.Copy(&mUnwrapped, result);
    if (scale != 1.0) KrLArithmetic().MultiplyModulo(result, scale, result);
    DescribeUnwrapped(*result, mInfo, 1.0);
}

}  // namespace KrN
