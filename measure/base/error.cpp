#include "measure/error.h"

// The classes are anchored here, so that they can be caught across libraries.
namespace measure {

Error::~Error() = default;
InputError::~InputError() = default;
OutputError::~OutputError() = default;
NothingUsable::~NothingUsable() = default;
Stopped::~Stopped() = default;

}  // namespace measure
