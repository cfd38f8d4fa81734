#pragma once

#include "imagemodel/krexception.h"

namespace KrN::world {

[[noreturn]] inline void Throw(std::uint32_t line, const KrString& what) {
    throw new KrException(L"C\\ipLWorld", line, KrString(L"Error in KrLPixelToWorld: ") += what);
}

}  // namespace KrN::world
