#ifndef FACEFEATURE_TOOLS_VERBS_VERB_SEARCH_H
#define FACEFEATURE_TOOLS_VERBS_VERB_SEARCH_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature search": finds the rows of a gallery that score highest with each of several probes.
// With a threshold the exit code is the answer, as in compare.
extern const Verb kSearchVerb;

}  // namespace facefeature_tools

#endif
