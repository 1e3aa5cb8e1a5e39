#ifndef FACEFEATURE_TOOLS_VERBS_VERB_VIEW_H
#define FACEFEATURE_TOOLS_VERBS_VERB_VIEW_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature view": shows two photographs, what the nets read of them, their score, and its
// position among the scores of an evaluation. Writes a page or a picture.
extern const Verb kViewVerb;

}  // namespace facefeature_tools

#endif
