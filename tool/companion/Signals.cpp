#include "tool/companion/Signals.h"

#include <array>
#include <csignal>

namespace companion {

namespace {

constexpr std::array<int, 2> endingSignals{SIGINT, SIGTERM};

volatile std::sig_atomic_t caught = 0;

extern "C" void noteSignal(int signal) {
    caught = signal;
}

void handle(void (*handler)(int)) {
    for (int const signal : endingSignals) {
        struct sigaction action {};
        // A caller such as nohup(1) may have the process ignore a signal; it goes on doing so.
        if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = handler;
        action.sa_flags = SA_RESTART;
        sigaction(signal, &action, nullptr);
    }
}

} // namespace

void catchSignals() {
    handle(noteSignal);
}

void releaseSignals() {
    handle(SIG_DFL);
}

bool shouldStop() {
    return caught != 0;
}

void endByCaughtSignal() {
    if (!shouldStop())
        return;
    releaseSignals();
    std::raise(caught);
}

} // namespace companion
