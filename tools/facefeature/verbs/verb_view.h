#ifndef FACEFEATURE_TOOLS_VERBS_VERB_VIEW_H
#define FACEFEATURE_TOOLS_VERBS_VERB_VIEW_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature view": two photographs, what the nets read of both, their score, and where it is
// among the scores of an evaluation. Writes a page or a picture.
extern const Verb kViewVerb;

}  // namespace facefeature_tools

#endif
