#include "imagemodel/krbufferaoi.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace KrN {

namespace {

constexpr std::size_t kAlignment = 64;

std::size_t Bytes(const KrTSize<short>& size, std::size_t pixelBytes) {
    if (size.cx < 0 || size.cy < 0) return 0;  // Attach refuses it
    return static_cast<std::size_t>(size.cx) * static_cast<std::size_t>(size.cy) * pixelBytes;
}

}  // namespace

// calloc hands out zero pages that cost nothing until they are touched.
KrPixelMemory::KrPixelMemory(std::size_t bytes) : mMemory(std::calloc(bytes + kAlignment, 1)) {
    if (!mMemory) throw std::bad_alloc();
    void* memory = mMemory.get();
    std::size_t space = bytes + kAlignment;
    mAligned = std::align(kAlignment, bytes, memory, space);
}

void KrPixelMemory::Free::operator()(void* memory) const { std::free(memory); }

template <class Dev, class AOI>
KrTBufferAOI<Dev, AOI>::KrTBufferAOI(const KrTSize<short>& size, int flag) {
    Resize(size, flag);
}

template <class Dev, class AOI>
KrTBufferAOI<Dev, AOI>::KrTBufferAOI(const KrTBufferAOI& other) : AOI(other) {
    const KrTSize<short> size = other.GetBufferSize();
    const std::size_t rowBytes = Bytes({size.cx, 1}, sizeof(Pixel));
    KrPixelMemory memory(Bytes(size, sizeof(Pixel)));
    if (other.mPixels && rowBytes > 0) {  // which need not be its own memory: as a view it may have been re-seated
        auto* to = static_cast<std::byte*>(memory.Data());
        const auto* from = reinterpret_cast<const std::byte*>(other.mPixels);
        for (int y = 0; y < size.cy; ++y, to += rowBytes, from += other.mRowInc) std::memcpy(to, from, rowBytes);
    }
    this->Attach(size, memory.Data(), static_cast<std::uint32_t>(rowBytes));
    this->SetAOIRect(other.GetAOIRect());
    mMemory = std::move(memory);
}

template <class Dev, class AOI>
KrTBufferAOI<Dev, AOI>::KrTBufferAOI(const KrTBufferAOI& other, int) : KrTBufferAOI(other) {}

template <class Dev, class AOI>
KrTBufferAOI<Dev, AOI>& KrTBufferAOI<Dev, AOI>::operator=(const KrTBufferAOI& other) {
    if (this != &other) *this = KrTBufferAOI(other);  // all that can fail comes before this image changes
    return *this;
}

template <class Dev, class AOI>
KrTBufferAOI<Dev, AOI>::KrTBufferAOI(KrTBufferAOI&& other) noexcept {
    *this = std::move(other);
}

template <class Dev, class AOI>
KrTBufferAOI<Dev, AOI>& KrTBufferAOI<Dev, AOI>::operator=(KrTBufferAOI&& other) noexcept {
    if (this == &other) return *this;
    this->MoveFrom(other);
    mMemory = std::move(other.mMemory);
    return *this;
}

template <class Dev, class AOI>
KrTBufferAOI<Dev, AOI>::~KrTBufferAOI() = default;

template <class Dev, class AOI>
void KrTBufferAOI<Dev, AOI>::Resize(const KrTSize<short>& size, int) {
    KrPixelMemory memory(Bytes(size, sizeof(Pixel)));
    this->Attach(size, memory.Data(), static_cast<std::uint32_t>(static_cast<std::size_t>(size.cx) * sizeof(Pixel)));
    mMemory = std::move(memory);
}

template class KrTBufferAOI<KrDev8, KrAOI8>;
template class KrTBufferAOI<KrDev16, KrAOI16>;
template class KrTBufferAOI<KrDev32, KrAOI32>;
template class KrTBufferAOI<KrDev32Float, KrAOI32Float>;
template class KrTBufferAOI<KrDev64Double, KrAOI64Double>;

}  // namespace KrN
