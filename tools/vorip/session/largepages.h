#pragma once

namespace vorip {

// From here on the pixels of large pictures stand in pages of 2 MB where the system has them. Taking such memory costs
// half of the time, and giving it back next to nothing: a run that holds some GB ends at once when it is interrupted,
// not some tenths of a second later.
void UseLargePages();

}  // namespace vorip
