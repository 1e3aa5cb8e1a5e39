#ifndef FACEFEATURE_TOOLS_VERBS_VERB_MODEL_FINGERPRINT_H
#define FACEFEATURE_TOOLS_VERBS_VERB_MODEL_FINGERPRINT_H

#include <string>

#include "base/failure.h"

namespace facefeature_tools {

constexpr char kModelFingerprintVerb[] = "model fingerprint";

struct ModelFingerprintRequest {
  std::string folder;  // empty: chosenModelFolder() decides
};

// "facefeature model fingerprint": prints the fingerprint that galleries of this model bear.
ExitCode runModelFingerprint(const ModelFingerprintRequest& request);

}  // namespace facefeature_tools

#endif
