// Pixels that change their places: samples, mirror images, quarter turns.
#include <cstring>

#include "ipbase/geometry/turn.h"

namespace KrN {

using namespace geometry;

namespace {

template <class T>
void SamplePixels(const KrTAOI<T>* src, KrTAOI<T>* dst, const KrTPoint<short>& start, const KrTPoint<short>& step) {
    if (IsEmpty(src) || IsEmpty(dst)) return;
    const Source<T> source(*src, dst);
    const int dx = std::max<int>(step.x, 1), dy = std::max<int>(step.y, 1);
    // The destination's pixels from first up to last have one in the source.
    const auto first = [](int from, int by) { return from < 0 ? (by - 1 - from) / by : 0; };
    const auto last = [](int from, int by, int size, int limit) {
        return std::min(limit, from >= size ? 0 : (size - 1 - from) / by + 1);
    };
    const int left = first(start.x, dx), right = last(start.x, dx, source.Width(), dst->AOIWidth());
    const int top = first(start.y, dy), bottom = last(start.y, dy, source.Height(), dst->AOIHeight());
    if (left >= right) return;
    TargetRows<T> rows(dst, RouteOf(Access::eSwitched, dst), right - left);
    for (int y = top; y < bottom; ++y) {
        const T* row = source.Plane().Row(start.y + dy * y) + start.x;
        T* out = rows.Row(y, left);
        if (dx == 1)
            std::copy_n(row + left, right - left, out);
        else
            for (int x = left; x < right; ++x) out[x - left] = row[dx * x];
        rows.Finish(y, left, right - left);
    }
}

template <class T>
void MirrorPixels(const KrTAOI<T>* src, KrTAOI<T>* dst, int axis) {
    const KrTSize<int> size = CommonRegion(src, dst);
    if (size.cx == 0) return;
    const Source<T> source(*src, dst);
    const auto reverse = KernelOf<UnaryRow<T, T>>(GetGeometryKernels().reverse);
    RowWriter<T> writer(*dst, size);
    const auto width = static_cast<std::size_t>(size.cx);
    for (int y = 0; y < size.cy; ++y) {
        const T* row = source.Plane().Row(axis == KrLGeomet::eColumns ? y : source.Height() - 1 - y);
        T* out = writer.Row(static_cast<std::size_t>(y));
        if (axis == KrLGeomet::eRows)
            std::memcpy(out, row, width * sizeof(T));
        else
            reverse(out, row + source.Width() - size.cx, width);
        writer.Finish(static_cast<std::size_t>(y));
    }
}

template <class T>
void TurnPixels(const KrTAOI<T>* src, KrTAOI<T>* dst, int quarters) {
    quarters = (quarters % 4 + 4) % 4;
    const KrTSize<int> turned = TurnedSize(SizeOf(*src), quarters);
    if (dst->AOIWidth() != turned.cx || dst->AOIHeight() != turned.cy) ThrowSizeError();
    if (IsEmpty(dst)) return;
    dst->RequireWritable();
    const Source<T> source(*src, dst);
    if (AllowsDirect(Access::eSwitched) && HaveRowPointers(dst)) {
        PixelPlane<T> plane{dst->GetRowPointer(0), static_cast<std::ptrdiff_t>(dst->GetRowIncInBytes()), turned.cx,
                            turned.cy};
        return TurnPlane(source.Plane(), plane, quarters);
    }
    Source<T> result(turned.cx, turned.cy, true);
    TurnPlane(source.Plane(), result.Plane(), quarters);
    RowWriter<T> writer(*dst, turned);
    for (int y = 0; y < turned.cy; ++y) {
        std::copy_n(result.Row(y), turned.cx, writer.Row(static_cast<std::size_t>(y)));
        writer.Finish(static_cast<std::size_t>(y));
    }
}

}  // namespace

void KrLGeomet::Sample88SW(const KrAOI8* s, KrAOI8* d, const Point& a, const Point& b) { SamplePixels<u8>(s, d, a, b); }
void KrLGeomet::Sample1616SW(const KrAOI16* s, KrAOI16* d, const Point& a, const Point& b) {
    SamplePixels<u16>(s, d, a, b);
}
void KrLGeomet::Sample3232SW(const KrAOI32* s, KrAOI32* d, const Point& a, const Point& b) {
    SamplePixels<i32>(s, d, a, b);
}
void KrLGeomet::SampleFFSW(const KrAOI32Float* s, KrAOI32Float* d, const Point& a, const Point& b) {
    SamplePixels<float>(s, d, a, b);
}
void KrLGeomet::SampleDDSW(const KrAOI64Double* s, KrAOI64Double* d, const Point& a, const Point& b) {
    SamplePixels<double>(s, d, a, b);
}
void KrLGeomet::Mirror88SW(const KrAOI8* s, KrAOI8* d, int axis) { MirrorPixels<u8>(s, d, axis); }
void KrLGeomet::Mirror1616SW(const KrAOI16* s, KrAOI16* d, int axis) { MirrorPixels<u16>(s, d, axis); }
void KrLGeomet::Mirror3232SW(const KrAOI32* s, KrAOI32* d, int axis) { MirrorPixels<i32>(s, d, axis); }
void KrLGeomet::MirrorFFSW(const KrAOI32Float* s, KrAOI32Float* d, int axis) { MirrorPixels<float>(s, d, axis); }
void KrLGeomet::MirrorDDSW(const KrAOI64Double* s, KrAOI64Double* d, int axis) { MirrorPixels<double>(s, d, axis); }
void KrLGeomet::Turn88SW(const KrAOI8* s, KrAOI8* d, int quarters) { TurnPixels<u8>(s, d, quarters); }
void KrLGeomet::Turn1616SW(const KrAOI16* s, KrAOI16* d, int quarters) { TurnPixels<u16>(s, d, quarters); }
void KrLGeomet::Turn3232SW(const KrAOI32* s, KrAOI32* d, int quarters) { TurnPixels<i32>(s, d, quarters); }
void KrLGeomet::TurnFFSW(const KrAOI32Float* s, KrAOI32Float* d, int quarters) { TurnPixels<float>(s, d, quarters); }
void KrLGeomet::TurnDDSW(const KrAOI64Double* s, KrAOI64Double* d, int quarters) { TurnPixels<double>(s, d, quarters); }

}  // namespace KrN
