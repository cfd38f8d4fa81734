#include "ipbase/ipFilterImage.h"

#include "ipbase/ipFilterBlock.h"
#include "ipbase/ipFilterColumns.h"
#include "ipbase/rows/ipFilterRows.h"

namespace KrN {

namespace {

Extent ExtentOf(KrTSize<int> size) { return {static_cast<std::size_t>(size.cx), static_cast<std::size_t>(size.cy)}; }

}  // namespace

template <class T>
void FilterAlongRows(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    const KrTSize<int> size = CommonRegion(&src, &dst);
    if (size.cx == 0 || window.taps == 0) return;
    RowReader<T> reader(src, dst, size, 1);
    RowWriter<T> writer(dst, size);
    if (window.kind == WindowKind::eMedian)
        return FilterBlock(RankBlock(window.kind, {window.taps, 1}), ExtentOf(size), reader, writer, nullptr);
    AlongRow<T> filter(window, ExtentOf(size).width);
    for (std::size_t y = 0; y < ExtentOf(size).height; ++y) {
        filter.Run(reader.Row(y), writer.Row(y));
        writer.Finish(y);
    }
}

template <class T>
void FilterAlongColumns(const LineWindow& window, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    const KrTSize<int> size = CommonRegion(&src, &dst);
    if (size.cx == 0 || window.taps == 0) return;
    const bool median = window.kind == WindowKind::eMedian;
    RowReader<T> reader(src, dst, size, median ? 1 : std::max(window.taps, 2u));
    RowWriter<T> writer(dst, size);
    if (median) return FilterBlock(RankBlock(window.kind, {1, window.taps}), ExtentOf(size), reader, writer, nullptr);
    RunColumns<T>(window, ExtentOf(size), reader, writer);
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
