#include "tools/vorip/session/warning.h"

#include "tools/vorip/session/terminal.h"

namespace vorip {

void Warn(const std::string& text) { PrintNotice("warning: " + text); }

}  // namespace vorip
