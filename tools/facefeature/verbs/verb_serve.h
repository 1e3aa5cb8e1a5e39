#ifndef FACEFEATURE_TOOLS_VERBS_VERB_SERVE_H
#define FACEFEATURE_TOOLS_VERBS_VERB_SERVE_H

#include "verbs/verb.h"

namespace facefeature_tools {

extern const Verb kServeVerb;

}  // namespace facefeature_tools

#endif
