// Region unwrapper, beside a flood fill of the same size.
#include <cmath>
#include <random>

#include "bench/unwrapping.h"

namespace KrN::bench {
namespace {

enum Picture { eCleanDome, eNoisyDome, eWhiteNoise };

void Unwrap(benchmark::State& state, const std::string& name, Picture picture) {
    const auto side = static_cast<short>(state.range(0));
    const KrTSize<short> size{side, side};
    KrBufferAOI8 phase(size), quality(size), mask(size), targetMask(size);
    KrBufferAOI16 target(size);
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    const double noise = picture == eNoisyDome ? 0.6 : 0.0;
    for (short y = 0; y < side; ++y) {
        std::uint8_t* const p = phase.GetRowPointer(y);
        std::uint8_t* const q = quality.GetRowPointer(y);
        for (short x = 0; x < side; ++x) {
            const double u = 2.0 * x / side - 1;
            const double v = 2.0 * y / side - 1;
            const double dome = std::max(0.0, 1 - (u * u + v * v) / 2);
            const double steps = 256 * (12 * dome + noise * normal(random) / KrMath::TwoPi);
            const double level = 40 + 200 * dome + (picture == eNoisyDome ? 15 * normal(random) : 0);
            p[x] = static_cast<std::uint8_t>(static_cast<long>(std::floor(steps)));
            q[x] = static_cast<std::uint8_t>(std::clamp(level, 0.0, 255.0));
            if (picture == eWhiteNoise) {
                p[x] = static_cast<std::uint8_t>(random());
                q[x] = static_cast<std::uint8_t>(random());
            }
        }
    }
    std::uint32_t components = 0;
    CompareToFloodFill(state, name, 0.0, [&] {
        KrLUnWrap unwrapper;
        unwrapper.Execute(&phase, &quality, &mask, &target, &targetMask, 10, 50, 2, 0);
        components = unwrapper.GetComponentCount();
    });
    state.counters["components"] = components;
}

const std::map<std::string, Picture> kPictures = {
    {"clean_dome", eCleanDome}, {"noisy_dome", eNoisyDome}, {"white_noise", eWhiteNoise}};

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) {
    KrN::bench::RegisterUnwrapper(KrN::bench::kPictures, KrN::bench::Unwrap);
    return KrN::bench::RunUnwrapper(argc, argv);
}
