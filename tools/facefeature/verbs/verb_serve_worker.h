#ifndef FACEFEATURE_TOOLS_VERBS_VERB_SERVE_WORKER_H
#define FACEFEATURE_TOOLS_VERBS_VERB_SERVE_WORKER_H

#include "verbs/verb.h"

namespace facefeature_tools {

// The hidden verb that "serve" starts its worker processes with.
extern const Verb kServeWorkerVerb;

constexpr char kSandboxOption[] = "--sandbox";
constexpr char kWorkerMemoryOption[] = "--memory";

}  // namespace facefeature_tools

#endif
