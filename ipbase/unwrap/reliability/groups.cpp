#include "ipbase/unwrap/reliability/groups.h"

#include <hwy/cache_control.h>

namespace KrN {

// Sorted edges lead all over the image, so that the pixels are fetched from memory well before they are needed.
void GatherGroups(const EDGE* edges, std::ptrdiff_t count, PIXELM* pixels, int width, const AbortFlag& abort) {
    constexpr int kPixelAhead = 48;
    constexpr int kHeadAhead = 24;
    const auto fetchNext = [pixels](std::uint32_t pixel) {
        const std::int32_t next = pixels[pixel].group;
        if (next >= 0) hwy::Prefetch(pixels + next);
    };
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        if (i + kPixelAhead < count) {
            const EDGE ahead = edges[i + kPixelAhead];
            hwy::Prefetch(pixels + ahead.First());
            hwy::Prefetch(pixels + ahead.Second(width));
            const EDGE sooner = edges[i + kHeadAhead];
            fetchNext(sooner.First());
            fetchNext(sooner.Second(width));
        }
        if (MergeGroups(pixels, edges[i], width) && abort.IsRaised()) return;
    }
}

}  // namespace KrN
