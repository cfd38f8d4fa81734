#include "ipbase/ipLMapLut.h"

#include <array>

#include "ipbase/base/rowwalk.h"
#include "ipbase/kernels/table.h"
#include "ipbase/transfer/operations.h"

namespace KrN {

using namespace kernels;

KrLMapLut::KrLMapLut() = default;
KrLMapLut::KrLMapLut(const KrLMapLut&) = default;
KrLMapLut& KrLMapLut::operator=(const KrLMapLut&) = default;
KrLMapLut::~KrLMapLut() = default;

template <>
struct OperationsOf<KrLMapLut> {
    static constexpr const wchar_t* kFile = L"C\\ipLMapLut";
    using T = KrLMapLut;
    using Map = Operation<void(T&, const KrAOI*, KrAOI*, const KrMapLut1x8*)>;
    using MapPair = Operation<void(T&, const KrAOI*, const KrAOI*, KrAOI*, const KrMapLut88_8*)>;

    static constexpr std::tuple all{Map::Of<&T::MapLut88L8SW>(kFile, 42, L"MapLut8( %s, %s, %s )"),
                                    MapPair::Of<&T::MapLut888L16SW>(kFile, 139, L"MapLut16( %s, %s, %s, %s )")};
};

namespace {

const auto& [kMapLut8, kMapLut16] = OperationsOf<KrLMapLut>::all;

}  // namespace

void KrLMapLut::MapLut8(const KrAOI* src, KrAOI* dst, const KrMapLut1x8* lut) {
    lut ? kMapLut8(*this, src, dst, lut) : kMapLut8.Throw(src, dst, lut);
}

void KrLMapLut::MapLut16(const KrAOI* a, const KrAOI* b, KrAOI* dst, const KrMapLut88_8* lut) {
    lut ? kMapLut16(*this, a, b, dst, lut) : kMapLut16.Throw(a, b, dst, lut);
}

void KrLMapLut::MapLut88L8SW(const KrAOI8* src, KrAOI8* dst, const KrMapLut1x8* lut) {
    std::array<u8, 256> table;
    for (unsigned short i = 0; i < 256; ++i) table[i] = lut->GetElem(i);
    WalkConstant(Access::eSwitched, std::get<TableRow<u8>>(GetTableKernels().map), table.data(), dst, src);
}

void KrLMapLut::MapLut888L16SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst, const KrMapLut88_8* lut) {
    KrTBuf1D<u8> table(65536);
    for (std::size_t i = 0; i < table.Size(); ++i)
        table[i] = lut->GetElem(static_cast<unsigned short>(i >> 8), static_cast<unsigned short>(i & 255));
    WalkConstant(Access::eSwitched, GetTableKernels().mapPair, table.Data(), dst, a, b);
}

std::vector<OperationInfo> MapLutOperations() { return ListOperations(OperationsOf<KrLMapLut>::all); }

}  // namespace KrN
