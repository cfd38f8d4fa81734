#pragma once

namespace vorip {

// Whether somebody sees standard error as it is written.
bool StderrIsTerminal();
// Removes the line that shows progress, if there can be one.
void WipeLine();

}  // namespace vorip
