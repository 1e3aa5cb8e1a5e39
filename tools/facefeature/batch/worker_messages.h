// What the program and its worker processes say to each other. Both are the same program, so there
// are no versions.
#ifndef FACEFEATURE_TOOLS_BATCH_WORKER_MESSAGES_H
#define FACEFEATURE_TOOLS_BATCH_WORKER_MESSAGES_H

#include <facefeature/facefeature.h>

#include <string>
#include <vector>

namespace facefeature_tools {

struct WorkerRequest {
  std::string photo;
  std::string landmarks;
};

enum class WorkerReplyKind : unsigned char {
  kReady,    // the first one: the engine stands
  kFeature,  // of the photograph that was asked for
  kFailed,   // no feature of it; as the first reply, no engine
};

struct WorkerReply {
  WorkerReplyKind kind = WorkerReplyKind::kReady;
  int code = 0;      // kFailed: the ExitCode of the Failure
  std::string text;  // kFailed: its words
  std::vector<std::string> warnings;
  FeatureVector feature = {};  // kFeature
};

std::string encodeRequest(const WorkerRequest& request);
std::string encodeReply(const WorkerReply& reply);

// Throw std::runtime_error for a text that no encoder made.
WorkerRequest decodeRequest(const std::string& message);
WorkerReply decodeReply(const std::string& message);

}  // namespace facefeature_tools

#endif
