// Lets a long run end in good order when it is asked to.
#ifndef FACEFEATURE_TOOLS_BATCH_ENDING_SIGNALS_H
#define FACEFEATURE_TOOLS_BATCH_ENDING_SIGNALS_H

namespace facefeature_tools {

// During the lifetime of the object, Ctrl-C and similar signals (SIGINT, SIGTERM, SIGHUP) are only
// recorded. A second one ends the process at once. A signal that was ignored before stays ignored.
class EndingSignals {
 public:
  EndingSignals();
  // Restores the default action, which ends the process.
  ~EndingSignals();
  EndingSignals(const EndingSignals&) = delete;
  EndingSignals& operator=(const EndingSignals&) = delete;

  // The signal that was received, or 0.
  static int caught();
};

// Ends the process as if the signal had not been caught: a shell then sees an interrupted program,
// and stops its loop, instead of an exit code.
[[noreturn]] void endBySignal(int signalNumber);

}  // namespace facefeature_tools

#endif
