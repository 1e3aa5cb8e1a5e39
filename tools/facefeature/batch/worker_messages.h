// The messages between the program and its worker processes. Both are the same executable, so
// messages have no version.
//
// A message to a worker holds one request or several, which the worker extracts in one pass. It
// answers with one message for each request, in any order.
#ifndef FACEFEATURE_TOOLS_BATCH_WORKER_MESSAGES_H
#define FACEFEATURE_TOOLS_BATCH_WORKER_MESSAGES_H

#include <facefeature/facefeature.h>

#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_tools {

// Paths of files for a worker of "extract --list", the bytes of files for one of "serve".
struct WorkerRequest {
  std::string photo;
  std::string landmarks;
};

enum class WorkerReplyKind : unsigned char {
  kReady,    // the first reply: the engine is ready
  kFeature,  // of the requested photograph
  kFailed,   // no feature for it; as the first reply, no engine
};

struct WorkerReply {
  WorkerReplyKind kind = WorkerReplyKind::kReady;
  uint32_t request = 0;  // its index in the message that it answers
  int code = 0;          // kFailed: the ExitCode of the Failure
  std::string text;      // kFailed: its message
  std::vector<std::string> warnings;
  FeatureVector feature = {};  // kFeature
};

// A reply of the kind kFailed.
WorkerReply failedReply(int code, const std::string& text);

std::string encodeRequests(const std::vector<WorkerRequest>& requests);
std::string encodeReply(const WorkerReply& reply);

// Throw std::runtime_error for a text that no encoder produces.
std::vector<WorkerRequest> decodeRequests(const std::string& message);
WorkerReply decodeReply(const std::string& message);

}  // namespace facefeature_tools

#endif
