#ifndef FACEFEATURE_TOOLS_VERBS_VERB_MODEL_CHECK_H
#define FACEFEATURE_TOOLS_VERBS_VERB_MODEL_CHECK_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature model check": names every wrong file of a model folder, one a line, and warns of
// what others could change. The folder is the argument, or chosenModelFolder() if there is none.
extern const Verb kModelCheckVerb;

}  // namespace facefeature_tools

#endif
