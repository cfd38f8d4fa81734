#include "measure/base/module.h"

#include <filesystem>

#ifdef _WIN32
#  include <windows.h>
#else
#  include <dlfcn.h>
#endif

namespace measure {

#ifdef _WIN32
const void* LoadModule(const std::string& module, const char* symbol, std::string& error) {
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCSTR>(&LoadModule), &self);
    char path[MAX_PATH] = "";
    GetModuleFileNameA(self, path, MAX_PATH);
    const auto beside = std::filesystem::path(path).replace_filename(module + ".dll");
    const HMODULE loaded = LoadLibraryA(beside.string().c_str());
    if (!loaded) error = beside.string() + ": cannot be loaded";
    return loaded ? reinterpret_cast<const void*>(GetProcAddress(loaded, symbol)) : nullptr;
}
#else
const void* LoadModule(const std::string& module, const char* symbol, std::string& error) {
    static const char here = 0;
    Dl_info self{};
    dladdr(&here, &self);
    const auto beside =
        std::filesystem::path(self.dli_fname ? self.dli_fname : "").replace_filename("lib" + module + ".so");
    void* const loaded = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!loaded) error = dlerror();
    return loaded ? dlsym(loaded, symbol) : nullptr;
}
#endif

}  // namespace measure
