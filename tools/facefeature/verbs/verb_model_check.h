#ifndef FACEFEATURE_TOOLS_VERBS_VERB_MODEL_CHECK_H
#define FACEFEATURE_TOOLS_VERBS_VERB_MODEL_CHECK_H

#include <string>

#include "base/failure.h"

namespace facefeature_tools {

constexpr char kModelCheckVerb[] = "model check";

struct ModelCheckRequest {
  std::string folder;  // empty: chosenModelFolder() decides
};

// "facefeature model check": names every file of a model folder that is wrong, one a line, and
// warns of what others could change.
ExitCode runModelCheck(const ModelCheckRequest& request);

}  // namespace facefeature_tools

#endif
