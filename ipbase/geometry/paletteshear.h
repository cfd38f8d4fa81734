#pragma once

#include "imagemodel/krlut.h"
#include "ipbase/geometry/shear.h"

namespace KrN::geometry {

// Moves rows of palette indices by mixing the colours of neighbours.
class PaletteShear {
public:
    PaletteShear(const KrLut3x8& palette, u8 fill);
    void operator()(Source<u8>& canvas, const std::function<double(int)>& shift) const;

private:
    u8 Mix(u8 a, u8 b, double share) const;

    std::array<std::array<double, 3>, 256> mColours;
    u8 mFill;
};

}  // namespace KrN::geometry
