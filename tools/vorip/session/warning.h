#pragma once

#include <string>

namespace vorip {

// A line on standard error about something that the user should know, though the run goes on.
void Warn(const std::string& text);

}  // namespace vorip
