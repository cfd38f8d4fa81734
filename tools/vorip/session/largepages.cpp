#include "tools/vorip/session/largepages.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <opencv2/core.hpp>

#ifdef __linux__
#  include <sys/mman.h>
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

void UseLargePages() {
    static Allocator allocator;
    cv::Mat::setDefaultAllocator(&allocator);
}

}  // namespace vorip
