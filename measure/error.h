#pragma once

#include <stdexcept>
#include <string>

#include "measure/export.h"

namespace measure {

// What goes wrong in measuring is thrown by value, as one of the classes below; what() is one line for people.
class MEASURE_API Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Error() override;
};

// Arguments, pictures or files that cannot be worked with: the caller must change something.
class MEASURE_API InputError : public Error {
public:
    using Error::Error;
    ~InputError() override;
};

// A file that cannot be written.
class MEASURE_API OutputError : public Error {
public:
    using Error::Error;
    ~OutputError() override;
};

// The input is in order, but holds nothing that could be measured (everything dark, saturated or masked).
class MEASURE_API NothingUsable : public Error {
public:
    using Error::Error;
    ~NothingUsable() override;
};

// The caller's progress function asked to stop.
class MEASURE_API Stopped : public Error {
public:
    Stopped() : Error("stopped") {}
    ~Stopped() override;
};

}  // namespace measure
