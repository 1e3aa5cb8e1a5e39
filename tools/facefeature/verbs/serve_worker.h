// A worker process of "serve".
#ifndef FACEFEATURE_TOOLS_VERBS_SERVE_WORKER_H
#define FACEFEATURE_TOOLS_VERBS_SERVE_WORKER_H

#include <cstdint>

#include "base/failure.h"
#include "face/face_photo.h"

namespace facefeature_tools {

struct ServeWorkerRequest {
  ExifRule exif = ExifRule::kIgnore;
  bool sandbox = false;
  uint64_t memoryMegabytes = 0;  // 0: no limit
};

// Opens the model that the environment names, and extracts the photographs that standard input
// carries until it ends.
ExitCode runServeWorker(const ServeWorkerRequest& request);

}  // namespace facefeature_tools

#endif
