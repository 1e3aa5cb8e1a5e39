#include "verbs/verb_serve_worker.h"

#include <memory>

#include "verbs/face_options.h"
#include "verbs/serve_worker.h"

namespace facefeature_tools {
namespace {

VerbRun define(Options& options) {
  auto request = std::make_shared<ServeWorkerRequest>();
  addExif(options, request->exif);
  options.addFlag(kSandboxOption, request->sandbox, "Enter the sandbox");
  options.add(kWorkerMemoryOption, request->memoryMegabytes, "Most memory in MB");
  return [request] { return runServeWorker(*request); };
}

}  // namespace

const Verb kServeWorkerVerb = {"serve-worker", "", define};

}  // namespace facefeature_tools
