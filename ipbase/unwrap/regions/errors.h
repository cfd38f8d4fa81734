#pragma once

#include <cstdint>

#include "imagemodel/krexception.h"

// What the region unwrapper says when it refuses something.
namespace KrN::unwrap {

inline constexpr wchar_t kTargetSize[] = L"Error in KrLUnwrap: AOI size of target AOI is not correct";
inline constexpr wchar_t kMaskSize[] = L"Error in KrLUnwrap: AOI size of target mask AOI is not correct";
inline constexpr wchar_t kMissing[] = L"Error in KrLUnwrap: an image is missing";
inline constexpr wchar_t kNoResult[] = L"Error in KrLUnwrap: there is no result, Execute comes first";
inline constexpr wchar_t kTargetChanged[] =
    L"Error in KrLUnwrap: the target AOI was resized or lost its pixels after Execute";
inline constexpr wchar_t kMaskChanged[] =
    L"Error in KrLUnwrap: the target mask AOI was resized or lost its pixels after Execute";

inline void Require(bool condition, std::uint32_t line, const wchar_t* text) {
    if (!condition) throw new KrException(L"C\\ipLUnwrap", line, text);
}

}  // namespace KrN::unwrap
