#include "ipbase/base/rowaccess.h"

namespace KrN {

namespace {

struct Bytes {
    std::uintptr_t first, last;
};
template <class T>
Bytes BytesOf(const KrTAOI<T>& aoi, KrTSize<int> size) {
    return {reinterpret_cast<std::uintptr_t>(aoi.GetRowPointer(0)),
            reinterpret_cast<std::uintptr_t>(aoi.GetRowPointer(size.cy - 1) + size.cx)};
}

}  // namespace

template <class T>
RowReader<T>::RowReader(const KrTAOI<T>& src, const KrTAOI<T>& dst, KrTSize<int> size, std::size_t kept)
    : mSrc(&src), mPointers(AllowsDirect(Access::eSwitched) && HaveRowPointers(&src)) {
    const auto width = static_cast<std::size_t>(size.cx), height = static_cast<std::size_t>(size.cy);
    bool apart = &src != &dst, same = !apart;
    if (width > 0 && HaveRowPointers(&src, &dst)) {
        const Bytes from = BytesOf(src, size), to = BytesOf(dst, size);
        apart = from.last <= to.first || to.last <= from.first;
        same = from.first == to.first && src.GetRowIncInBytes() == dst.GetRowIncInBytes();
    }
    if (mPointers && (apart || (same && kept == 1))) {
        mFirst = src.GetRowPointer(0);
        mIncrement = static_cast<std::size_t>(src.GetRowIncInBytes());
        return;
    }
    const bool ahead = !apart && !same;  // rows could be overwritten before they are read
    mRing = Ring(ahead ? height : std::min(kept, height));
    mRows.Resize(width, mRing.Size());
    if (!mPointers) mLine.Resize(width);
    if (ahead) Row(height - 1);
}

template <class T>
void RowReader<T>::Fetch() {
    const int y = static_cast<int>(mRing.Next());
    if (!mPointers) mSrc->ReadRow(y, walk::Columns(static_cast<int>(mRows.Width())), mLine);
    std::copy_n(mPointers ? mSrc->GetRowPointer(y) : mLine.Data(), mRows.Width(), mRows.Row(mRing.Add()));
}

template <class T>
RowWriter<T>::RowWriter(KrTAOI<T>& dst, KrTSize<int> size)
    : mDst(&dst), mColumns(walk::Columns(size.cx)), mDirect(AllowsDirect(Access::eSwitched) && HaveRowPointers(&dst)) {
    if (!mDirect) mLine.Resize(static_cast<std::size_t>(size.cx));
}

#define VORIP_INSTANTIATE(T)   \
  template class RowReader<T>; \
  template class RowWriter<T>
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
VORIP_INSTANTIATE(double);
#undef VORIP_INSTANTIATE

}  // namespace KrN
