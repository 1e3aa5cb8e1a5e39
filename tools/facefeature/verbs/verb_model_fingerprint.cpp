#include "verbs/verb_model_fingerprint.h"

#include "base/standard_output.h"
#include "model/default_model.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {

ExitCode runModelFingerprint(const ModelFingerprintRequest& request) {
  printData(hexText(modelFingerprint(chosenModelFolder(request.folder))) + "\n");
  finishData();
  return kDone;
}

}  // namespace facefeature_tools
