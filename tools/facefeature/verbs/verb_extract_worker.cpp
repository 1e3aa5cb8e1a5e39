#include "verbs/verb_extract_worker.h"

#include <memory>

#include "verbs/extract_worker.h"
#include "verbs/face_options.h"

namespace facefeature_tools {
namespace {

VerbRun define(Options& options) {
  auto request = std::make_shared<ExtractRequest>();
  addExif(options, request->exif);
  addFace(options, request->face);
  return [request] { return runExtractWorker(*request); };
}

}  // namespace

const Verb kExtractWorkerVerb = {"extract-worker", "", define};

}  // namespace facefeature_tools
