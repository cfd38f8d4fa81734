#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KrN {

// The caller's request to stop; another thread may raise it at any time.
class AbortFlag {
public:
    explicit AbortFlag(int* flag) : mFlag(flag) {}
    bool IsRaised() const { return Value() != 0; }
    // 0 without a flag.
    int Value() const {
        if (!mFlag) return 0;
#ifdef __GNUC__
        return __atomic_load_n(mFlag, __ATOMIC_RELAXED);
#else
        return *static_cast<const volatile int*>(mFlag);
#endif
    }
    void Clear() const {
        if (!mFlag) return;
#ifdef __GNUC__
        __atomic_store_n(mFlag, 0, __ATOMIC_RELAXED);
#else
        *static_cast<volatile int*>(mFlag) = 0;
#endif
    }

private:
    int* mFlag;
};

// What the reliability unwrapper works on: wrapped radians in somebody's image, and a mask of its own.
struct ReliabilityInput {
    int width = 0;
    int height = 0;
    const char* wrapped = nullptr;
    std::ptrdiff_t wrappedStep = 0;  // bytes
    std::vector<std::uint8_t> mask;  // 255: usable

    std::size_t First(int y) const { return static_cast<std::size_t>(y) * static_cast<std::size_t>(width); }
    const float* Wrapped(int y) const { return reinterpret_cast<const float*>(wrapped + y * wrappedStep); }
    const std::uint8_t* Mask(int y) const { return mask.data() + First(y); }
};

}  // namespace KrN
