#pragma once

#include "imagemodel/krdll.h"

namespace KrN {

// Registers the library as the module "voripbase.dll" with its version (imagemodel/version.h). The host application
// makes one instance.
class VORIP_API KrDllIPBase : public KrDll {
public:
    KrDllIPBase();
    KrDllIPBase(const KrDllIPBase& other);
    KrDllIPBase& operator=(const KrDllIPBase& other);
    ~KrDllIPBase() override;
};

// Two process-wide switches, meant to be set once at start-up.
class VORIP_API KrIPAccelerationInfo {
public:
    // CPU-specific acceleration, initially off. The row functions always use the best instructions of the machine, so
    // no routine consults it.
    static void EnableCPUSpecificAcceleration();
    static void DisableCPUSpecificAcceleration();
    static std::int32_t HasToUseCPUSpecificAcceleration();

    // Direct memory access, initially on. When it is off, the software kernels of the front ends touch pixels only
    // through the row and pixel operations of the images; the results are the same.
    static void EnableDirectMemoryAccess();
    static void DisableDirectMemoryAccess();
    static std::int32_t HasToUseDirectMemoryAccess();

    KrIPAccelerationInfo& operator=(const KrIPAccelerationInfo&) { return *this; }
};

}  // namespace KrN
