#include "tools/vorip/interrupt.h"

#include <csignal>

#include "tools/vorip/failure.h"

namespace vorip {
namespace {

volatile std::sig_atomic_t pressed = 0;
int abortFlag = 0;

void Press(int) {
    std::signal(SIGINT, SIG_DFL);
    pressed = 1;
    *static_cast<volatile int*>(&abortFlag) = 1;
}

}  // namespace

Interrupt::Interrupt() {
    pressed = 0;
    abortFlag = 0;
    mPrevious = std::signal(SIGINT, Press);
}

Interrupt::~Interrupt() { std::signal(SIGINT, mPrevious == SIG_ERR ? SIG_DFL : mPrevious); }

int* Interrupt::AbortFlag() { return &abortFlag; }

void Interrupt::Check() const {
    if (pressed) throw Failure(kExitInterrupted, "interrupted");
}

}  // namespace vorip
