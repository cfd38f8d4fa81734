#pragma once

#include "measure/world/vision/module.h"

namespace measure {

// Loads the module that finds boards and calibrates single cameras. Throws InputError when it is missing.
const Vision& GetVision();

}  // namespace measure
