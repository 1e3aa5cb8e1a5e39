// Runs this program again as a child process, and exchanges messages with it.
//
// A message is a string of at most 4 GB, delivered complete and in order.
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
  std::vector<std::string> arguments;  // after the program's name
  unsigned threads = 1;                // of OpenMP, by OMP_NUM_THREADS
};

class WorkerProcess {
 public:
  // The worker's standard input carries the messages; its output goes to standard error. It ends
  // with this process, however that ends, and ignores the signals that a terminal or a batch system
  // sends to all processes of a program: this process handles those. Throws Failure (kFailed).
  explicit WorkerProcess(const WorkerCommand& command);
  // Terminates the worker at once and waits until it has exited.
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  // Returns at once. waitForWorkers() sends what the worker does not accept yet. Does nothing if
  // the worker has exited; the next waitForWorkers() reports that.
  void send(const std::string& message);

  // Used only by waitForWorkers() and by event loops (worker_process_linux.h).
  struct State;
  State& state() { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

struct WorkerEvent {
  size_t worker;        // its index in the list
  bool ended;           // it has exited and sends nothing more
  std::string message;  // or how it ended, as a text that completes "the worker ..."
};

// The next event of any of the workers (null pointers are skipped), or nothing if the time is over,
// a signal was received, or only a part of a message was sent or received.
std::optional<WorkerEvent> waitForWorkers(
    const std::vector<std::unique_ptr<WorkerProcess>>& workers, std::chrono::milliseconds time);

// The worker's end of the connection.
class WorkerChannel {
 public:
  // The next message, or nothing if there will be none: the worker then exits.
  std::optional<std::string> receive();
  // Returns false if the parent has exited.
  bool send(const std::string& message);
};

}  // namespace facefeature_tools

#endif
