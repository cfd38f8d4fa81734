#pragma once

#include "measure/fringequality.h"
#include "tools/vorip/session/summary.h"

namespace vorip {

// What the command quality says about a set of frames, alone or as one of a scan.

struct VerdictReport {
    const char* words;
    int exitCode;
};
VerdictReport InWords(measure::FringeVerdict verdict);

std::vector<SummaryEntry> SetEntries(const measure::FringeQuality& quality, const measure::Ripple& ripple,
                                     std::size_t frames);

// The figures and the findings, one line each.
void PrintSet(const measure::FringeQuality& quality, const measure::Ripple& ripple, std::size_t frames);

}  // namespace vorip
