// The fitted surface of an image, with and without masks, beside a memory copy.
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

const Ours kFit = [](const KrAOI* a, const KrAOI*, KrAOI* d) { Fit(a, d, nullptr, eIgnoreMask); };
const Ours kFitOnly = [](const KrAOI* a, const KrAOI*, KrAOI* d) {
    Fit(a, d, nullptr, static_cast<MaskConsideration>(3));
};
const Ours kFitMasked = [](const KrAOI* a, const KrAOI*, KrAOI* d) { Fit(a, d, Disc(a->AOISize()), eConsiderMask); };

std::vector<Case> Cases() {
    std::vector<Case> cases{{"Approximation", {"8 > F", "16 > F", "F > F"}, kFit},
                            {"Approximation, masked", {"8 > F", "16 > F", "F > F"}, kFitMasked},
                            {"Approximation, not drawn", {"8 > F", "16 > F", "F > F"}, kFitOnly}};
    for (Case& c : cases) c.aim = 6.0;
    return cases;
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) { return KrN::bench::RunAll(KrN::bench::Cases(), argc, argv); }
