// A worker process of "extract --list".
#ifndef FACEFEATURE_TOOLS_VERBS_EXTRACT_WORKER_H
#define FACEFEATURE_TOOLS_VERBS_EXTRACT_WORKER_H

#include "base/failure.h"
#include "verbs/verb_extract.h"

namespace facefeature_tools {

// Opens the model that the environment names, and extracts the photographs that are requested on
// standard input until it ends. Of common, only exif and face are used, for all photographs.
ExitCode runExtractWorker(const ExtractRequest& common);

}  // namespace facefeature_tools

#endif
