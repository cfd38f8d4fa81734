// From phases to points, row by row.
#include <cmath>
#include <limits>

#include "ipbase/base/overlap.h"
#include "ipbase/base/rowaccess.h"
#include "ipbase/world/errors.h"
#include "ipbase/world/rows.h"

namespace KrN {

using namespace kernels;
using namespace world;

void KrLPixelToWorld::RequireModel() const {
    if (mModel == eNone) Throw(49, L"no projector, reference plane or coefficients have been set");
}

void KrLPixelToWorld::Prepare(const KrTSize<short>& size, const KrTPoint<short>& origin) {
    const auto width = static_cast<std::size_t>(std::max<short>(size.cx, 0));
    const auto height = static_cast<std::size_t>(std::max<short>(size.cy, 0));
    Plane x(width, height), y(width, height);
    const LensTerms lens = WorldRows::TermsOf(mCamera);
    for (std::size_t row = 0; row < height && width > 0; ++row)
        GetWorldKernels().rays(x.Row(row), y.Row(row), lens, origin.x, origin.y + static_cast<double>(row), width);
    mRayX = std::move(x);
    mRayY = std::move(y);
    mFirst = origin;
}

void KrLPixelToWorld::PrepareFor(KrTSize<int> region) {
    RequireModel();
    if (!WorldRows(*this).Covers({mFirst.x, mFirst.y}, region)) Throw(49, L"the coefficients do not cover the image");
    const auto width = std::max<int>(region.cx, static_cast<int>(mRayX.Width()));
    const auto height = std::max<int>(region.cy, static_cast<int>(mRayX.Height()));
    if (mRayX.Width() < static_cast<std::size_t>(width) || mRayX.Height() < static_cast<std::size_t>(height))
        Prepare({static_cast<short>(width), static_cast<short>(height)}, mFirst);
}

namespace {

using Float = KrAOI32Float;

// An image to be read: where a destination would overwrite pixels that are still to come, from a copy.
template <class P>
class Input {
public:
    template <std::size_t n>
    Input(const KrTAOI<P>* src, Route route, KrTSize<int> size, const std::array<Float*, n>& targets)
        : mRows(src, route, size.cx) {
        for (const Float* target : targets)
            if (src->GetRowPointer(0) && target->GetRowPointer(0) && !IsSame(*src, *target))
                mIsCopied = mIsCopied || SharePixels(*src, size, *target, size);
        if (!mIsCopied) return;
        mCopy.Resize(static_cast<std::size_t>(size.cx), static_cast<std::size_t>(size.cy));
        for (int y = 0; y < size.cy; ++y) std::copy_n(mRows.Row(y), size.cx, mCopy.Row(static_cast<std::size_t>(y)));
    }
    const P* Row(int y) { return mIsCopied ? mCopy.Row(static_cast<std::size_t>(y)) : mRows.Row(y); }

private:
    static bool IsSame(const KrTAOI<P>& src, const Float& target) {
        return sizeof(P) == sizeof(float) &&
               static_cast<const void*>(src.GetRowPointer(0)) == static_cast<const void*>(target.GetRowPointer(0)) &&
               src.GetRowIncInBytes() == target.GetRowIncInBytes();
    }
    SourceRows<P> mRows;
    bool mIsCopied = false;
    KrTBuf2D<P> mCopy;
};

// The common region of all that is there.
KrTSize<int> RegionOf(KrTSize<int> size, const KrAOI* mask, const KrAOI* result) {
    for (const KrAOI* aoi : {mask, result})
        if (aoi) size = {std::min<int>(size.cx, aoi->AOIWidth()), std::min<int>(size.cy, aoi->AOIHeight())};
    return size.cx > 0 && size.cy > 0 ? size : KrTSize<int>{0, 0};
}

// Calls `row(y, pixels of the destinations)` for all rows, and applies the masks to what it has written.
template <std::size_t n, class Row>
void Walk(KrTSize<int> size, Route route, const std::array<Float*, n>& targets, const KrAOI8* mask, KrAOI8* result,
          const Row& row) {
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t k = i + 1; k < n; ++k)
            if (SharePixels(targets[i], targets[k])) Throw(50, L"two destinations share pixels");
    const WorldKernels& kernels = GetWorldKernels();
    const auto width = static_cast<std::size_t>(size.cx);
    std::array<TargetRows<float>, n> rows;
    for (std::size_t i = 0; i < n; ++i) rows[i] = {targets[i], route, size.cx};
    TargetRows<u8> marks(result, route, size.cx);
    SourceRows<u8> masks(mask, route, size.cx);
    for (int y = 0; y < size.cy; ++y) {
        std::array<float*, n> pixels;
        for (std::size_t i = 0; i < n; ++i) pixels[i] = rows[i].Row(y);
        row(y, pixels);
        if (mask) {
            const u8* values = masks.Row(y);
            for (float* p : pixels) kernels.exclude(p, values, width);
        }
        if (result) {
            kernels.mark(marks.Row(y), pixels[0], width);
            marks.Finish(y);
        }
        for (auto& target : rows) target.Finish(y);
    }
}

// What is to be computed for one row.
template <class P, std::size_t n>
struct Line {
    Rays rays;
    const P* phase;
    std::array<float*, n> out;
    int y;
    std::size_t count;
};

// Calls `run(model, line)` for all rows.
template <class P, std::size_t n, class Run>
void Convert(const WorldRows& world, KrTSize<int> size, Route route, const KrTAOI<P>* phase,
             const std::array<Float*, n>& targets, const KrAOI8* mask, KrAOI8* result, const Run& run) {
    Input<P> phases(phase, route, size, targets);
    Walk(size, route, targets, mask, result, [&](int y, const std::array<float*, n>& out) {
        const Line<P, n> line{world.RaysOf(y), phases.Row(y), out, y, static_cast<std::size_t>(size.cx)};
        world.WithModel(world.PixelOf(y), [&](const auto& model) { run(model, line); });
    });
}

}  // namespace

template <class P>
void KrLPixelToWorld::ExecutePixels(const KrTAOI<P>* phase, Float* x, Float* y, Float* z, const Masks& masks) {
    const KrTSize<int> size = RegionOf(CommonRegion(phase, x, y, z), masks.mask, masks.result);
    PrepareFor(size);
    if (size.cx == 0) return;
    const Route route = RouteOf(Access::eSwitched, phase, x, y, z, masks.mask, masks.result);
    Convert(WorldRows(*this), size, route, phase, std::array{x, y, z}, masks.mask, masks.result,
            [](const auto& model, const Line<P, 3>& l) {
                const auto row = std::get<PointRow<std::decay_t<decltype(model)>, P>>(GetWorldKernels().points);
                row(model, l.rays, l.phase, l.out[0], l.out[1], l.out[2], l.count);
            });
}

template <class P>
void KrLPixelToWorld::PredictRowPixels(const KrTAOI<P>* phase, Float* row, const Masks& masks) {
    if (mModel != eStereo) Throw(48, L"only a projector has rows");
    const KrTSize<int> size = RegionOf(CommonRegion(phase, row), masks.mask, masks.result);
    PrepareFor(size);
    if (size.cx == 0) return;
    const WorldRows world(*this);
    const Route route = RouteOf(Access::eSwitched, phase, row, masks.mask, masks.result);
    Convert(world, size, route, phase, std::array{row}, masks.mask, masks.result,
            [&](const auto&, const Line<P, 1>& l) {
                const auto across = std::get<AcrossRow<P>>(GetWorldKernels().across);
                across(world.Stereo(), l.rays, l.phase, l.out[0], l.count);
            });
}

template <class P>
void KrLPixelToWorld::PredictNoisePixels(const KrTAOI<P>* phase, const Float* phaseNoise, Float* noise,
                                         const Masks& masks) {
    const KrTSize<int> size = RegionOf(CommonRegion(phase, phaseNoise, noise), masks.mask, masks.result);
    PrepareFor(size);
    if (size.cx == 0) return;
    const Route route = RouteOf(Access::eSwitched, phase, phaseNoise, noise, masks.mask, masks.result);
    Input<float> deviations(phaseNoise, route, size, std::array{noise});
    Convert(WorldRows(*this), size, route, phase, std::array{noise}, masks.mask, masks.result,
            [&](const auto& model, const Line<P, 1>& l) {
                const auto row = std::get<DepthNoiseRow<std::decay_t<decltype(model)>, P>>(GetWorldKernels().noise);
                row(model, l.rays, l.phase, deviations.Row(l.y), l.out[0], l.count);
            });
}

void KrLPixelToWorld::ExecuteFSW(const Float* phase, Float* x, Float* y, Float* z, const Masks& masks) {
    ExecutePixels(phase, x, y, z, masks);
}
void KrLPixelToWorld::ExecuteDSW(const KrAOI64Double* phase, Float* x, Float* y, Float* z, const Masks& masks) {
    ExecutePixels(phase, x, y, z, masks);
}
void KrLPixelToWorld::PredictRowFSW(const Float* phase, Float* row, const Masks& masks) {
    PredictRowPixels(phase, row, masks);
}
void KrLPixelToWorld::PredictRowDSW(const KrAOI64Double* phase, Float* row, const Masks& masks) {
    PredictRowPixels(phase, row, masks);
}
void KrLPixelToWorld::PredictNoiseFSW(const Float* phase, const Float* phaseNoise, Float* noise, const Masks& masks) {
    PredictNoisePixels(phase, phaseNoise, noise, masks);
}
void KrLPixelToWorld::PredictNoiseDSW(const KrAOI64Double* phase, const Float* phaseNoise, Float* noise,
                                      const Masks& masks) {
    PredictNoisePixels(phase, phaseNoise, noise, masks);
}

SrWorldPoint KrLPixelToWorld::WorldPoint(double x, double y, double phase) const {
    RequireModel();
    SrWorldPoint point;
    point.x = point.y = point.z = std::numeric_limits<float>::quiet_NaN();
    const double column = std::floor(x + 0.5), row = std::floor(y + 0.5);
    if (!(std::abs(column) <= 32767 && std::abs(row) <= 32767)) return point;
    const WorldRows world(*this);
    const KrTPoint<int> pixel(static_cast<int>(column), static_cast<int>(row));
    if (!world.Covers(pixel, {1, 1})) return point;
    double rayX, rayY;
    const WorldKernels& kernels = GetWorldKernels();
    kernels.rays(&rayX, &rayY, WorldRows::TermsOf(mCamera), x, y, 1);
    world.WithModel(pixel, [&](const auto& model) {
        const auto run = std::get<PointRow<std::decay_t<decltype(model)>, double>>(kernels.points);
        run(model, world.Spread(&rayX, &rayY), &phase, &point.x, &point.y, &point.z, 1);
    });
    return point;
}

}  // namespace KrN
