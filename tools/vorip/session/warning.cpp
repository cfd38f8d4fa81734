#include "tools/vorip/session/warning.h"

#include <cstdio>

namespace vorip {

void Warn(const std::string& text) { std::fprintf(stderr, "vorip: warning: %s\n", text.c_str()); }

}  // namespace vorip
