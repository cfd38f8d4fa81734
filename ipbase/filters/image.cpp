#include "ipbase/filters/image.h"

#include "ipbase/filters/block.h"
#include "ipbase/filters/columns.h"

namespace KrN {

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
    RowReader<T> reader(src, dst, size, median ? 1 : RowsToKeep(window.taps));
    RowWriter<T> writer(dst, size);
    if (median) return FilterBlock(RankBlock(window.kind, {1, window.taps}), ExtentOf(size), reader, writer, nullptr);
    FilterDown<T>(window, ExtentOf(size), reader, writer);
}

#define VORIP_INSTANTIATE(T)                                                         \
  template void FilterAlongRows<T>(const LineWindow&, const KrTAOI<T>&, KrTAOI<T>&); \
  template void FilterAlongColumns<T>(const LineWindow&, const KrTAOI<T>&, KrTAOI<T>&)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
