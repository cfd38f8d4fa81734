#pragma once

#include "imagemodel/kraoi.h"

namespace KrN {

class VORIP_API KrIpSwap {
public:
    // Exchanges the pixels of the common region of two images of the same type (8, 16, 32, F). Views that overlap only
    // partly are exchanged pixel by pixel in raster order. Throws KrNotImplementedException ("Swap( pSrc == pDest )",
    // file "C\ipSwap", line 40) when both are the same pixels.
    template <class T>
    void Swap(KrTAOI<T>* a, KrTAOI<T>* b);
};

}  // namespace KrN
