#include "tools/vorip/session/terminal.h"

#include <chrono>
#include <cstdio>
#include <mutex>

#ifdef _WIN32
#  include <io.h>
#else
#  include <poll.h>
#  include <unistd.h>
#endif

namespace vorip {
namespace {

constexpr char kWipe[] = "\r\033[K";
constexpr auto kPatience = std::chrono::milliseconds(100);
std::timed_mutex writing;

void WriteNotice(const std::string& text) {
    std::fprintf(stderr, "%svorip: %s\n", StderrIsTerminal() ? kWipe : "", Printable(text).c_str());
}

// A pipe that nobody reads does not, once it is full.
bool StderrTakesText() {
#ifdef _WIN32
    return true;
#else
    pollfd stream{STDERR_FILENO, POLLOUT, 0};
    return poll(&stream, 1, static_cast<int>(kPatience.count())) == 1;
#endif
}

}  // namespace

bool StderrIsTerminal() {
#ifdef _WIN32
    return _isatty(2) != 0;
#else
    return isatty(2) != 0;
#endif
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

void ShowProgress(const std::string& line) {
    const std::lock_guard lock(writing);
    std::fprintf(stderr, "%s%s", kWipe, line.c_str());
    std::fflush(stderr);
}

void WipeLine() {
    const std::lock_guard lock(writing);
    if (StderrIsTerminal()) std::fputs(kWipe, stderr);
}

void PrintNotice(const std::string& text) {
    const std::lock_guard lock(writing);
    WriteNotice(text);
}

void PrintLastNotice(const std::string& text) {
    if (writing.try_lock_for(kPatience) && StderrTakesText()) WriteNotice(text);
}

}  // namespace vorip
