#pragma once

#include "imagemodel/kraoi.h"
#include "ipbase/ipTypes.h"

namespace KrN {

class VORIP_API KrIpSwap {
public:
    // Exchanges the pixels of the common region of two images of the same type (8, 16, 32, F). Views that overlap only
    // partly are exchanged pixel by pixel in raster order. Throws KrNotImplementedException ("Swap( pSrc == pDest )",
    // file "C\ipSwap", line 40) when both are the same pixels, and KrException when one is read-only. Null images make
    // it do nothing, other pixel types do not compile.
    template <class T>
    void Swap(KrTAOI<T>* a, KrTAOI<T>* b) {
        KrRequireListed<KrAllButDouble, T>();
        Exchange(a, b);
    }

protected:
    template <class T>
    void Exchange(KrTAOI<T>* a, KrTAOI<T>* b);
};

}  // namespace KrN
