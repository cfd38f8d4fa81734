#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace measure {

// Borders between two cells of a Gray code that differ in one bit: pairs of neighbouring pixels.
struct CodeSteps {
    std::uint16_t before, after;
    bool rises;  // the phase
    int count;   // of the pairs
};

// Bits of a code, and of the Gray code that stands for it.
using Bits = unsigned int;
Bits ToGray(Bits code);
Bits FromGray(Bits gray);

// The slip in listing the pictures of a code after whose correction the code runs with the phase, cell by cell, in
// words; empty when there is none that explains more than the code as it is, or than a code that runs backwards.
std::string ExplainSteps(const std::vector<CodeSteps>& steps, int bits, bool hasInverse);

// The picture whose borders lead to a next cell least often, of those with enough of them; its index is -1 when all
// have fewer.
struct WorstPicture {
    int index = -1;
    double share = 1;  // of its borders
};
WorstPicture FindWorstPicture(const std::vector<CodeSteps>& steps, int bits);

// The picture that does not fit to the others: without its bit, nearly all borders lead to a next cell. Its index is -1
// when there is none.
WorstPicture FindStrayPicture(const std::vector<CodeSteps>& steps, int bits);

}  // namespace measure
