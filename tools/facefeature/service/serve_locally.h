// Runs the service at a local socket until a signal ends it.
#ifndef FACEFEATURE_TOOLS_SERVICE_SERVE_LOCALLY_H
#define FACEFEATURE_TOOLS_SERVICE_SERVE_LOCALLY_H

#include <string>

#include "batch/worker_process.h"
#include "service/service.h"

namespace facefeature_tools {

struct ServeSettings {
  std::string socket;  // its path
  WorkerCommand command;
  size_t workers = 1;
  ServiceLimits limits;
  ServiceInfo info;
};

// Starts the workers, opens the socket when all are ready, and returns after SIGTERM, SIGINT or
// SIGHUP, when the complete requests are answered. Throws Failure if the workers can't be started
// or the socket can't be opened. REQUIRES: the process has no other threads.
void serveLocally(const ServeSettings& settings, Service::Compare compare);

}  // namespace facefeature_tools

#endif
