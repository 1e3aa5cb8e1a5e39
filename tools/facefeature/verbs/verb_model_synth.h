#ifndef FACEFEATURE_TOOLS_VERBS_VERB_MODEL_SYNTH_H
#define FACEFEATURE_TOOLS_VERBS_VERB_MODEL_SYNTH_H

#include <cstdint>
#include <string>

#include "base/failure.h"

namespace facefeature_tools {

constexpr char kModelSynthVerb[] = "model synth";

struct ModelSynthRequest {
  std::string folder;
  uint64_t seed = 1;
};

// "facefeature model synth": writes a synthetic model and says that it is none that was trained.
ExitCode runModelSynth(const ModelSynthRequest& request);

}  // namespace facefeature_tools

#endif
