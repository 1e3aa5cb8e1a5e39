#include "verbs/verb_model_synth.h"

#include <cstdint>
#include <memory>
#include <string>

#include "model/synthetic_model.h"
#include "verbs/option_checks.h"

namespace facefeature_tools {
namespace {

struct ModelSynthRequest {
  std::string folder;
  uint64_t seed = 1;
};

ExitCode runModelSynth(const ModelSynthRequest& request) {
  writeSyntheticModel(request.folder, request.seed);
  say(kModelSynthVerb.name, request.folder + ": 303 files and a README written, from seed " +
                                std::to_string(request.seed) + ". " + kSyntheticWarning);
  return kDone;
}

VerbRun define(Options& options) {
  auto request = std::make_shared<ModelSynthRequest>();
  options.add("DIR", request->folder, "Folder for the 303 files").required();
  options.add("--seed", request->seed, "The same seed gives the same bytes")
      .check(negativeFault)
      .showDefault();
  return [request] { return runModelSynth(*request); };
}

}  // namespace

const Verb kModelSynthVerb = {
    "model synth",
    "Write a model of random numbers for tests; it is NOT trained and recognises nobody", define};

}  // namespace facefeature_tools
