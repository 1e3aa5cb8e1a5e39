#include "verbs/feature_inputs.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "base/failure.h"
#include "batch/progress.h"
#include "face/face_input.h"
#include "gallery/gallery_layout.h"
#include "model/default_model.h"
#include "model/model_fingerprint.h"
#include "model/model_session.h"
#include "photo/photo.h"
#include "verbs/face_options.h"
#include "verbs/verb_extract.h"

namespace facefeature_tools {
namespace {

// A feature file may begin with any bytes, but no photograph of a face has its size.
bool isPhotographFile(const std::string& path) {
  std::error_code error;
  const auto bytes = std::filesystem::file_size(path, error);
  return !error && bytes != kFeatureBytes && looksLikePhoto(path);
}

// The library with a model, for the photographs of one command.
class Extractor {
 public:
  Extractor(const char* verb, const PhotoOptions& options)
      : verb_(verb), options_(options), session_(chosenModelFolder(options.model)) {}

  GalleryOrigin origin() const { return ownOrigin(modelFingerprint(session_.folder())); }

  FeatureVector feature(const std::string& path) const {
    FaceInput face;
    face.photo = readFacePhoto(verb_, path, options_.exif);
    face.landmarks =
        readFaceLandmarks(verb_, path, face.photo, options_.landmarks, options_.face).file;
    return featureOf(face, session_);
  }

 private:
  const char* verb_;
  const PhotoOptions& options_;
  ModelSession session_;
};

}  // namespace

void addPhotoOptions(Options& verb, PhotoOptions& options) {
  verb.add("--model", options.model, kModelFolderHelp).valueName("DIR");
  verb.add("--landmarks", options.landmarks,
           "JSON file with the landmarks of the one photograph; without it, they are found")
      .valueName("FILE");
  addExif(verb, options.exif);
  addFace(verb, options.face);
}

FeatureInputs::FeatureInputs(const char* verb, const std::vector<std::string>& arguments,
                             const PhotoOptions& options) {
  std::optional<Extractor> extractor;
  std::vector<bool> isPhoto;
  for (const std::string& argument : arguments) isPhoto.push_back(isPhotographFile(argument));
  const auto photos = std::count(isPhoto.begin(), isPhoto.end(), true);
  if (!options.landmarks.empty() && photos != 1) {
    throw Failure(kWrongUsage, options.landmarks,
                  "are landmarks for one photograph, and " + std::to_string(photos) + " are given",
                  "Name one photograph");
  }
  Progress progress(progressFormat("auto"), verb, static_cast<size_t>(photos), 0);
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    Source source = {argument, {}, nullptr};
    if (isPhoto[i]) {
      if (!extractor) {
        extractor.emplace(verb, options);
        joinOrigin(argument, extractor->origin());
      }
      progress.tick();
      try {
        source.feature = extractor->feature(argument);
        progress.succeeded();
      } catch (const Failure& failure) {
        progress.clear();
        if (!options.skipsFailed || failure.code() != kBadInput) throw;
        progress.failed(failure.what());
        ++skipped_;
        continue;
      }
    } else {
      source.features = std::make_unique<const FeatureSource>(argument);
      const Gallery* gallery = source.features->gallery();
      if (gallery != nullptr) joinOrigin(argument, gallery->origin());
    }
    const size_t rows = source.features ? source.features->count() : 1;
    for (size_t row = 0; row < rows; ++row) items_.push_back({sources_.size(), row});
    sources_.push_back(std::move(source));
  }
  progress.clear();
}

void FeatureInputs::joinOrigin(const std::string& argument, const GalleryOrigin& origin) {
  if (!origin_) {
    origin_ = origin;
    originArgument_ = argument;
    return;
  }
  requireOneModel(originArgument_, origin_->model, argument, origin.model);
  origin_ = joinedOrigin(*origin_, origin);
}

std::string FeatureInputs::id(size_t i) const {
  const Source& source = sources_[items_[i].source];
  return source.features ? source.features->id(items_[i].row) : source.argument;
}

FeatureVector FeatureInputs::feature(size_t i) const {
  const Source& source = sources_[items_[i].source];
  return source.features ? source.features->feature(items_[i].row) : source.feature;
}

void requireOneModel(const std::string& a, const Digest& modelOfA, const std::string& b,
                     const Digest& modelOfB) {
  if (modelOfA == modelOfB) return;
  throw Failure(kBadModel, a + ", " + b,
                "are of different models, " + hexText(modelOfA) + " and " + hexText(modelOfB) +
                    ", and their features can't be compared with each other",
                "Extract both with one model");
}

}  // namespace facefeature_tools
