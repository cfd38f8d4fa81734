#include "ipbase/base/rowaccess.h"

#include "ipbase/base/overlap.h"

namespace KrN {

template <class T>
RowReader<T>::RowReader(const KrTAOI<T>& src, const KrTAOI<T>& dst, KrTSize<int> size, std::size_t kept)
    : mSource(&src, RouteOf(Access::eSwitched, &src), size.cx) {
    const auto width = static_cast<std::size_t>(size.cx), height = static_cast<std::size_t>(size.cy);
    bool same = &src == &dst, apart = !same;
    if (width > 0 && HaveRowPointers(&src, &dst)) {
        same = src.GetRowPointer(0) == dst.GetRowPointer(0) && src.GetRowIncInBytes() == dst.GetRowIncInBytes();
        apart = !SharePixels(src, size, dst, size);
    }
    if (mSource.IsDirect() && (apart || (same && kept == 1))) {
        mFirst = src.GetRowPointer(0);
        mIncrement = src.GetRowIncInBytes();
        return;
    }
    const bool ahead = !apart && !same;  // rows could be overwritten before they are read
    mRing = Ring(ahead ? height : std::min(kept, height));
    mRows.Resize(width, mRing.Size());
    if (ahead) Row(height - 1);
}

template class RowReader<std::uint8_t>;
template class RowReader<std::uint16_t>;
template class RowReader<std::int32_t>;
template class RowReader<float>;
template class RowReader<double>;

}  // namespace KrN
