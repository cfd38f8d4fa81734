// All operations on images: those that tests hold against formulas, and those below, which are held against themselves
// on other CPU targets.
#include <gtest/gtest.h>
#include <ipbase/voripbase.h>

#include "fuzz/targets.h"
#include "tests/support/harness.h"

namespace fuzz {
namespace {

using namespace test;

KrTSize<std::uint32_t> Size(C c) { return {static_cast<std::uint32_t>(c[0]), static_cast<std::uint32_t>(c[1])}; }

template <class Filter>
void Sized(I i, C c) {
    Filter().Execute(Size(c), i[0], i[1], nullptr, eIgnoreMask);
}
template <class Filter>
void Masked(I i, C c) {
    Filter().Execute(Size(c), i[0], i[2], static_cast<const KrAOI8*>(i[1]), c[2] > 0 ? eKeepMasked : eConsiderMask);
}
template <class Gradient, class Source, class Target, class... Border>
void Gradients(I i, C c) {
    Gradient gradient;
    gradient.Init({400, 40});
    gradient.Execute(static_cast<const Source*>(i[0]), static_cast<int>(c[0]), static_cast<int>(c[1]),
                     static_cast<Target*>(i[1]), Border{}...);
}
void Weighted(I i, C c) {
    KrTBuf2D<std::int32_t> kernel(static_cast<std::size_t>(c[0]), static_cast<std::size_t>(c[1]));
    for (std::size_t k = 0; k < kernel.Width() * kernel.Height(); ++k)
        kernel.Row(0)[k] = static_cast<std::int32_t>(c[2] * static_cast<double>(k % 5) - c[3]);
    KrFilter().Execute(kernel, 7, i[0], i[1], nullptr, eIgnoreMask);
}

constexpr char kAll[] = "11 44 77 88 aa", kAllMasked[] = "111 414 717 818 a1a";
const std::vector<std::vector<double>> kWindows = {{3, 3, 0}, {1, 1, 1},  {5, 1, 0},  {1, 9, 1},
                                                   {2, 4, 0}, {33, 7, 1}, {200, 3, 0}};
const std::vector<std::vector<double>> kLines = {{1, 0}, {0, 1}, {-1, 2}, {5, -3}, {-40, -2}, {300, 0}, {0, -11}};

const std::vector<OpCase> kOthers = {
    {nullptr, 0, kAll, Sized<KrFilterGauss>, nullptr, kWindows},
    {nullptr, 0, kAll, Sized<KrFilterMeanSepXY>, nullptr, kWindows},
    {nullptr, 0, kAll, Sized<KrFilterMedian>, nullptr, kWindows},
    {nullptr, 0, kAll, Sized<KrFilterErosion>, nullptr, kWindows},
    {nullptr, 0, kAll, Sized<KrFilterDilatation>, nullptr, kWindows},
    {nullptr, 0, kAll, Sized<KrFilterFastBinaryErosion>, nullptr, kWindows},
    {nullptr, 0, kAllMasked, Masked<KrFilterGauss>, nullptr, kWindows},
    {nullptr, 0, kAllMasked, Masked<KrFilterMeanSepXY>, nullptr, kWindows},
    {nullptr, 0, kAllMasked, Masked<KrFilterMedian>, nullptr, kWindows},
    {nullptr, 0, kAllMasked, Masked<KrFilterErosion>, nullptr, kWindows},
    {nullptr,
     0,
     kAll,
     Weighted,
     nullptr,
     {{3, 3, 1, 0}, {1, 1, 1, 9}, {4, 2, -7, 1}, {9, 9, 4e6, 1}, {5, 1, 4e8, -4e8}}},
    {nullptr,
     0,
     kAll,
     [](I i, C c) { KrFilterRecursive().Execute(c[0], i[0], i[1]); },
     nullptr,
     {{0.5}, {0}, {1}, {0.99}}},
    {nullptr,
     0,
     "11",
     [](I i, C c) { KrFilterBinominal().Execute(Size(c), i[0], i[1]); },
     nullptr,
     {{3, 3}, {2, 23}, {9, 4}}},
    {nullptr, 0, "11", Gradients<KrGradient, KrAOI8, KrAOI8>, nullptr, kLines},
    {nullptr, 0, "aa", Gradients<KrGradientDouble, KrAOI64Double, KrAOI64Double, int>, nullptr, kLines},
    {nullptr, 0, "88", Gradients<KrGradientFloatNonModulo, KrAOI32Float, KrAOI32Float, int>, nullptr, kLines},
};

const Listed kListed(kOthers);

}  // namespace

void RunOperations(const Input& input) {
    Draw draw(input);
    for (int calls = 1 + static_cast<int>(draw(3)); calls > 0; --calls) {
        const OpCase& op = draw.Of(Listed::All());
        const bool hasTwoDestinations = op.format && op.format == std::wstring(L"Exchange( %s, %s )");
        if (!hasTwoDestinations) TryDrawn(op, [&](std::uint32_t end) { return draw(end); });
    }
}

}  // namespace fuzz
