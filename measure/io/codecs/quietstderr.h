#pragma once

namespace measure {

// While one lives, in whatever thread, nothing reaches standard error: image codecs print there by themselves.
class QuietStderr {
public:
    QuietStderr();
    ~QuietStderr();
    QuietStderr(const QuietStderr&) = delete;
    QuietStderr& operator=(const QuietStderr&) = delete;
};

}  // namespace measure
