#pragma once

#include <ipbase/voripbase.h>
#include <cstdint>
#include <string>

namespace vorip {

using WindowSize = KrN::KrTSize<std::uint32_t>;

inline constexpr int kMaxWindowSide = 9999;

// A width and a height as in "5x3", each 1 to `most`. Refuses anything else, naming the option.
WindowSize ParseSize(const std::string& option, const std::string& text, int most = kMaxWindowSide);

// Whole numbers from a text file: a line for each row, numbers separated by blanks or commas, # before a comment.
// Refuses, naming the file and the line, whatever is not a rectangle of them.
KrN::KrTBuf2D<std::int32_t> ReadKernel(const std::string& file);

}  // namespace vorip
