#include "verb_model_fingerprint.h"

#include "default_model.h"
#include "model_fingerprint.h"
#include "standard_output.h"

namespace facefeature_tools {

ExitCode runModelFingerprint(const ModelFingerprintRequest& request) {
  printData(hexText(modelFingerprint(chosenModelFolder(request.folder))) + "\n");
  finishData();
  return kDone;
}

}  // namespace facefeature_tools
