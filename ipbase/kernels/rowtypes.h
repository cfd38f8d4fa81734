#pragma once

#include <cstddef>
#include <cstdint>
#include <tuple>

// The shapes of row functions. A family's table is a struct of tuples of them; a function is fetched from its tuple by
// its type: std::get<PairRow<D, A, B>>(rows.add).
namespace KrN::kernels {

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using i32 = std::int32_t;

// dst[i] = f(a[i], b[i])
template <class D, class A, class B>
using PairRow = void (*)(D* dst, const A* a, const B* b, std::size_t count);

// dst[i] = f(a[i], k)
template <class D, class A, class K>
using ConstantRow = void (*)(D* dst, const A* a, K k, std::size_t count);

// dst[i] = f(a[i])
template <class D, class A>
using UnaryRow = void (*)(D* dst, const A* a, std::size_t count);

// Five combinations of 8- and 16-bit pixels whose destination is at least as wide as both sources.
using IntegerPairs = std::tuple<PairRow<u8, u8, u8>, PairRow<u16, u8, u8>, PairRow<u16, u8, u16>, PairRow<u16, u16, u8>,
                                PairRow<u16, u16, u16>>;

// The four combinations of an 8- or 16-bit image and a constant.
template <class K>
using IntegerConstants =
    std::tuple<ConstantRow<u8, u8, K>, ConstantRow<u16, u8, K>, ConstantRow<u8, u16, K>, ConstantRow<u16, u16, K>>;

}  // namespace KrN::kernels
