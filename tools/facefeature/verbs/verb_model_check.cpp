#include "verbs/verb_model_check.h"

#include <filesystem>
#include <vector>

#include "model/default_model.h"
#include "model/folder_ownership.h"
#include "model/model_check.h"
#include "model/model_files.h"

namespace facefeature_tools {
namespace {

// No fault of the model, so that the exit code does not tell of it.
void warnOfOwnership(const std::string& folder) {
  for (const OwnershipDoubt& doubt : ownershipDoubts(folder, callingUser())) {
    const std::string others =
        doubt.others == 0 ? "" : " (and " + std::to_string(doubt.others) + " more)";
    say(kModelCheckVerb, doubt.path + others + ": warning: " + doubt.doubt +
                             ". Who can change a model decides which faces are alike: make it "
                             "your own (chown) and close it to others (chmod go-w).");
  }
}

}  // namespace

ExitCode runModelCheck(const ModelCheckRequest& request) {
  const std::string model = chosenModelFolder(request.folder);
  const std::vector<ModelFault> faults = checkModel(
      model, CheckDepth::kNumbers, kBadModel, "Name the folder with the 303 files of a model");
  for (const ModelFault& fault : faults) {
    const std::filesystem::path path = std::filesystem::path(model) / fault.file;
    say(kModelCheckVerb, path.string() + ": " + fault.wrong);
  }
  warnOfOwnership(model);
  const std::string all = std::to_string(modelFiles().size());
  if (faults.empty()) {
    say(kModelCheckVerb, model + ": all " + all + " files are as they should be");
    return kDone;
  }
  say(kModelCheckVerb, model + ": " + std::to_string(faults.size()) + " of " + all +
                           " files are wrong. Copy the model anew from where it came from.");
  return kBadModel;
}

}  // namespace facefeature_tools
