#ifndef FACEFEATURE_TOOLS_VERBS_VERB_MODEL_SYNTH_H
#define FACEFEATURE_TOOLS_VERBS_VERB_MODEL_SYNTH_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature model synth": writes a synthetic model and says that it was not trained.
extern const Verb kModelSynthVerb;

}  // namespace facefeature_tools

#endif
