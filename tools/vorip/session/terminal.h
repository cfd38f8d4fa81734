#pragma once

#include <string>

namespace vorip {

// Whether somebody sees standard error as it is written.
bool StderrIsTerminal();
// The text in one line, in which question marks stand for what might command the terminal, as names of files can.
std::string Printable(std::string text);
// Writes that line about the run there, "vorip: text", in place of the one that shows progress.
void PrintNotice(const std::string& text);
// Removes the line that shows progress, if there can be one.
void WipeLine();

}  // namespace vorip
