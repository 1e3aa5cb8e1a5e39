#include <signal.h>
#include <unistd.h>

#include "batch/ending_signals.h"

namespace facefeature_tools {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile sig_atomic_t caughtSignal = 0;

void note(int signalNumber) { caughtSignal = signalNumber; }

void setHandlers(void (*handler)(int), int flags) {
  for (const int signalNumber : kEndingSignals) {
    struct sigaction action = {};
    sigaction(signalNumber, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
  }
}

}  // namespace

EndingSignals::EndingSignals() {
  caughtSignal = 0;
  setHandlers(note, static_cast<int>(SA_RESETHAND));
}

EndingSignals::~EndingSignals() { setHandlers(SIG_DFL, 0); }

int EndingSignals::caught() { return caughtSignal; }

void endBySignal(int signalNumber) {
  signal(signalNumber, SIG_DFL);
  raise(signalNumber);
  // Reached only if the signal is blocked.
  _exit(128 + signalNumber);
}

}  // namespace facefeature_tools
