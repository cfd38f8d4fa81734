#include "tools/vorip/interrupt.h"

#include <csignal>

#include "tools/vorip/failure.h"

namespace vorip {
namespace {

volatile std::sig_atomic_t pressed = 0;
int abortFlag = 0;
int living = 0;
void (*previous)(int) = SIG_DFL;

void Press(int) {
    std::signal(SIGINT, SIG_DFL);
    pressed = 1;
    *static_cast<volatile int*>(&abortFlag) = 1;
}

}  // namespace

Interrupt::Interrupt() {
    if (living++ > 0) return;
    abortFlag = 0;
    previous = std::signal(SIGINT, Press);
    if (previous == SIG_IGN) std::signal(SIGINT, SIG_IGN);
}

Interrupt::~Interrupt() {
    if (--living > 0) return;
    std::signal(SIGINT, previous == SIG_ERR ? SIG_DFL : previous);
    if (pressed) std::raise(SIGINT);
}

int* Interrupt::AbortFlag() { return &abortFlag; }

void Interrupt::Check() const {
    if (!pressed) return;
    pressed = 0;
    throw Failure(kExitInterrupted, "interrupted");
}

}  // namespace vorip
