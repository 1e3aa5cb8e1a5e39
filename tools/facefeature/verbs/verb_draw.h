#ifndef FACEFEATURE_TOOLS_VERBS_VERB_DRAW_H
#define FACEFEATURE_TOOLS_VERBS_VERB_DRAW_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature draw": draws what the library sees of a face, or the 29 model points, as a PNG file.
extern const Verb kDrawVerb;

}  // namespace facefeature_tools

#endif
