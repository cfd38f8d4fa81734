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

std::string Printable(std::string line) {
    for (char& c : line) {
        if (c == '\n' || c == '\r' || c == '\t') c = ' ';
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    for (std::size_t i = 0; i + 1 < line.size(); ++i)  // U+0080 to U+009F, which terminals obey as well
        if (line[i] == '\xc2' && static_cast<unsigned char>(line[i + 1]) < 0xa0) line.replace(i, 2, "?");
    return line;
}

void PrintNotice(const std::string& text) {
    WipeLine();
    std::fprintf(stderr, "vorip: %s\n", Printable(text).c_str());
}

}  // namespace vorip
