#include "verbs/serve.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "gallery/gallery_origin.h"
#include "model/default_model.h"
#include "model/library_loader.h"
#include "model/model_fingerprint.h"
#include "model/model_link.h"
#include "model/model_session.h"
#include "service/serve_locally.h"
#include "service/worker_sandbox.h"
#include "verbs/verb_serve_worker.h"

namespace facefeature_tools {
namespace {

// So that the time and size options can't overflow.
constexpr uint64_t kMaxSeconds = 86400;
constexpr uint64_t kMaxPhotoMegabytes = 1024;
constexpr uint64_t kMaxWorkers = 1024;

void requireBetween(const char* option, uint64_t value, uint64_t minimum, uint64_t maximum) {
  if (value >= minimum && value <= maximum) return;
  throw Failure(kWrongUsage, option, "is " + std::to_string(value),
                "Give " + std::to_string(minimum) + " to " + std::to_string(maximum));
}

void check(const ServeRequest& request) {
  requireExif(request.exif);
  requireBetween("--workers", request.workers, 0, kMaxWorkers);
  requireBetween("--connections", request.connections, 1, 100000);
  requireBetween("--photo-mb", request.photoMegabytes, 1, kMaxPhotoMegabytes);
  requireBetween("--rate", request.rate, 0, 1000000);
  requireBetween("--seconds", request.seconds, 1, kMaxSeconds);
  requireBetween("--transfer-seconds", request.transferSeconds, 1, kMaxSeconds);
  requireBetween("--memory-mb", request.memoryMegabytes, 0, 1000000);
}

ServiceLimits limitsOf(const ServeRequest& request) {
  ServiceLimits limits;
  limits.photoBytes = static_cast<size_t>(request.photoMegabytes) << 20;
  limits.connections = static_cast<size_t>(request.connections);
  limits.extractionsPerSecond = static_cast<double>(request.rate);
  limits.extraction = std::chrono::seconds(request.seconds);
  limits.waiting = 3 * limits.extraction;
  limits.transfer = std::chrono::seconds(request.transferSeconds);
  return limits;
}

ServiceInfo infoOf(const ServeSettings& settings, const std::string& model, bool sandbox) {
  ServiceInfo info;
  const GalleryOrigin origin = ownOrigin(modelFingerprint(model));
  info.version = origin.libraryVersion;
  info.model = hexText(origin.model);
  info.workers = settings.workers;
  info.sandbox = sandbox;
  info.maxHeaderBytes = settings.limits.headerBytes;
  info.maxPhotoBytes = settings.limits.photoBytes;
  info.maxConnections = settings.limits.connections;
  info.extractionsPerSecond = settings.limits.extractionsPerSecond;
  info.extractionSeconds = std::chrono::duration<double>(settings.limits.extraction).count();
  info.transferSeconds = std::chrono::duration<double>(settings.limits.transfer).count();
  return info;
}

WorkerCommand commandOf(const ServeRequest& request, bool sandbox) {
  WorkerCommand command;
  command.arguments = {kServeWorkerVerb.name, kExifOption, exifRuleName(request.exif),
                       kWorkerMemoryOption, std::to_string(request.memoryMegabytes)};
  if (sandbox) command.arguments.push_back(kSandboxOption);
  return command;
}

}  // namespace

ExitCode runServe(const ServeRequest& request) {
  check(request);
  const std::string model = chosenModelFolder(request.model);
  requireModel(model);
  const bool sandbox = hasSandbox() && !request.noSandbox;

  ServeSettings settings;
  settings.socket = request.socket;
  settings.command = commandOf(request, sandbox);
  settings.workers = request.workers > 0 ? static_cast<size_t>(request.workers)
                                         : std::max(1u, std::thread::hardware_concurrency());
  settings.limits = limitsOf(request);
  settings.info = infoOf(settings, model, sandbox);

  // Workers find the model through the environment, also those that are started later.
  std::optional<ModelLink> link;
  if (model != libraryModelFolder()) link.emplace(model);
  const LoadedLibrary library;
  serveLocally(settings, library.compareFeatures);
  return kDone;
}

}  // namespace facefeature_tools
