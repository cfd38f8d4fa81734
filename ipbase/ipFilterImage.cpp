#include "ipbase/ipFilterImage.h"

namespace KrN {

namespace {

struct Bytes {
    std::uintptr_t first, last;
};
template <class T>
Bytes Extent(const KrTAOI<T>& aoi, KrTSize<int> size) {
    return {reinterpret_cast<std::uintptr_t>(aoi.GetRowPointer(0)),
            reinterpret_cast<std::uintptr_t>(aoi.GetRowPointer(size.cy - 1) + size.cx)};
}

}  // namespace

template <class T>
RowReader<T>::RowReader(const KrTAOI<T>& src, const KrTAOI<T>& dst, KrTSize<int> size, std::size_t kept)
    : mSrc(src), mPointers(AllowsDirect(Access::eSwitched) && HaveRowPointers(&src)) {
    const auto width = static_cast<std::size_t>(size.cx), height = static_cast<std::size_t>(size.cy);
    bool ahead = false;  // rows could be overwritten before they are read
    if (&src != &dst && HaveRowPointers(&src, &dst)) {
        const Bytes from = Extent(src, size), to = Extent(dst, size);
        const bool apart = from.last <= to.first || to.last <= from.first;
        mDirect = mPointers && apart;
        ahead = !apart && (from.first != to.first || src.GetRowIncInBytes() != dst.GetRowIncInBytes());
    }
    if (!mDirect) mRows.Resize(width, ahead ? height : std::min(kept, height));
    if (!mPointers) mLine.Resize(width);
    if (ahead) Row(height - 1);
}

template <class T>
void RowReader<T>::Fetch() {
    if (!mDirect) {
        T* row = mRows.Row(mNext % mRows.Height());
        const int y = static_cast<int>(mNext);
        if (!mPointers) mSrc.ReadRow(y, walk::Columns(static_cast<int>(mRows.Width())), mLine);
        std::copy_n(mPointers ? mSrc.GetRowPointer(y) : mLine.Data(), mRows.Width(), row);
    }
    ++mNext;
}

template <class T>
RowWriter<T>::RowWriter(KrTAOI<T>& dst, KrTSize<int> size)
    : mDst(dst), mColumns(walk::Columns(size.cx)), mDirect(AllowsDirect(Access::eSwitched) && HaveRowPointers(&dst)) {
    if (!mDirect) mLine.Resize(static_cast<std::size_t>(size.cx));
}

template <class T>
void FilterAlongRows(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    const KrTSize<int> size = CommonRegion(&src, &dst);
    if (size.cx == 0 || window.taps == 0) return;
    const auto width = static_cast<std::size_t>(size.cx);
    RowReader<T> reader(src, dst, size, 1);
    RowWriter<T> writer(dst, size);
    KrTBuf1D<T> padded(PaddingOf(window) + width);
    std::vector<const T*> taps(window.taps);
    PointTaps(static_cast<const T*>(padded.Data()), taps);
    for (std::size_t y = 0; y < static_cast<std::size_t>(size.cy); ++y) {
        PadLine(reader.Row(y), width, window.left, PaddingOf(window) - window.left, padded.Data());
        RunWindow(window, writer.Row(y), taps.data(), width);
        writer.Finish(y);
    }
}

template <class T>
void FilterAlongColumns(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    const KrTSize<int> size = CommonRegion(&src, &dst);
    if (size.cx == 0 || window.taps == 0) return;
    const auto height = static_cast<std::size_t>(size.cy);
    RowReader<T> reader(src, dst, size, window.taps);
    RowWriter<T> writer(dst, size);
    std::vector<const T*> taps(window.taps);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t k = 0; k < taps.size(); ++k)
            taps[k] = reader.Row(std::min(y + k - std::min<std::size_t>(y + k, window.left), height - 1));
        RunWindow(window, writer.Row(y), taps.data(), static_cast<std::size_t>(size.cx));
        writer.Finish(y);
    }
}

namespace {

template <class T>
void SmoothLine(double alpha, T* line, std::size_t count) {
    const auto blend = [=](T& pixel, T neighbour) {
        const double value = (1.0 - alpha) * pixel + alpha * neighbour;
        if constexpr (std::is_floating_point_v<T>)
            pixel = static_cast<T>(value);
        else
            pixel = RoundToPixel<T>(value);
    };
    for (std::size_t i = 1; i < count; ++i) blend(line[i], line[i - 1]);
    for (std::size_t i = count - 1; i-- > 0;) blend(line[i], line[i + 1]);
}

}  // namespace

template <class T>
void SmoothAlongRows(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    const KrTSize<int> size = CommonRegion(&src, &dst);
    if (size.cx == 0) return;
    const auto width = static_cast<std::size_t>(size.cx);
    RowReader<T> reader(src, dst, size, 1);
    RowWriter<T> writer(dst, size);
    for (std::size_t y = 0; y < static_cast<std::size_t>(size.cy); ++y) {
        std::copy_n(reader.Row(y), width, writer.Row(y));
        SmoothLine(alpha, writer.Row(y), width);
        writer.Finish(y);
    }
}

namespace {

template <class T>
void SmoothImage(double alpha, bool rowsFirst, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    const KrTSize<int> size = CommonRegion(&src, &dst);
    if (size.cx == 0) return;
    const auto width = static_cast<std::size_t>(size.cx), height = static_cast<std::size_t>(size.cy);
    const auto blend = std::get<rows::BlendRow<T>>(rows::GetFilterRows().blend);
    RowReader<T> reader(src, dst, size, 1);
    RowWriter<T> writer(dst, size);
    KrTBuf2D<T> image(width, height);
    for (std::size_t y = 0; y < height; ++y) {
        std::copy_n(reader.Row(y), width, image.Row(y));
        if (rowsFirst) SmoothLine(alpha, image.Row(y), width);
        if (y > 0) blend(image.Row(y), image.Row(y - 1), alpha, width);
    }
    for (std::size_t y = height; y-- > 0;) {
        if (y + 1 < height) blend(image.Row(y), image.Row(y + 1), alpha, width);
        std::copy_n(image.Row(y), width, writer.Row(y));
        writer.Finish(y);
    }
}

}  // namespace

template <class T>
void SmoothAlongColumns(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    SmoothImage(alpha, false, src, dst);
}

template <class T>
void SmoothBothWays(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    SmoothImage(alpha, true, src, dst);
}

#define VORIP_INSTANTIATE(T)                                                            \
  template class RowReader<T>;                                                          \
  template class RowWriter<T>;                                                          \
  template void FilterAlongRows<T>(const LineWindow&, const KrTAOI<T>&, KrTAOI<T>&);    \
  template void FilterAlongColumns<T>(const LineWindow&, const KrTAOI<T>&, KrTAOI<T>&); \
  template void SmoothAlongRows<T>(double, const KrTAOI<T>&, KrTAOI<T>&);               \
  template void SmoothAlongColumns<T>(double, const KrTAOI<T>&, KrTAOI<T>&);            \
  template void SmoothBothWays<T>(double, const KrTAOI<T>&, KrTAOI<T>&)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
