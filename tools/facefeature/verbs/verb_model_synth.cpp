#include "verbs/verb_model_synth.h"

#include "model/synthetic_model.h"

namespace facefeature_tools {

ExitCode runModelSynth(const ModelSynthRequest& request) {
  writeSyntheticModel(request.folder, request.seed);
  say(kModelSynthVerb, request.folder + ": 303 files and a README written, from seed " +
                           std::to_string(request.seed) + ". " + kSyntheticWarning);
  return kDone;
}

}  // namespace facefeature_tools
