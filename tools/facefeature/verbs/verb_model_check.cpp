#include "verbs/verb_model_check.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "model/default_model.h"
#include "model/folder_ownership.h"
#include "model/model_check.h"
#include "model/model_files.h"

namespace facefeature_tools {
namespace {

// Not an error of the model, so the exit code does not change.
void warnOfOwnership(const std::string& folder) {
  for (const OwnershipWarning& warning : ownershipWarnings(folder, callingUser())) {
    const std::string others =
        warning.others == 0 ? "" : " (and " + std::to_string(warning.others) + " more)";
    say(kModelCheckVerb.name,
        warning.path + others + ": warning: " + warning.warning +
            ". Anyone who can change a model decides which faces match: make it "
            "your own (chown) and close it to others (chmod go-w).");
  }
}

ExitCode runModelCheck(const std::string& folder) {
  const std::string model = chosenModelFolder(folder);
  const std::vector<ModelFault> faults = checkModel(
      model, CheckDepth::kNumbers, kBadModel, "Name the folder with the 303 files of a model");
  for (const ModelFault& fault : faults) {
    const std::filesystem::path path = std::filesystem::path(model) / fault.file;
    say(kModelCheckVerb.name, path.string() + ": " + fault.wrong);
  }
  warnOfOwnership(model);
  const std::string all = std::to_string(modelFiles().size());
  if (faults.empty()) {
    say(kModelCheckVerb.name, model + ": all " + all + " files are correct");
    return kDone;
  }
  say(kModelCheckVerb.name, model + ": " + std::to_string(faults.size()) + " of " + all +
                                " files are wrong. Copy the model again from its source.");
  return kBadModel;
}

VerbRun define(Options& options) {
  auto folder = std::make_shared<std::string>();
  options.add("DIR", *folder, kModelFolderHelp);
  return [folder] { return runModelCheck(*folder); };
}

}  // namespace

const Verb kModelCheckVerb = {"model check", "List the model files that are missing or wrong",
                              define};

}  // namespace facefeature_tools
