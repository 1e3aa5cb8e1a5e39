#ifndef FACEFEATURE_TOOLS_VERBS_VERB_EXTRACT_WORKER_H
#define FACEFEATURE_TOOLS_VERBS_VERB_EXTRACT_WORKER_H

#include "verbs/verb.h"

namespace facefeature_tools {

// The hidden verb that "extract --list" starts its worker processes with.
extern const Verb kExtractWorkerVerb;

}  // namespace facefeature_tools

#endif
