#ifndef FACEFEATURE_TOOLS_VERB_EXTRACT_WORKER_H
#define FACEFEATURE_TOOLS_VERB_EXTRACT_WORKER_H

#include <cstddef>

#include "face_input.h"
#include "failure.h"

namespace facefeature_tools {

// The verb that the program gives its own worker processes. No user does.
constexpr char kExtractWorkerVerb[] = "extract-worker";

// Opens the model that the environment names, and extracts what it is asked for by its standard
// input until that ends. exif and face are as in ExtractRequest, for all photographs.
ExitCode runExtractWorker(ExifRule exif, size_t face);

}  // namespace facefeature_tools

#endif
