#include "ipbase/filters/blockwindow.h"

namespace KrN {

BlockWindow KernelBlock(const KrTBuf2D<std::int32_t>& kernel, double scale) {
    BlockWindow window{WindowKind::eWeighted, static_cast<std::uint32_t>(kernel.Width()),
                       static_cast<std::uint32_t>(kernel.Height()),
                       KrTBuf1D<std::int32_t>(kernel.Width() * kernel.Height()), scale};
    std::copy_n(kernel.Row(0), window.weights.Size(), window.weights.Data());
    return window;
}

BlockWindow RankBlock(WindowKind kind, const KrTSize<std::uint32_t>& size) {
    return {kind, size.cx, size.cy, KrTBuf1D<std::int32_t>(), 1.0};
}

}  // namespace KrN
