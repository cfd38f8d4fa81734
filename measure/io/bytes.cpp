#include "measure/io/bytes.h"

#include "measure/error.h"
#include "measure/io.h"

namespace measure {

void RequireReadableSize(std::uint64_t width, std::uint64_t height, const std::string& file) {
    if (width <= kMaxImageSide && height <= kMaxImageSide) return;
    throw InputError(file + ": " + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels is too large, a side may have " + std::to_string(kMaxImageSide));
}

}  // namespace measure
