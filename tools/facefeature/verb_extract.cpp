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

constexpr int32_t kSmallestSide = 2;
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

void warnOfAnotherPicture(const ExtractRequest& request, const LandmarkFile& file,
                          const Photo& photo) {
  const bool sameWidth = !file.width || *file.width == photo.width;
  const bool sameHeight = !file.height || *file.height == photo.height;
  if (sameWidth && sameHeight) return;
  const auto text = [](const std::optional<int64_t>& side) {
    return side ? std::to_string(*side) : std::string("?");
  };
  say(kExtractVerb, request.landmarks + ": warning: the landmarks are for a picture of " +
                        text(file.width) + " x " + text(file.height) + " pixels, but " +
                        request.photo + " has " + std::to_string(photo.width) + " x " +
                        std::to_string(photo.height) +
                        ". Use the landmarks of this very file; a turn told by its Exif data is "
                        "not carried out.");
}

Photo readPhotoOfAFace(const ExtractRequest& request) {
  Photo photo = readPhoto(request.photo);
  if (photo.width < kSmallestSide || photo.height < kSmallestSide) {
    throw Failure(kBadInput, request.photo,
                  "has only " + std::to_string(photo.width) + " x " + std::to_string(photo.height) +
                      " pixels",
                  "Give a picture of at least 2 x 2 pixels");
  }
  return photo;
}

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
  const LandmarkFile file = readLandmarkFile(request.landmarks);
  const Photo photo = readPhotoOfAFace(request);
  warnOfAnotherPicture(request, file, photo);
  if (!file.doubt.empty()) {
    say(kExtractVerb, request.landmarks +
                          ": warning: no full record of 29 landmarks: " + file.doubt +
                          ". The feature compares only with features of such records.");
  }

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

  const LandmarkRecord record = makeRecord(file.landmarks);
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
