#include "ipbase/filters/recursive.h"

#include "ipbase/base/rowaccess.h"
#include "ipbase/kernels/recursive.h"

namespace KrN {

namespace {

// Each sample waits for the one before it: many lines go side by side.
constexpr std::size_t kLines = 64;

// Both passes down the columns of an image in memory.
template <class T>
void SmoothDown(double alpha, KrTBuf2D<T>& image, std::size_t width) {
    const auto blend = std::get<kernels::BlendRow<T>>(kernels::GetRecursiveKernels().blend);
    for (std::size_t y = 1; y < image.Height(); ++y) blend(image.Row(y), image.Row(y - 1), alpha, width);
    for (std::size_t y = image.Height() - 1; y-- > 0;) blend(image.Row(y), image.Row(y + 1), alpha, width);
}

template <class T>
void SmoothRows(double alpha, Extent size, RowReader<T>& reader, RowWriter<T>& writer) {
    KrTBuf2D<T> turned(std::min(kLines, size.height), size.width);  // rows as columns
    for (std::size_t first = 0; first < size.height; first += kLines) {
        const std::size_t lines = std::min(kLines, size.height - first);
        for (std::size_t i = 0; i < lines; ++i) {
            const T* row = reader.Row(first + i);
            for (std::size_t x = 0; x < size.width; ++x) turned.Row(x)[i] = row[x];
        }
        SmoothDown(alpha, turned, lines);
        for (std::size_t i = 0; i < lines; ++i) {
            T* row = writer.Row(first + i);
            for (std::size_t x = 0; x < size.width; ++x) row[x] = turned.Row(x)[i];
            writer.Finish(first + i);
        }
    }
}

template <class T>
void SmoothImage(double alpha, bool rowsFirst, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    const KrTSize<int> region = CommonRegion(&src, &dst);
    if (region.cx == 0) return;
    const Extent size = ExtentOf(region);
    RowReader<T> reader(src, dst, region, 1);
    RowWriter<T> writer(dst, region);
    KrTBuf2D<T> image(size.width, size.height);
    RowWriter<T> into(image);
    if (rowsFirst)
        SmoothRows(alpha, size, reader, into);
    else
        Copy(size, reader, into);
    SmoothDown(alpha, image, size.width);
    RowReader<T> smoothed(image);
    Copy(size, smoothed, writer);
}

}  // namespace

template <class T>
void SmoothAlongRows(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    const KrTSize<int> region = CommonRegion(&src, &dst);
    if (region.cx == 0) return;
    RowReader<T> reader(src, dst, region, 1);
    RowWriter<T> writer(dst, region);
    SmoothRows(alpha, ExtentOf(region), reader, writer);
}

template <class T>
void SmoothAlongColumns(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    SmoothImage(alpha, false, src, dst);
}

template <class T>
void SmoothBothWays(double alpha, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    SmoothImage(alpha, true, src, dst);
}

#define VORIP_INSTANTIATE(T)                                                 \
  template void SmoothAlongRows<T>(double, const KrTAOI<T>&, KrTAOI<T>&);    \
  template void SmoothAlongColumns<T>(double, const KrTAOI<T>&, KrTAOI<T>&); \
  template void SmoothBothWays<T>(double, const KrTAOI<T>&, KrTAOI<T>&)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
