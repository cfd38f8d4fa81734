#include "ipbase/kernels/targets.h"

namespace KrN::kernels {

bool AreForManyTargets() {
#ifdef HWY_COMPILE_ONLY_STATIC
    return false;
#else
    return true;
#endif
}

}  // namespace KrN::kernels
