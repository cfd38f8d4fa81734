#include "ipbase/ipSwap.h"

#include "ipbase/base/rowwalk.h"

namespace KrN {

template <class T>
void KrIpSwap::Swap(KrTAOI<T>* a, KrTAOI<T>* b) {
    const KrTSize<int> size = CommonRegion(a, b);
    if (size.cx == 0) return;
    const bool direct = HaveRowPointers(a, b);
    if (a == b || (direct && a->GetRowPointer(0) == b->GetRowPointer(0)))
        throw new KrNotImplementedException(L"C\\ipSwap", 40, L"Swap( pSrc == pDest )");
    const auto width = static_cast<std::size_t>(size.cx);
    if (direct) {
        for (int y = 0; y < size.cy; ++y) {
            T* rowA = a->GetRowPointer(y);
            T* rowB = b->GetRowPointer(y);
            for (std::size_t x = 0; x < width; ++x) std::swap(rowA[x], rowB[x]);
        }
        return;
    }
    KrTBuf1D<T> rowA(width), rowB(width);
    const KrColumnRange columns = walk::Columns(size.cx);
    for (int y = 0; y < size.cy; ++y) {
        a->ReadRow(y, columns, rowA);
        b->ReadRow(y, columns, rowB);
        a->WriteRow(y, columns, rowB);
        b->WriteRow(y, columns, rowA);
    }
}

template VORIP_API void KrIpSwap::Swap(KrTAOI<std::uint8_t>*, KrTAOI<std::uint8_t>*);
template VORIP_API void KrIpSwap::Swap(KrTAOI<std::uint16_t>*, KrTAOI<std::uint16_t>*);
template VORIP_API void KrIpSwap::Swap(KrTAOI<std::int32_t>*, KrTAOI<std::int32_t>*);
template VORIP_API void KrIpSwap::Swap(KrTAOI<float>*, KrTAOI<float>*);

}  // namespace KrN
