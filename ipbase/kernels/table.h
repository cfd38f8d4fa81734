#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// dst[i] = table[a[i]]; the table has 256 entries.
template <class D>
using TableRow = void (*)(D* dst, const u8* a, const D* table, std::size_t count);

// dst[i] = table[256 * a[i] + b[i]]
using PairTableRow = void (*)(u8* dst, const u8* a, const u8* b, const u8* table, std::size_t count);

struct TableKernels {
    std::tuple<TableRow<u8>, TableRow<u16>> map;
    PairTableRow mapPair;
};

const TableKernels& GetTableKernels();

}  // namespace KrN::kernels
