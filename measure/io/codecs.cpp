#include "measure/io/codecs.h"

#include <filesystem>

#include "measure/error.h"
#include "measure/io/codecs/module.h"

#ifdef _WIN32
#  include <windows.h>
#else
#  include <dlfcn.h>
#endif

namespace measure {
namespace {

constexpr char kSymbol[] = "voripCodecs";

#ifdef _WIN32
constexpr char kModule[] = "voripcodecs.dll";
const Codecs* Load(std::string& error) {
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCSTR>(&Load), &self);
    char path[MAX_PATH] = "";
    GetModuleFileNameA(self, path, MAX_PATH);
    const auto beside = std::filesystem::path(path).replace_filename(kModule);
    const HMODULE module = LoadLibraryA(beside.string().c_str());
    if (!module) error = beside.string();
    return module ? reinterpret_cast<const Codecs*>(GetProcAddress(module, kSymbol)) : nullptr;
}
#else
constexpr char kModule[] = "libvoripcodecs.so";
const Codecs* Load(std::string& error) {
    Dl_info self{};
    dladdr(kSymbol, &self);
    const auto beside = std::filesystem::path(self.dli_fname ? self.dli_fname : "").replace_filename(kModule);
    void* module = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module) error = dlerror();
    return module ? static_cast<const Codecs*>(dlsym(module, kSymbol)) : nullptr;
}
#endif

const Codecs& GetCodecs(const std::string& file) {
    static std::string error;
    static const Codecs* const codecs = Load(error);
    if (codecs) return *codecs;
    throw InputError(file + ": only PNG, TIFF and NPY files can be used here, as the module " + kModule +
                     " cannot be loaded: " + error);
}

// The sizes of a BMP file stand in its header, as signed numbers. The codec would set memory aside for any.
void RequireReadableBmp(const Bytes& bytes, const std::string& file) {
    if (bytes.size() < 26 || bytes[0] != 'B' || bytes[1] != 'M') return;
    const auto side = [&](std::size_t at) {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < 4; ++i) number |= std::uint32_t{bytes[at + i]} << (8 * i);
        return number < 0x80000000U ? number : 0U - number;
    };
    RequireReadableSize(side(18), side(22), file);
}

}  // namespace

cv::Mat DecodeByModule(const Bytes& bytes, const std::string& file) {
    RequireReadableBmp(bytes, file);
    cv::Mat image = GetCodecs(file).decode(bytes);
    if (image.empty()) throw InputError(file + ": damaged, or a kind of picture that cannot be read");
    return image;
}

Bytes EncodeByModule(const char* ending, const cv::Mat& image) {
    Bytes bytes = GetCodecs(std::string("*") + ending).encode(ending, image);
    if (bytes.empty()) throw InputError(std::string("the picture cannot be encoded as ") + ending);
    return bytes;
}

}  // namespace measure
