// The program without worker processes.
#include "verbs/serve.h"
#include "verbs/serve_worker.h"

namespace facefeature_tools {

ExitCode runServe(const ServeRequest& request) {
  throw Failure(kWrongUsage, request.socket, "this program has no service",
                "Run it on Linux, or load the library into your program");
}

ExitCode runServeWorker(const ServeWorkerRequest&) {
  throw Failure(kWrongUsage, "serve-worker", "is not a verb for users", "See --help");
}

}  // namespace facefeature_tools
