#pragma once

#include <utility>

#include "imagemodel/kraoi.h"

namespace KrN {

// clang-format off
struct KrDev8 { using Pixel = std::uint8_t; };
struct KrDev16 { using Pixel = std::uint16_t; };
struct KrDev32 { using Pixel = std::int32_t; };
struct KrDev32Float { using Pixel = float; };
struct KrDev64Double { using Pixel = double; };
// clang-format on

// Zeroed, cache-line aligned memory of a given number of bytes. Throws std::bad_alloc when there is none.
class VORIP_API KrPixelMemory {
public:
    KrPixelMemory() = default;
    explicit KrPixelMemory(std::size_t bytes);
    KrPixelMemory(KrPixelMemory&& other) noexcept { *this = std::move(other); }
    KrPixelMemory& operator=(KrPixelMemory&& other) noexcept {
        mMemory = std::move(other.mMemory);
        mAligned = std::exchange(other.mAligned, nullptr);
        return *this;
    }
    void* Data() const { return mAligned; }

private:
    struct Free {
        void operator()(void* memory) const;
    };
    std::unique_ptr<void, Free> mMemory;
    void* mAligned = nullptr;
};

// An image that owns its pixels. New pixels are 0, rows follow one another without a gap, and the flags of the
// constructors and of Resize have no further meaning. A size that is negative throws KrException, and one that memory
// cannot hold std::bad_alloc; the image is then as it was.
//
// Copies own copies of the pixels. An image that was moved from is empty, and views of it see the new owner's pixels.
// Resize gives up the old pixels, also when the size stays: views of them must not be used any more.
template <class Dev, class AOI>
class VORIP_API KrTBufferAOI : public AOI {
public:
    using Pixel = typename Dev::Pixel;
    static constexpr bool kOwnsPixels = true;

    KrTBufferAOI() = default;
    explicit KrTBufferAOI(const KrTSize<short>& size, int flag = 0);
    KrTBufferAOI(const KrTBufferAOI& other);
    KrTBufferAOI(const KrTBufferAOI& other, int flag);
    KrTBufferAOI& operator=(const KrTBufferAOI& other);
    KrTBufferAOI(KrTBufferAOI&& other) noexcept;
    KrTBufferAOI& operator=(KrTBufferAOI&& other) noexcept;
    ~KrTBufferAOI() override;

    void Resize(const KrTSize<short>& size, int flag = 1);
    void Resize(const KrAOI& aoi, int flag = 1) { Resize(aoi.AOISize(), flag); }

private:
    KrPixelMemory mMemory;
};

using KrBufferAOI8 = KrTBufferAOI<KrDev8, KrAOI8>;
using KrBufferAOI16 = KrTBufferAOI<KrDev16, KrAOI16>;
using KrBufferAOI32 = KrTBufferAOI<KrDev32, KrAOI32>;
using KrBufferAOI32Float = KrTBufferAOI<KrDev32Float, KrAOI32Float>;
using KrBufferAOI64Double = KrTBufferAOI<KrDev64Double, KrAOI64Double>;

extern template class VORIP_API KrTBufferAOI<KrDev8, KrAOI8>;
extern template class VORIP_API KrTBufferAOI<KrDev16, KrAOI16>;
extern template class VORIP_API KrTBufferAOI<KrDev32, KrAOI32>;
extern template class VORIP_API KrTBufferAOI<KrDev32Float, KrAOI32Float>;
extern template class VORIP_API KrTBufferAOI<KrDev64Double, KrAOI64Double>;

}  // namespace KrN
