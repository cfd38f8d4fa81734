#include "tools/vorip/session/largepages.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <opencv2/core.hpp>

#ifdef __linux__
#  include <malloc.h>
#  include <sys/mman.h>
#  include <unistd.h>
#endif

namespace {

void* Advised(void* block, std::size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t kPage = 2 << 20;
    constexpr std::size_t kLarge = 2 * kPage;  // less may hold no whole page
    if (block == nullptr || size < kLarge) return block;
    const auto begin = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (begin + kPage - 1) / kPage * kPage, end = (begin + size) / kPage * kPage;
    madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);  // where it is refused, pages are small
#endif
    return block;
}

// As a rule every image is mapped from the system anew and given back, in pages of 4 KB, each of which is cleared when
// it is first touched: a fifth of the time of a command. Here freed images are used again, by all threads, and the
// first part of the heap stands on pages of 2 MB.
void KeepFreedImages(double limit) {
#ifdef __GLIBC__
    constexpr double kReserve = 1 << 30;  // bytes of addresses; memory is taken when it is touched
    const int usualPad = static_cast<int>(std::min(1.0 * (1 << 24), limit / 16));
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    mallopt(M_TOP_PAD, static_cast<int>(std::min(kReserve, limit / 2)));
    void* const first = std::malloc(static_cast<std::size_t>(usualPad));  // makes the heap grow
    const auto begin = reinterpret_cast<std::uintptr_t>(first), end = reinterpret_cast<std::uintptr_t>(sbrk(0));
    if (begin < end) Advised(first, end - begin);
    std::free(first);
    mallopt(M_TOP_PAD, usualPad);
#endif
}

class Allocator : public cv::MatAllocator {
public:
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step, cv::AccessFlag flags,
                           cv::UMatUsageFlags usage) const override {
        cv::UMatData* const matrix = mPlain.allocate(dims, sizes, type, data, step, flags, usage);
        if (data == nullptr) Advised(matrix->data, matrix->size);
        return matrix;
    }
    bool allocate(cv::UMatData* matrix, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
        return mPlain.allocate(matrix, flags, usage);
    }
    void deallocate(cv::UMatData* matrix) const override { mPlain.deallocate(matrix); }

private:
    cv::MatAllocator& mPlain = *cv::Mat::getStdAllocator();
};

}  // namespace

// The containers of the libraries, too. Sanitizers have operators of their own.
#if defined(MADV_HUGEPAGE) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
void* operator new(std::size_t size) {
    for (;;) {
        if (void* const block = std::malloc(size > 0 ? size : 1)) return Advised(block, size);
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) throw std::bad_alloc();
        handler();
    }
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
#endif

namespace vorip {

void KeepAndEnlargePages(double limit) {
    KeepFreedImages(limit);
    static Allocator allocator;
    cv::Mat::setDefaultAllocator(&allocator);
}

}  // namespace vorip
