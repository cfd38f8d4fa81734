#include "ipbase/filters/sizes.h"

#include "imagemodel/krexception.h"

namespace KrN {

namespace {

void RefuseMask(bool useMask, std::uint32_t line, const wchar_t* message) {
    if (useMask) throw new KrNotImplementedException(L"Core\\vorTools\\Inc\\syfilt2d", line, message);
}

}  // namespace

void BinaryErosion::CheckMask(bool useMask) { RefuseMask(useMask, 1028, L"KrTFilterFastBinary2DErosion with Mask"); }
void BinaryDilatation::CheckMask(bool useMask) {
    RefuseMask(useMask, 1218, L"KrTFilterFastBinary2DDilatation with Mask");
}

}  // namespace KrN
