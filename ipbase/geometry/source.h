#pragma once

#include <cmath>
#include <limits>
#include <vector>

#include "ipbase/base/mask.h"
#include "ipbase/base/overlap.h"
#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/ipLGeomet.h"
#include "ipbase/kernels/geometry.h"

// What geometric operations read and write.
namespace KrN::geometry {

using namespace kernels;

// What a pixel type is computed in.
template <class T>
using Precision = std::conditional_t<std::is_same_v<T, i32> || std::is_same_v<T, double>, double, float>;

template <class R>
constexpr R kNaN = std::numeric_limits<R>::quiet_NaN();

template <class Row, class Rows>
Row KernelOf(const Rows& rows) {
    return std::get<Row>(rows);
}

// The pixels of an image at addresses: its own, or copies where it has none, where they may not be used, or where the
// destination would overwrite them.
template <class S>
class Source {
public:
    template <class D>
    Source(const KrTAOI<S>& src, const KrTAOI<D>* dst) : Source(src.AOIWidth(), src.AOIHeight()) {
        bool apart = AllowsDirect(Access::eSwitched) && HaveRowPointers(&src);
        if constexpr (std::is_same_v<D, S>) apart = apart && !(dst && SharePixels(&src, dst));
        if (apart) {
            mPlane.first = src.GetRowPointer(0);
            mPlane.stride = static_cast<std::ptrdiff_t>(src.GetRowIncInBytes());
            return;
        }
        Allocate();
        SourceRows<S> rows(&src, RouteOf(Access::eSwitched, &src), mPlane.width);
        for (int y = 0; y < mPlane.height; ++y) std::copy_n(rows.Row(y), mPlane.width, Row(y));
    }
    // A copy of another one, with NaN where `isExcluded(x, y)`.
    template <class T, class Excluded>
    Source(const Source<T>& other, const Excluded& isExcluded) : Source(other.Width(), other.Height()) {
        Allocate();
        for (int y = 0; y < Height(); ++y)
            for (int x = 0; x < Width(); ++x)
                Row(y)[x] = isExcluded(x, y) ? kNaN<S> : static_cast<S>(other.Plane().Row(y)[x]);
    }
    Source(int width, int height, bool allocate) : Source(width, height) {
        if (allocate) Allocate();
    }

    Source(Source&&) noexcept = default;  // the plane stays where it is
    Source& operator=(Source&&) noexcept = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    const PixelPlane<S>& Plane() const { return mPlane; }
    int Width() const { return mPlane.width; }
    int Height() const { return mPlane.height; }
    S* Row(int y) { return mCopy.data() + static_cast<std::ptrdiff_t>(y) * mPlane.width; }  // of a copy

private:
    Source(int width, int height) : mPlane{nullptr, 0, width, height} {}
    void Allocate() {
        mCopy.resize(static_cast<std::size_t>(mPlane.width) * static_cast<std::size_t>(mPlane.height));
        mPlane.first = mCopy.data();
        mPlane.stride = mPlane.width * static_cast<std::ptrdiff_t>(sizeof(S));
    }

    PixelPlane<S> mPlane;
    std::vector<S> mCopy;
};

// Of a mask: pixels beyond it count as its nearest one.
class MaskReader {
public:
    explicit MaskReader(const KrSampling& how)
        : mActive(how.mask && how.consideration != eIgnoreMask && how.mask->AOIWidth() > 0 &&
                  how.mask->AOIHeight() > 0),
          mMask(mActive ? Source<u8>(*how.mask, static_cast<KrTAOI<u8>*>(nullptr)) : Source<u8>(0, 0, false)) {}
    bool IsActive() const { return mActive; }
    bool operator()(int x, int y) const {
        return mMask.Plane().Row(std::min(y, mMask.Height() - 1))[std::min(x, mMask.Width() - 1)] >= kMaskLimit;
    }

private:
    bool mActive;
    Source<u8> mMask;
};

// Calls f(source), in which pixels that count as excluded are not finite.
template <class T, class F>
void WithSource(const KrTAOI<T>& src, const KrTAOI<T>* dst, const KrSampling& how, const F& f) {
    const Source<T> source(src, dst);
    const MaskReader mask(how);
    if (mask.IsActive())
        f(Source<Precision<T>>(source, mask));
    else
        f(source);
}

inline bool IsEmpty(const KrAOI* aoi) { return aoi->AOIWidth() == 0 || aoi->AOIHeight() == 0; }

// The destination, row by row, and the pixels without a value.
template <class T>
class Output {
public:
    using R = Precision<T>;

    Output(KrTAOI<T>& dst, KrTSize<int> size, KrAOI8* excluded)
        : mSize(size),
          mWriter(dst, size),
          mExcludedSize(Limited(CommonRegion(excluded, static_cast<const KrAOI*>(&dst)), size)),
          mExcluded(excluded, RouteOf(Access::eSwitched, excluded), mExcludedSize.cx),
          mFinite(KernelOf<bool (*)(const R*, std::size_t)>(GetGeometryKernels().finite)),
          mMark(static_cast<std::size_t>(excluded ? size.cx : 0)) {
        if constexpr (!std::is_same_v<T, R>) mLine.Resize(Width());
    }

    std::size_t Width() const { return static_cast<std::size_t>(mSize.cx); }
    // Where row y is computed.
    R* Line(int y) {
        if constexpr (std::is_same_v<T, R>)
            return mWriter.Row(static_cast<std::size_t>(y));
        else
            return mLine.Data();
    }
    // Stores the row. Values that are not finite are asked for once more, from `repair(x)`; where these are not finite
    // either, the pixel is excluded and becomes `fill`.
    template <class Repair>
    void Finish(int y, T fill, const Repair& repair) {
        R* line = Line(y);
        Begin();
        if (!mFinite(line, Width()))
            for (std::size_t x = 0; x < Width(); ++x)
                if (!std::isfinite(line[x])) {
                    const double value = repair(static_cast<int>(x));
                    line[x] = static_cast<R>(value);
                    if (!std::isfinite(value)) mHoles.push_back(x);
                }
        Store(y, fill);
    }
    // Stores a row whose values are all finite.
    void Finish(int y) {
        Begin();
        Store(y, T{0});
    }
    // Where the pixels of row y are put when they are final.
    T* Row(int y) { return mWriter.Row(static_cast<std::size_t>(y)); }
    // Stores them; those for which `isHole(x)` are excluded and become `fill`.
    template <class IsHole>
    void Commit(int y, T fill, const IsHole& isHole) {
        Begin();
        for (std::size_t x = 0; x < Width(); ++x)
            if (isHole(x)) mHoles.push_back(x);
        Close(y, Row(y), fill);
    }
    void Commit(int y) {
        Begin();
        Close(y, Row(y), T{0});
    }

private:
    void Begin() {
        std::fill(mMark.begin(), mMark.end(), u8{0});
        mHoles.clear();
    }
    void Store(int y, T fill) {
        T* out = Row(y);
        if constexpr (!std::is_same_v<T, R>)
            KernelOf<UnaryRow<T, R>>(GetGeometryKernels().round)(out, Line(y), Width());
        Close(y, out, fill);
    }
    void Close(int y, T* out, T fill) {
        for (const std::size_t x : mHoles) {
            out[x] = fill;
            if (!mMark.empty()) mMark[x] = 255;
        }
        mWriter.Finish(static_cast<std::size_t>(y));
        if (y >= mExcludedSize.cy) return;
        std::copy_n(mMark.begin(), mExcludedSize.cx, mExcluded.Row(y));
        mExcluded.Finish(y);
    }
    static KrTSize<int> Limited(const KrTSize<int>& a, const KrTSize<int>& b) {
        return {std::min(a.cx, b.cx), std::min(a.cy, b.cy)};
    }

    KrTSize<int> mSize;
    RowWriter<T> mWriter;
    KrTSize<int> mExcludedSize;
    TargetRows<u8> mExcluded;
    bool (*mFinite)(const R*, std::size_t);
    std::vector<u8> mMark;
    std::vector<std::size_t> mHoles;
    KrTBuf1D<R> mLine;
};

// The whole of both images, of which none is empty, as the size of a destination.
inline KrTSize<int> SizeOf(const KrAOI& aoi) { return {aoi.AOIWidth(), aoi.AOIHeight()}; }

[[noreturn]] inline void ThrowSizeError() {
    throw new KrException(L"Error in KrLGeomet: AOI size of target AOI is not correct");
}

}  // namespace KrN::geometry
