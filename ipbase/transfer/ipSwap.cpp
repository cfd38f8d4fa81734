#include "ipbase/ipSwap.h"

#include "ipbase/base/rowaccess.h"

namespace KrN {

template <class T>
void KrIpSwap::Exchange(KrTAOI<T>* a, KrTAOI<T>* b) {
    const KrTSize<int> size = CommonRegion(a, b);
    if (size.cx == 0) return;
    a->RequireWritable();
    b->RequireWritable();
    const Route route = RouteOf(Access::eTyped, a, b);
    if (a == b || (route == Route::eAddress && a->GetRowPointer(0) == b->GetRowPointer(0)))
        throw new KrNotImplementedException(L"C\\ipSwap", 40, L"Swap( pSrc == pDest )");
    TargetRows<T> first(a, route, size.cx), second(b, route, size.cx);
    for (int y = 0; y < size.cy; ++y) {
        T *rowA = first.Load(y), *rowB = second.Load(y);
        for (int x = 0; x < size.cx; ++x) std::swap(rowA[x], rowB[x]);
        first.Finish(y);
        second.Finish(y);
    }
}

template VORIP_API void KrIpSwap::Exchange(KrTAOI<std::uint8_t>*, KrTAOI<std::uint8_t>*);
template VORIP_API void KrIpSwap::Exchange(KrTAOI<std::uint16_t>*, KrTAOI<std::uint16_t>*);
template VORIP_API void KrIpSwap::Exchange(KrTAOI<std::int32_t>*, KrTAOI<std::int32_t>*);
template VORIP_API void KrIpSwap::Exchange(KrTAOI<float>*, KrTAOI<float>*);

}  // namespace KrN
