#include "measure/world/vision.h"

#include "measure/base/module.h"
#include "measure/error.h"

namespace measure {

const Vision& GetVision() {
    static std::string error;
    static const auto* const vision = static_cast<const Vision*>(LoadModule("voripvision", "voripVision", error));
    if (vision) return *vision;
    throw InputError("nothing can be calibrated here, as a module cannot be loaded: " + error);
}

}  // namespace measure
