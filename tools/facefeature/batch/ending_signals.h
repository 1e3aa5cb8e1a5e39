// Being asked to end, and ending in good order.
#ifndef FACEFEATURE_TOOLS_BATCH_ENDING_SIGNALS_H
#define FACEFEATURE_TOOLS_BATCH_ENDING_SIGNALS_H

namespace facefeature_tools {

// While the object lives, Ctrl-C and its like (SIGINT, SIGTERM, SIGHUP) only leave a note. The same
// one a second time ends the process at once. One that was ignored before stays so.
class EndingSignals {
 public:
  EndingSignals();
  // Puts back the default, which is to end.
  ~EndingSignals();
  EndingSignals(const EndingSignals&) = delete;
  EndingSignals& operator=(const EndingSignals&) = delete;

  // The signal that came, or 0.
  static int caught();
};

// Ends the process as if nobody had caught the signal: a shell then sees an interrupted program,
// and stops its loop, and not one that chose an exit code.
[[noreturn]] void endBySignal(int signalNumber);

}  // namespace facefeature_tools

#endif
