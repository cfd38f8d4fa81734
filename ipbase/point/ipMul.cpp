#include "ipbase/ipMul.h"

#include <array>

#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/kernels/scale.h"
#include "ipbase/kernels/table.h"

namespace KrN {

using namespace kernels;

namespace {

template <class D>
using Table = std::array<D, 256>;

template <class D, class F>
Table<D> MakeTable(const F& f) {
    Table<D> table;
    for (unsigned a = 0; a < 256; ++a) table[a] = f(a);
    return table;
}

template <class D>
D ClippedProduct(unsigned a, double c) {
    constexpr double top = std::numeric_limits<D>::max();
    const double v = a * c;
    if (!(v > 0.0)) return 0;
    return v > top ? std::numeric_limits<D>::max() : static_cast<D>(v + 0.5);
}

template <class D>
void WalkTable(const Table<D>& table, const KrTAOI<u8>* a, KrTAOI<D>* dst) {
    WalkConstant(Access::eTyped, std::get<TableRow<D>>(GetTableKernels().map), table.data(), dst, a);
}

// The row works in 32-bit integers, which products with greater factors exceed.
template <class A, class D, class Product>
void WalkProducts(ConstantRow<D, A, double> row, const Product& product, double c, const KrTAOI<A>* a, KrTAOI<D>* dst) {
    if (std::abs(c) < kProductLimit) return WalkConstant(Access::eTyped, row, c, dst, a);
    WalkRows(
        Access::eTyped, [&](D* d, const A* s, std::size_t n) { std::transform(s, s + n, d, product); }, dst, a);
}

}  // namespace

template <class A, class D>
void KrIpMul::Mul(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
    const ScaleKernels& rows = GetScaleKernels();
    [[maybe_unused]] const auto product = [c](unsigned v) { return ClippedProduct<D>(v, c); };
    if constexpr (std::is_floating_point_v<D>) {
        // With a factor of single precision the exact product is rounded once, in single precision as in double.
        const auto single = static_cast<float>(c);
        if (single == c)
            WalkConstant(Access::eTyped, std::get<ConstantRow<D, A, float>>(rows.multiplyFloat), single, dst, a);
        else
            WalkConstant(Access::eTyped, std::get<ConstantRow<D, A, double>>(rows.multiplyFloat), c, dst, a);
    } else if constexpr (sizeof(A) == 1) {
        WalkTable(MakeTable<D>(product), a, dst);
    } else {
        WalkProducts(std::get<ConstantRow<D, A, double>>(rows.multiplyClip), product, c, a, dst);
    }
}

template <class A, class D>
void KrIpMulMod::MulMod(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
    const ScaleKernels& rows = GetScaleKernels();
    const auto product = [c](unsigned v) { return static_cast<D>(RoundModulo(v * c)); };
    if constexpr (sizeof(A) == 1) {
        WalkTable(MakeTable<D>(product), a, dst);
    } else {
        if constexpr (sizeof(D) == 2)
            if (c == -1.0) return WalkRows(Access::eTyped, rows.negate, dst, a);
        WalkProducts(std::get<ConstantRow<D, A, double>>(rows.multiplyModulo), product, c, a, dst);
    }
}

// The supported combinations.
// clang-format off
#define CONSTANT(kernel, A, D) template VORIP_API void kernel(const KrTAOI<A>*, double, KrTAOI<D>*);
#define INTEGER_CONSTANTS(kernel) \
    CONSTANT(kernel, u8, u8) CONSTANT(kernel, u8, u16) CONSTANT(kernel, u16, u8) CONSTANT(kernel, u16, u16)

INTEGER_CONSTANTS(KrIpMul::Mul)
CONSTANT(KrIpMul::Mul, u8, float)
CONSTANT(KrIpMul::Mul, float, float)
INTEGER_CONSTANTS(KrIpMulMod::MulMod)
// clang-format on

}  // namespace KrN
