// "facefeature serve": features and scores for other programs on this machine.
#ifndef FACEFEATURE_TOOLS_VERBS_SERVE_H
#define FACEFEATURE_TOOLS_VERBS_SERVE_H

#include <cstdint>
#include <string>

#include "base/failure.h"
#include "face/face_photo.h"

namespace facefeature_tools {

struct ServeRequest {
  std::string socket;
  std::string model;  // empty: as for extract
  ExifRule exif = ExifRule::kIgnore;
  uint64_t workers = 0;  // 0: one for each processor
  uint64_t connections = 64;
  uint64_t photoMegabytes = 16;
  uint64_t rate = 100;
  uint64_t seconds = 10;
  uint64_t transferSeconds = 10;
  uint64_t memoryMegabytes = 1024;
  bool noSandbox = false;
};

// Serves until a signal ends it. Throws Failure.
ExitCode runServe(const ServeRequest& request);

}  // namespace facefeature_tools

#endif
