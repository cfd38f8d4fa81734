#pragma once

#include "measure/unwrap.h"

namespace measure {

// Brings components of any numbers (less than the number of pixels + 1; 0 is invalid) into their final form: numbers by
// size, those of fewer than minPixels pixels invalid, the least phase of each in [0, 2 pi).
void SortComponents(Unwrapped& result, int minPixels);

}  // namespace measure
