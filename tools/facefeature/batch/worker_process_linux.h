// What a WorkerProcess consists of on Linux, for an event loop that waits for workers and for other
// descriptors at the same time.
#ifndef FACEFEATURE_TOOLS_BATCH_WORKER_PROCESS_LINUX_H
#define FACEFEATURE_TOOLS_BATCH_WORKER_PROCESS_LINUX_H

#include <poll.h>
#include <sys/types.h>

#include <string>

#include "batch/worker_process.h"

namespace facefeature_tools {

struct WorkerProcess::State {
  pid_t process = -1;  // -1 once it has exited
  int socket = -1;
  std::string arrived;  // received, but not a complete message yet
  std::string unsent;   // the rest of the messages to the worker, from unsentStart
  size_t unsentStart = 0;
};

// What poll() has to wait for. When it reports an event, waitForWorkers() handles it. A worker that
// has exited gives a descriptor that poll() ignores.
pollfd pollEntry(WorkerProcess& worker);

}  // namespace facefeature_tools

#endif
