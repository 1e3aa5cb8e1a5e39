#include "model/model_session.h"

#include <vector>

#include "base/failure.h"
#include "model/model_check.h"
#include "model/model_link.h"

namespace facefeature_tools {
namespace {

constexpr size_t kFaultsNamed = 10;

}  // namespace

void requireModel(const std::string& folder) {
  const std::string remedy =
      "Put the 303 files there or name their folder with --model; "
      "\"facefeature model check\" lists all errors of a folder";
  const std::vector<ModelFault> faults = checkModel(folder, CheckDepth::kShapes, kBadModel, remedy);
  if (faults.empty()) return;
  std::string list;
  for (size_t i = 0; i < faults.size() && i < kFaultsNamed; ++i) {
    list += (i == 0 ? "" : "; ") + faults[i].file + " " + faults[i].wrong;
  }
  if (faults.size() > kFaultsNamed) {
    list += "; and " + std::to_string(faults.size() - kFaultsNamed) + " more files";
  }
  throw Failure(kBadModel, folder, "the model is missing or incomplete: " + list, remedy);
}

Engine::Engine(const LoadedLibrary& library, const std::string& model)
    : library_(library), engine_(library.createFeatureEngine()) {
  if (engine_ != nullptr) return;
  throw Failure(kBadModel, model, "the library could not open the model",
                "Check it with \"facefeature model check\"");
}

Engine::~Engine() { library_.destroyFeatureEngine(engine_); }

ModelSession::ModelSession(const std::string& folder) : folder_(folder) {
  requireModel(folder);
  // The library no longer needs its files once the engine exists.
  std::optional<ModelLink> link;
  if (folder != libraryModelFolder()) link.emplace(folder);
  library_.emplace();
  engine_.emplace(*library_, folder);
}

}  // namespace facefeature_tools
