#include "verbs/verb_model_fingerprint.h"

#include <memory>
#include <string>

#include "base/standard_output.h"
#include "model/default_model.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {
namespace {

ExitCode printFingerprint(const std::string& folder) {
  printData(hexText(modelFingerprint(chosenModelFolder(folder))) + "\n");
  finishData();
  return kDone;
}

VerbRun define(Options& options) {
  auto folder = std::make_shared<std::string>();
  options.add("DIR", *folder, kModelFolderHelp);
  return [folder] { return printFingerprint(*folder); };
}

}  // namespace

const Verb kModelFingerprintVerb = {
    "model fingerprint", "Print the fingerprint of a model, as galleries record it", define};

}  // namespace facefeature_tools
