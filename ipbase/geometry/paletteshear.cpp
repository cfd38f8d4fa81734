#include "ipbase/geometry/paletteshear.h"

namespace KrN::geometry {

PaletteShear::PaletteShear(const KrLut3x8& palette, u8 fill) : mColours{}, mFill(fill) {
    for (unsigned short i = 0; i < 256; ++i)
        mColours[i] = {static_cast<double>(palette.GetElemR(i)), static_cast<double>(palette.GetElemG(i)),
                       static_cast<double>(palette.GetElemB(i))};
}

u8 PaletteShear::Mix(u8 a, u8 b, double share) const {
    std::size_t best = 0;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < mColours.size(); ++i) {
        double distance = 0.0;
        for (std::size_t c = 0; c < 3; ++c) {
            const double d = mColours[a][c] * (1.0 - share) + mColours[b][c] * share - mColours[i][c];
            distance += d * d;
        }
        if (distance < least) {
            least = distance;
            best = i;
        }
    }
    return static_cast<u8>(best);
}

void PaletteShear::operator()(Source<u8>& canvas, const std::function<double(int)>& shift) const {
    // The mixtures of a row, whose share is one; `rowOf` tells for which row each is known.
    std::vector<u8> mixtures(65536);
    std::vector<int> rowOf(65536, -1);
    std::vector<u8> extended(static_cast<std::size_t>(canvas.Width()) + 1);
    for (int y = 0; y < canvas.Height(); ++y) {
        const Taps taps = TapsAt(-shift(y), eLinear);
        Extend(extended, canvas.Row(y), canvas.Width(), taps.first, mFill);
        u8* row = canvas.Row(y);
        for (std::size_t x = 0; x + 1 < extended.size(); ++x) {
            const u8 a = extended[x], b = extended[x + 1];
            const std::size_t pair = std::size_t{a} << 8 | b;
            if (a != b && taps.weights[1] != 0.0 && rowOf[pair] != y) {
                mixtures[pair] = Mix(a, b, taps.weights[1]);
                rowOf[pair] = y;
            }
            row[x] = a == b || taps.weights[1] == 0.0 ? a : mixtures[pair];
        }
    }
}

}  // namespace KrN::geometry
