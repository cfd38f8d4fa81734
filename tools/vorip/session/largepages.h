#pragma once

namespace vorip {

// From here on memory of pictures that are no longer needed serves the next ones, and stands in pages of 2 MB where the
// system has them. Taking it costs half of the time, and giving it back next to nothing: a run that holds some GB ends
// at once when it is interrupted, not some tenths of a second later. The run may take `limit` bytes.
void KeepAndEnlargePages(double limit);

}  // namespace vorip
