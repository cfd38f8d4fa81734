// Reliability unwrapper, beside a flood fill of the same size.
#include <cmath>
#include <random>

#include "bench/unwrapping.h"

namespace KrN::bench {
namespace {

enum Content { ePeaks, eFlat, eWhiteNoise };
struct Picture {
    Content content;
    double noise;  // radians
    bool holes;
};

// Smooth hills and hollows over five periods, with a steepest slope below 0.3 rad per pixel at 1000 pixels' width.
double Peaks(double u, double v) {
    const auto bell = [](double x, double y) { return std::exp(-x * x - y * y); };
    return 3 * (1 - u) * (1 - u) * bell(u, v + 1) - 10 * (u / 5 - u * u * u - std::pow(v, 5)) * bell(u, v) -
           bell(u + 1, v) / 3;
}

void Unwrap(benchmark::State& state, const std::string& name, const Picture& picture) {
    constexpr double kImageBytes = 4 + 4 + 1;  // the unwrapped phase, the radians of the wrapped one and the mask
    const auto side = static_cast<short>(state.range(0));
    KrBufferAOI8 phase({side, side}), mask({side, side});
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    for (short y = 0; y < side; ++y) {
        for (short x = 0; x < side; ++x) {
            const double height = Peaks(6.0 * x / side - 3, 6.0 * y / side - 3) * (5 * KrMath::TwoPi / 14.7);
            const double radians = height + (picture.noise > 0 ? picture.noise * normal(random) : 0);
            std::uint8_t& value = phase.GetRowPointer(y)[x];
            value = static_cast<std::uint8_t>(static_cast<long>(std::floor(radians * 256 / KrMath::TwoPi)));
            if (picture.content == eFlat) value = 77;
            if (picture.content == eWhiteNoise) value = static_cast<std::uint8_t>(random());
            mask.GetRowPointer(y)[x] = picture.holes && random() % 16 == 0 ? 0 : 255;
        }
    }
    int flag = 0;
    CompareToFloodFill(state, name, kImageBytes, [&] { KrLUnWrap_Velmor().Execute(&phase, &mask, 50, &flag); });
}

const std::map<std::string, Picture> kPictures = {
    {"clean_peaks", {ePeaks, 0.0, false}},   {"noise_0_3_rad", {ePeaks, 0.3, false}},
    {"noise_0_6_rad", {ePeaks, 0.6, false}}, {"holes", {ePeaks, 0.3, true}},
    {"flat", {eFlat, 0.0, false}},           {"white_noise", {eWhiteNoise, 0.0, false}},
};

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) {
    KrN::bench::RegisterUnwrapper(KrN::bench::kPictures, KrN::bench::Unwrap);
    return KrN::bench::RunUnwrapper(argc, argv);
}
