#include "ipbase/ipFrame.h"

#include "imagemodel/version.h"

namespace KrN {

KrDllIPBase::KrDllIPBase() : KrDll(L"voripbase.dll", KrVersion(VORIPBASE_VERSION_MAJOR, VORIPBASE_VERSION_MINOR)) {}
KrDllIPBase::KrDllIPBase(const KrDllIPBase& other) = default;
KrDllIPBase& KrDllIPBase::operator=(const KrDllIPBase& other) = default;
KrDllIPBase::~KrDllIPBase() = default;

namespace {
std::int32_t useCPUSpecificAcceleration = 0;
std::int32_t useDirectMemoryAccess = 1;
}  // namespace

void KrIPAccelerationInfo::EnableCPUSpecificAcceleration() { useCPUSpecificAcceleration = 1; }
void KrIPAccelerationInfo::DisableCPUSpecificAcceleration() { useCPUSpecificAcceleration = 0; }
std::int32_t KrIPAccelerationInfo::HasToUseCPUSpecificAcceleration() { return useCPUSpecificAcceleration; }

void KrIPAccelerationInfo::EnableDirectMemoryAccess() { useDirectMemoryAccess = 1; }
void KrIPAccelerationInfo::DisableDirectMemoryAccess() { useDirectMemoryAccess = 0; }
std::int32_t KrIPAccelerationInfo::HasToUseDirectMemoryAccess() { return useDirectMemoryAccess; }

}  // namespace KrN
