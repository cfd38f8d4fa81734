#pragma once

#include <cstdint>
#include <type_traits>

// The combinations of pixel types for which typed operation classes exist, so that another one is an error of the
// compiler that says so.
namespace KrN {

// One combination: sources first, the destination last.
template <class... Pixels>
struct KrPixels {};

template <class... Combinations>
struct KrCombinations {
    template <class... Pixels>
    static constexpr bool kHave = (std::is_same_v<KrPixels<Pixels...>, Combinations> || ...);
    template <class... More>
    using And = KrCombinations<Combinations..., More...>;
};

// Two sources and a destination of unsigned 8 and 16 bits.
using KrIntegerPairs = KrCombinations<
    KrPixels<std::uint8_t, std::uint8_t, std::uint8_t>, KrPixels<std::uint8_t, std::uint8_t, std::uint16_t>,
    KrPixels<std::uint8_t, std::uint16_t, std::uint16_t>, KrPixels<std::uint16_t, std::uint8_t, std::uint16_t>,
    KrPixels<std::uint16_t, std::uint16_t, std::uint16_t>>;
// A source and a destination of unsigned 8 and 16 bits.
using KrIntegerForms = KrCombinations<KrPixels<std::uint8_t, std::uint8_t>, KrPixels<std::uint8_t, std::uint16_t>,
                                      KrPixels<std::uint16_t, std::uint8_t>, KrPixels<std::uint16_t, std::uint16_t>>;

// One type for all images.
using KrAllButDouble =
    KrCombinations<KrPixels<std::uint8_t>, KrPixels<std::uint16_t>, KrPixels<std::int32_t>, KrPixels<float>>;

// Stops the compiler unless the list has the combination.
template <class List, class... Pixels>
constexpr void KrRequireListed() {
    static_assert(List::template kHave<Pixels...>,
                  "this operation does not exist for these pixel types: its header lists the combinations");
}

}  // namespace KrN
