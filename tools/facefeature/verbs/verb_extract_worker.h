#ifndef FACEFEATURE_TOOLS_VERBS_VERB_EXTRACT_WORKER_H
#define FACEFEATURE_TOOLS_VERBS_VERB_EXTRACT_WORKER_H

#include "verbs/verb.h"

namespace facefeature_tools {

// The hidden verb with which "extract --list" starts its worker processes.
extern const Verb kExtractWorkerVerb;

}  // namespace facefeature_tools

#endif
