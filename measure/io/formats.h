#pragma once

#include <string>

namespace measure {

// A kind of file, as the ending of a name tells it.
struct Format {
    const char* ending;  // in lower case
    int depths;          // what can be written: bits 1 << CV_8U ...
};

// The format of a file of that name, or null when its ending is not one of ours.
const Format* FindFormat(const std::string& file);

}  // namespace measure
