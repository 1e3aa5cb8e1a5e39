#ifndef FACEFEATURE_TOOLS_VERBS_VERB_COMPARE_H
#define FACEFEATURE_TOOLS_VERBS_VERB_COMPARE_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature compare": prints the score of two features, or a table of the scores of all pairs of
// two galleries. With a threshold the exit code is the answer: kDone if a score reaches it, kFailed
// if none does. Nothing else has the code kFailed then.
extern const Verb kCompareVerb;

}  // namespace facefeature_tools

#endif
