#include "imagemodel/krdll.h"

#include <algorithm>

namespace KrN {

namespace {
std::vector<const KrDll*>& Modules() {
    static std::vector<const KrDll*> modules;
    return modules;
}
}  // namespace

KrDll::KrDll(const KrString& name, KrVersion version) : mName(name), mVersion(version) { Modules().push_back(this); }

KrDll::KrDll(const KrDll& other) : KrDll(other.mName, other.mVersion) {}

KrDll::~KrDll() {
    auto& modules = Modules();
    modules.erase(std::find(modules.begin(), modules.end(), this));
}

const std::vector<const KrDll*>& KrDll::GetModules() { return Modules(); }

}  // namespace KrN
