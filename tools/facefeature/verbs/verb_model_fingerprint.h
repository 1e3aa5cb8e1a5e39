#ifndef FACEFEATURE_TOOLS_VERBS_VERB_MODEL_FINGERPRINT_H
#define FACEFEATURE_TOOLS_VERBS_VERB_MODEL_FINGERPRINT_H

#include "verbs/verb.h"

namespace facefeature_tools {

// "facefeature model fingerprint": prints the fingerprint that galleries of this model have.
extern const Verb kModelFingerprintVerb;

}  // namespace facefeature_tools

#endif
