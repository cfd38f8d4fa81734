// The removal of shading beside a memory copy.
#include "bench/support.h"

namespace KrN::bench {
namespace {

struct Shading : KrLShadeCorrection {
    explicit Shading(unsigned int factor) { SetReduceFactor(factor); }
};

// The object is kept, as for the pictures of one camera: it keeps its buffers.
Ours Background(unsigned int factor) {
    const auto shading = std::make_shared<Shading>(factor);
    return [=](const KrAOI* a, const KrAOI*, KrAOI* d) { shading->GetBackgroundShade(const_cast<KrAOI*>(a), d); };
}
Ours Correction(unsigned int factor) {
    const auto shading = std::make_shared<Shading>(factor);
    return [=](const KrAOI*, const KrAOI*, KrAOI* d) { shading->ShadeCorrection(d, d); };
}

// The background takes the time of five copies and more where the image fits the cache; the correction adds a division
// in double precision for every pixel, which 8-bit images feel most.
std::vector<Case> Cases() {
    std::vector<Case> cases{{"GetBackgroundShade", {"8 > 8", "16 > 16"}, Background(12)},
                            {"GetBackgroundShade, factor 2", {"8 > 8", "16 > 16"}, Background(2)},
                            {"ShadeCorrection", {"8 > 8", "16 > 16"}, Correction(12)}};
    cases[0].aim = 8.0;
    cases[1].aim = 40.0;
    cases[2].aim = 16.0;
    return cases;
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) { return KrN::bench::RunAll(KrN::bench::Cases(), argc, argv); }
