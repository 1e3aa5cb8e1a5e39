#include "verbs/extract_worker.h"

#include <new>
#include <optional>

#include "batch/worker_messages.h"
#include "batch/worker_process.h"
#include "model/library_loader.h"
#include "model/model_link.h"
#include "model/model_session.h"

namespace facefeature_tools {
namespace {

WorkerReply failedReply(int code, const std::string& text) {
  WorkerReply reply;
  reply.kind = WorkerReplyKind::kFailed;
  reply.code = code;
  reply.text = text;
  return reply;
}

// An error of a photograph affects only that photograph.
WorkerReply replyTo(const LoadedLibrary& library, const Engine& engine, ExtractRequest extract,
                    const WorkerRequest& request) {
  WorkerReply reply;
  std::vector<std::string> warnings;
  keepWords(&warnings);
  try {
    extract.photo = request.photo;
    extract.landmarks = request.landmarks;
    reply.feature = featureOf(readFaceInput(extract), library, engine, libraryModelFolder());
    reply.kind = WorkerReplyKind::kFeature;
  } catch (const Failure& failure) {
    reply = failedReply(failure.code(), failure.what());
  } catch (const std::bad_alloc&) {
    reply = failedReply(kFailed, request.photo + ": out of memory. Give it fewer --jobs.");
  } catch (const std::exception& error) {
    reply = failedReply(kFailed, request.photo + ": " + error.what());
  }
  keepWords(nullptr);
  reply.warnings = warnings;
  return reply;
}

}  // namespace

ExitCode runExtractWorker(const ExtractRequest& common) {
  WorkerChannel channel;
  try {
    const LoadedLibrary library;
    const Engine engine(library, libraryModelFolder());
    channel.send(encodeReply(WorkerReply()));
    while (const auto message = channel.receive()) {
      const WorkerReply reply = replyTo(library, engine, common, decodeRequest(*message));
      if (!channel.send(encodeReply(reply))) break;
    }
  } catch (const Failure& failure) {
    channel.send(encodeReply(failedReply(failure.code(), failure.what())));
  }
  return kDone;
}

}  // namespace facefeature_tools
