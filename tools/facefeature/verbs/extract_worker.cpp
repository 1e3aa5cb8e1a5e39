#include "verbs/extract_worker.h"

#include <functional>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "batch/worker_messages.h"
#include "batch/worker_process.h"
#include "model/batch_session_posix.h"
#include "model/model_link.h"

namespace facefeature_tools {
namespace {

// A reply that describes the exception of work on a photograph, or nothing if there is none: an
// error of a photograph ends that photograph only.
std::optional<WorkerReply> failureOf(const std::string& photo, const std::function<void()>& work) {
  try {
    work();
    return std::nullopt;
  } catch (const Failure& failure) {
    return failedReply(failure.code(), failure.what());
  } catch (const std::bad_alloc&) {
    return failedReply(kFailed, photo + ": out of memory. Use fewer --jobs.");
  } catch (const std::exception& error) {
    return failedReply(kFailed, photo + ": " + error.what());
  }
}

// Reads a photograph and puts its face into the batch.
void putFace(const BatchSession& session, int32_t index, const ExtractRequest& extract) {
  const FaceInput face = readFaceInput(extract);
  const LandmarkRecord record = makeRecord(face.landmarks.landmarks);
  const int32_t status = session.put(index, face.photo.pixels.data(), face.photo.width,
                                     face.photo.height, face.photo.stride(), record.get());
  if (status == kFaceBatchDone) return;
  throw Failure(kFailed, extract.photo, "the library refuses the face",
                "Extract it alone, or report this as an error of the program");
}

// A face in the batch: the reply to its request, still without a feature.
struct WaitingFace {
  WorkerReply reply;
  std::string photo;
};

class Worker {
 public:
  explicit Worker(const ExtractRequest& common) : common_(common), session_(libraryModelFolder()) {}

  // Answers the requests of a message. Returns false if the worker is to exit: the parent has
  // exited, or several faces can't be extracted together. The parent then sends each of these
  // alone, to another worker, which needs less memory and affects no other face.
  bool answer(WorkerChannel& channel, const std::vector<WorkerRequest>& requests) {
    std::vector<WaitingFace> waiting;
    for (size_t i = 0; i < requests.size(); ++i) {
      WorkerReply reply = putReply(requests[i], static_cast<int32_t>(waiting.size()));
      reply.request = static_cast<uint32_t>(i);
      if (reply.kind == WorkerReplyKind::kFeature) {
        waiting.push_back({std::move(reply), requests[i].photo});
      } else if (!channel.send(encodeReply(reply))) {
        return false;
      }
    }
    if (waiting.empty()) return true;
    std::vector<FeatureVector> features(waiting.size());
    const int32_t status = session_.extract(features);
    if (status != kFaceBatchDone && waiting.size() > 1) return false;
    for (size_t i = 0; i < waiting.size(); ++i) {
      if (!channel.send(encodeReply(featureReply(waiting[i], status, features[i])))) return false;
    }
    return true;
  }

 private:
  // Of the kind kFeature if the face is in the batch.
  WorkerReply putReply(const WorkerRequest& request, int32_t index) {
    ExtractRequest extract = common_;
    extract.photo = request.photo;
    extract.landmarks = request.landmarks;
    std::vector<std::string> warnings;
    collectMessages(&warnings);
    const auto failure = failureOf(request.photo, [&] { putFace(session_, index, extract); });
    collectMessages(nullptr);
    WorkerReply reply = failure.value_or(WorkerReply());
    if (!failure) reply.kind = WorkerReplyKind::kFeature;
    reply.warnings = warnings;
    return reply;
  }

  static WorkerReply featureReply(const WaitingFace& face, int32_t status,
                                  const FeatureVector& feature) {
    const auto failure = failureOf(face.photo, [&] {
      if (status == kFaceBatchNoMemory) throw std::bad_alloc();
      // The feature of a model that can't be run is NaNs, as that of a model with NaNs.
      requireNumbers(feature, libraryModelFolder());
    });
    WorkerReply reply = failure.value_or(face.reply);
    reply.request = face.reply.request;
    reply.warnings = face.reply.warnings;
    if (!failure) reply.feature = feature;
    return reply;
  }

  const ExtractRequest& common_;
  const BatchSession session_;
};

}  // namespace

ExitCode runExtractWorker(const ExtractRequest& common) {
  WorkerChannel channel;
  try {
    Worker worker(common);
    channel.send(encodeReply(WorkerReply()));
    while (const auto message = channel.receive()) {
      if (!worker.answer(channel, decodeRequests(*message))) break;
    }
  } catch (const Failure& failure) {
    channel.send(encodeReply(failedReply(failure.code(), failure.what())));
  }
  return kDone;
}

}  // namespace facefeature_tools
