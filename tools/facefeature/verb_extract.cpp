#include "verb_extract.h"

#include <cmath>
#include <optional>
#include <vector>

#include "feature_file.h"
#include "landmark_file.h"
#include "library_loader.h"
#include "model_check.h"
#include "model_link.h"
#include "photo.h"

namespace facefeature_tools {
namespace {

constexpr size_t kFaultsNamed = 10;

class Engine {
 public:
  explicit Engine(const LoadedLibrary& library)
      : library_(library), engine_(library.createFeatureEngine()) {}
  ~Engine() { library_.destroyFeatureEngine(engine_); }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  FeatureEngine* get() const { return engine_; }

 private:
  const LoadedLibrary& library_;
  FeatureEngine* engine_;
};

// Ahead of the library, which says nothing of a short file and ends the process where weights are
// missing.
void requireModel(const std::string& folder) {
  const std::string remedy =
      "Put the 303 files there or name their folder with --model; "
      "\"facefeature model check\" tells all that is wrong with a folder";
  const std::vector<ModelFault> faults = checkModel(folder, CheckDepth::kShapes, kBadModel, remedy);
  if (faults.empty()) return;
  std::string list;
  for (size_t i = 0; i < faults.size() && i < kFaultsNamed; ++i) {
    list += (i == 0 ? "" : "; ") + faults[i].file + " " + faults[i].wrong;
  }
  if (faults.size() > kFaultsNamed) {
    list += "; and " + std::to_string(faults.size() - kFaultsNamed) + " files more";
  }
  throw Failure(kBadModel, folder, "the model is missing or incomplete: " + list, remedy);
}

}  // namespace

ExitCode runExtract(const ExtractRequest& request) {
  const Photo photo = readFacePhoto(kExtractVerb, request.photo, request.exif);
  const FaceLandmarks face =
      readFaceLandmarks(kExtractVerb, request.photo, photo, request.landmarks, request.face);

  const std::string model = request.model.empty() ? defaultModelFolder() : request.model;
  requireModel(model);
  std::optional<ModelLink> link;
  if (!request.model.empty()) link.emplace(request.model);

  const LoadedLibrary library;
  const Engine engine(library);
  // The library needs its files no longer.
  link.reset();
  if (engine.get() == nullptr) {
    throw Failure(kBadModel, model, "the library could not open the model",
                  "Check it with \"facefeature model check\"");
  }

  const LandmarkRecord record = makeRecord(face.file.landmarks);
  FeatureVector feature;
  library.extractFeature(engine.get(), photo.pixels.data(), photo.width, photo.height,
                         photo.stride(), record.get(), feature.values);
  if (std::isnan(feature.values[kFeatureFloats - 1])) {
    throw Failure(kBadModel, model, "the feature is not a number",
                  "Check the numbers of the model with \"facefeature model check\"");
  }
  writeFeatureFile(request.feature, feature);
  return kDone;
}

}  // namespace facefeature_tools
