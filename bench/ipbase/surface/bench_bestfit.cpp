// The fitted surface of an image, with and without masks, beside a memory copy of the image (and the mask).
#include "bench/support.h"

namespace KrN::bench {
namespace {

// Admits a disc, as the masks of measured objects do.
const KrAOI8* Disc(const KrTSize<short>& size) {
    static std::map<short, KrBufferAOI8> masks;
    KrBufferAOI8& mask = masks[size.cx];
    if (mask.AOISize() == size) return &mask;
    mask.Resize(size);
    for (int y = 0; y < size.cy; ++y)
        for (int x = 0; x < size.cx; ++x) {
            const int u = 2 * x - size.cx, v = 2 * y - size.cy;
            mask.GetRowPointer(y)[x] = u * u + v * v < size.cx * size.cy ? 0 : 255;
        }
    return &mask;
}

void Fit(const KrAOI* a, KrAOI* dst, const KrAOI8* mask, MaskConsideration consider) {
    KrLBestFit().Approximation(a, dst, mask, mask, consider, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1);
}

constexpr auto kNotDrawn = static_cast<MaskConsideration>(3);

// The second source of the masked ones stands for the mask, which is the same each time.
const Ours kFit = [](const KrAOI* a, const KrAOI*, KrAOI* d) { Fit(a, d, nullptr, eIgnoreMask); };
const Ours kFitOnly = [](const KrAOI* a, const KrAOI*, KrAOI* d) { Fit(a, d, nullptr, kNotDrawn); };
const Ours kFitMasked = [](const KrAOI* a, const KrAOI*, KrAOI* d) { Fit(a, d, Disc(a->AOISize()), eConsiderMask); };
const Ours kFitOnlyMasked = [](const KrAOI* a, const KrAOI*, KrAOI* d) { Fit(a, d, Disc(a->AOISize()), kNotDrawn); };

std::vector<Case> Cases() {
    std::vector<Case> cases{{"Fit", {"8 > F", "16 > F", "F > F"}, kFitOnly},
                            {"Fit, masked", {"8 8 > F", "16 8 > F", "F 8 > F"}, kFitOnlyMasked},
                            {"Fit and draw", {"8 > F", "16 > F", "F > F"}, kFit},
                            {"Fit and draw, masked", {"8 8 > F", "16 8 > F", "F 8 > F"}, kFitMasked}};
    for (Case& c : cases) {
        c.ofInput = true;
        c.aim = 6.0;
    }
    return cases;
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) { return KrN::bench::RunAll(KrN::bench::Cases(), argc, argv); }
