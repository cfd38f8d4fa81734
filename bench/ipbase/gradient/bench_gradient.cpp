// Phase gradients over short and long baselines, beside a memory copy.
#include "bench/support.h"

namespace KrN::bench {
namespace {

// One object for each size, as an application would keep it.
template <class Gradient, class AOI, class... Border>
Ours Run(int dx, int dy, Border... border) {
    auto gradient = std::make_shared<Gradient>();
    auto size = std::make_shared<KrTSize<short>>();
    return [=](const KrAOI* a, const KrAOI*, KrAOI* dst) {
        if (*size != a->AOISize()) gradient->Init(*size = a->AOISize());
        gradient->Execute(static_cast<const AOI*>(a), dx, dy, static_cast<AOI*>(dst), border...);
    };
}

Case Make(const char* name, std::vector<const char*> types, Ours run) {
    Case c{name, std::move(types), std::move(run)};
    c.aim = 12.0;
    return c;
}

std::vector<Case> Cases() {
    constexpr auto byte = Run<KrGradient, KrAOI8>;
    constexpr auto dbl = Run<KrGradientDouble, KrAOI64Double, int>;
    constexpr auto plain = Run<KrGradientFloatNonModulo, KrAOI32Float, int>;
    return {
        Make("Gradient 1, 1", {"8 > 8"}, byte(1, 1)),
        Make("Gradient 16, 0", {"8 > 8"}, byte(16, 0)),
        Make("Gradient 0, -16", {"8 > 8"}, byte(0, -16)),
        Make("Gradient 16, 16", {"8 > 8"}, byte(16, 16)),
        Make("Gradient -200, 200", {"8 > 8"}, byte(-200, 200)),
        Make("GradientDouble 1, 1", {"D > D"}, dbl(1, 1, 1)),
        Make("GradientDouble -200, 200", {"D > D"}, dbl(-200, 200, 1)),
        Make("GradientFloatNonModulo 1, 1", {"F > F"}, plain(1, 1, 1)),
        Make("GradientFloatNonModulo 16, 0", {"F > F"}, plain(16, 0, 1)),
        Make("GradientFloatNonModulo -200, 200", {"F > F"}, plain(-200, 200, 1)),
    };
}

}  // namespace
}  // namespace KrN::bench

int main(int argc, char** argv) { return KrN::bench::RunAll(KrN::bench::Cases(), argc, argv); }
