#ifndef FACEFEATURE_TOOLS_VERBS_VERB_MODEL_CHECK_H
#define FACEFEATURE_TOOLS_VERBS_VERB_MODEL_CHECK_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature model check": names every invalid file of a model folder, one per line, and warns if
// others could change the files. The folder is the argument, or chosenModelFolder() by default.
extern const Verb kModelCheckVerb;

}  // namespace facefeature_tools

#endif
