#include "imagemodel/krlut.h"

#include "imagemodel/krexception.h"

namespace KrN {

KrLut::~KrLut() = default;
KrLut1x8::~KrLut1x8() = default;
KrLut88_8::~KrLut88_8() = default;
KrLut3x8::~KrLut3x8() = default;
KrMapLut1x8::~KrMapLut1x8() = default;
KrMapLut88_8::~KrMapLut88_8() = default;
KrOLut::~KrOLut() = default;

KrLut1x8::KrLut1x8() : mElems(256) {
    for (std::size_t i = 0; i < 256; ++i) mElems[i] = static_cast<std::uint8_t>(i);
}

void KrLut1x8::Write(const KrTBuf1D<std::uint8_t>& elems) { mElems = elems; }

KrLut88_8::KrLut88_8() : mElems(256, 256) {}

void KrLut88_8::Write(const KrTBuf2D<std::uint8_t>& elems) { mElems = elems; }

KrOLut* KrOLutMgr::GetLut(const KrString& name) const {
    const auto found = mLuts.find(name.c_str());
    return found == mLuts.end() ? nullptr : found->second.get();
}

void KrOLutMgr::AddLut(std::unique_ptr<KrOLut> lut) {
    if (!lut) throw new KrException(L"The look-up table is missing");
    const std::wstring name = lut->GetName().c_str();
    mLuts[name] = std::move(lut);
}

namespace {
KrOLutMgr olutMgr;
}
KrOLutMgr* const pOLutMgr = &olutMgr;

}  // namespace KrN
