#include "verbs/serve_worker.h"

#include <new>

#include "batch/worker_messages.h"
#include "batch/worker_process.h"
#include "face/face_checks.h"
#include "face/face_input.h"
#include "face/face_photo.h"
#include "model/model_link.h"
#include "model/model_session.h"
#include "service/worker_sandbox.h"
#include "verbs/verb_extract.h"
#include "verbs/verb_serve.h"

namespace facefeature_tools {
namespace {

// What messages call the two parts of a request.
constexpr char kPhoto[] = "the photograph";
constexpr char kLandmarks[] = "the landmarks";

LandmarkFile landmarksOf(const std::string& text, const Photo& photo) {
  LandmarkFile file;
  try {
    file = parseLandmarks(text);
  } catch (const std::runtime_error& error) {
    throw Failure(kBadInput, kLandmarks, error.what(),
                  "Give the 29 landmarks of one face, each with id, x, y");
  }
  printWarnings(kServeVerb.name, kLandmarks, faceWarnings(file, kPhoto, photo.width, photo.height));
  return file;
}

FaceInput faceOf(const WorkerRequest& request, ExifRule exif) {
  const std::vector<uint8_t> bytes(request.photo.begin(), request.photo.end());
  Photo photo = decodeFacePhoto(kServeVerb.name, kPhoto, bytes, exif);
  LandmarkFile landmarks = landmarksOf(request.landmarks, photo);
  return {std::move(photo), std::move(landmarks)};
}

WorkerReply replyTo(const ModelSession& session, ExifRule exif, const WorkerRequest& request) {
  WorkerReply reply;
  std::vector<std::string> warnings;
  collectMessages(&warnings);
  try {
    reply.feature = featureOf(faceOf(request, exif), session);
    reply.kind = WorkerReplyKind::kFeature;
  } catch (const Failure& failure) {
    reply = failedReply(failure.code(), failure.what());
  } catch (const std::bad_alloc&) {
    reply = failedReply(kFailed, "the photograph needs more memory than a worker may use.");
  } catch (const std::exception& error) {
    reply = failedReply(kFailed, error.what());
  }
  collectMessages(nullptr);
  reply.warnings = warnings;
  return reply;
}

}  // namespace

ExitCode runServeWorker(const ServeWorkerRequest& settings) {
  WorkerChannel channel;
  try {
    const ModelSession session(libraryModelFolder());
    limitMemory(static_cast<size_t>(settings.memoryMegabytes) << 20);
    if (settings.sandbox) enterSandbox();
    channel.send(encodeReply(WorkerReply()));
    while (const auto message = channel.receive()) {
      // The service sends one request in a message.
      const WorkerRequest request = decodeRequests(*message).at(0);
      if (!channel.send(encodeReply(replyTo(session, settings.exif, request)))) break;
    }
  } catch (const Failure& failure) {
    channel.send(encodeReply(failedReply(failure.code(), failure.what())));
  }
  return kDone;
}

}  // namespace facefeature_tools
