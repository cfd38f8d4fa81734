#pragma once

namespace measure {

// While it lives, nothing reaches standard error: image codecs print there by themselves.
class QuietStderr {
public:
    QuietStderr();
    ~QuietStderr();
    QuietStderr(const QuietStderr&) = delete;
    QuietStderr& operator=(const QuietStderr&) = delete;

private:
    int mSaved = -1;
};

}  // namespace measure
