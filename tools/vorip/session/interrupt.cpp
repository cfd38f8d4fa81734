#include "tools/vorip/session/interrupt.h"

#include <csignal>
#include <iterator>

#include "measure/error.h"

namespace vorip {
namespace {

constexpr int kSignals[] = {
    SIGINT,
    SIGTERM,
#ifdef SIGHUP
    SIGHUP,
#endif
};
volatile std::sig_atomic_t caught = 0;
int lastSignal = SIGINT;
int abortFlag = 0;
int living = 0;
void (*previous[std::size(kSignals)])(int);

void Catch(int number) {
    std::signal(number, SIG_DFL);
    caught = number;
    *static_cast<volatile int*>(&abortFlag) = 1;
}

}  // namespace

Interrupt::Interrupt() {
    if (living++ > 0) return;
    abortFlag = 0;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        previous[i] = std::signal(kSignals[i], Catch);
        if (previous[i] == SIG_IGN) std::signal(kSignals[i], SIG_IGN);
    }
#ifdef SIGXFSZ
    std::signal(SIGXFSZ, SIG_IGN);  // a file that grows too large is an error of writing
#endif
}

Interrupt::~Interrupt() {
    if (--living > 0) return;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        std::signal(kSignals[i], previous[i] == SIG_ERR ? SIG_DFL : previous[i]);
    }
    if (caught != 0) std::raise(caught);
}

int* Interrupt::AbortFlag() { return &abortFlag; }

bool Interrupt::Noted() const {
    if (caught == 0) return false;
    lastSignal = caught;
    caught = 0;
    return true;
}

void Interrupt::Check() const {
    if (Noted()) throw measure::Stopped();
}

int Interrupt::LastSignal() { return lastSignal; }

}  // namespace vorip
