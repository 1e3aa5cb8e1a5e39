// This program, started again beside itself, and messages to and fro.
//
// A message is a string of at most 4 GB, delivered whole and in order.
#ifndef FACEFEATURE_TOOLS_BATCH_WORKER_PROCESS_H
#define FACEFEATURE_TOOLS_BATCH_WORKER_PROCESS_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace facefeature_tools {

struct WorkerCommand {
  std::vector<std::string> arguments;  // behind the program's name
  unsigned threads = 1;                // of OpenMP, by OMP_NUM_THREADS
};

class WorkerProcess {
 public:
  // The worker's standard input carries the messages; what it prints goes to standard error. It
  // ends with this process, however that ends, and takes no notice of the signals that a terminal
  // or a batch system sends to all processes of a program: those are for this process to answer.
  // Throws Failure (kFailed).
  explicit WorkerProcess(const WorkerCommand& command);
  // Ends the worker at once, and waits until it is gone.
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  // Where the worker has gone, nothing happens; the next waitForWorkers() tells.
  void send(const std::string& message);

  // Used by waitForWorkers() alone.
  struct State;
  State& state() { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

struct WorkerEvent {
  size_t worker;        // its place in the list
  bool ended;           // it is gone, and sends nothing more
  std::string message;  // or how it ended, in words that complete "the worker ..."
};

// The next event of any of the workers (null pointers are passed over), or nothing when the time is
// over or a signal came.
std::optional<WorkerEvent> waitForWorkers(
    const std::vector<std::unique_ptr<WorkerProcess>>& workers, std::chrono::milliseconds time);

// The worker's own end.
class WorkerChannel {
 public:
  // The next message, or nothing when there will be none: the worker then ends.
  std::optional<std::string> receive();
  // False when nobody is there to receive it.
  bool send(const std::string& message);
};

}  // namespace facefeature_tools

#endif
