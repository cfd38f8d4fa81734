#include "tools/vorip/session/terminal.h"

#include <cstdio>

#ifdef _WIN32
#  include <io.h>
#else
#  include <unistd.h>
#endif

namespace vorip {

bool StderrIsTerminal() {
#ifdef _WIN32
    return _isatty(2) != 0;
#else
    return isatty(2) != 0;
#endif
}

void WipeLine() {
    if (StderrIsTerminal()) std::fputs("\r\033[K", stderr);
}

}  // namespace vorip
