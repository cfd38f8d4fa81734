#pragma once

#include <string>

namespace vorip {

// Whether somebody sees standard error as it is written.
bool StderrIsTerminal();
// The text in one line, in which question marks stand for what might command the terminal, as names of files can.
std::string Printable(std::string text);
// Threads write there one at a time: a line that shows progress, in place of the one before; none any more; and, in its
// place, a line about the run, "vorip: text".
void ShowProgress(const std::string& line);
void WipeLine();
void PrintNotice(const std::string& text);
// The same where the program is about to end: no thread writes anything behind it. Nothing is written where another
// thread does not come through, as when the terminal stands still.
void PrintLastNotice(const std::string& text);

}  // namespace vorip
