#ifndef FACEFEATURE_TOOLS_VERBS_VERB_EXTRACT_WORKER_H
#define FACEFEATURE_TOOLS_VERBS_VERB_EXTRACT_WORKER_H

#include "base/failure.h"
#include "verbs/verb_extract.h"

namespace facefeature_tools {

// The verb that the program gives its own worker processes. No user does.
constexpr char kExtractWorkerVerb[] = "extract-worker";

// Opens the model that the environment names, and extracts what it is asked for by its standard
// input until that ends. Of common, exif and face hold for all photographs.
ExitCode runExtractWorker(const ExtractRequest& common);

}  // namespace facefeature_tools

#endif
