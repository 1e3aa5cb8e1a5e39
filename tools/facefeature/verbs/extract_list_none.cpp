// Replaces extract_list.cpp in a program without worker processes.
#include "verbs/extract_list.h"
#include "verbs/extract_worker.h"
#include "verbs/verb_extract_worker.h"

namespace facefeature_tools {

ExitCode runExtractList(const ExtractListRequest& request) {
  throw Failure(kWrongUsage, request.list, "this program can't extract the photographs of a list",
                "Extract each one separately, or the list on Linux");
}

ExitCode runExtractWorker(const ExtractRequest&) {
  throw Failure(kWrongUsage, kExtractWorkerVerb.name, "is not a verb for users", "See --help");
}

}  // namespace facefeature_tools
