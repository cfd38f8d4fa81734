#pragma once

namespace KrN::kernels {

// False where the row functions are compiled for this machine's CPU alone, so that there is nothing to choose from.
bool AreForManyTargets();

}  // namespace KrN::kernels
