#include "verbs/feature_inputs.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "base/failure.h"
#include "face/face_input.h"
#include "gallery/gallery_layout.h"
#include "model/default_model.h"
#include "model/model_fingerprint.h"
#include "model/model_session.h"
#include "verbs/face_options.h"
#include "verbs/verb_extract.h"

namespace facefeature_tools {
namespace {

// Recognised by the first bytes, as in readPhoto(). A feature file may begin with any bytes, but no
// photograph of a face has its size.
bool looksLikePhoto(const std::string& path) {
  std::error_code error;
  if (std::filesystem::file_size(path, error) == kFeatureBytes || error) return false;
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  unsigned char start[2] = {};
  const size_t got = std::fread(start, 1, sizeof start, file);
  std::fclose(file);
  const bool isJpeg = start[0] == 0xFF && start[1] == 0xD8;
  const bool isPng = start[0] == 0x89 && start[1] == 'P';
  const bool isPpm = start[0] == 'P' && start[1] == '6';
  return got == sizeof start && (isJpeg || isPng || isPpm);
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
  for (const std::string& argument : arguments) isPhoto.push_back(looksLikePhoto(argument));
  const auto photos = std::count(isPhoto.begin(), isPhoto.end(), true);
  if (!options.landmarks.empty() && photos != 1) {
    throw Failure(kWrongUsage, options.landmarks,
                  "are landmarks for one photograph, and " + std::to_string(photos) + " are given",
                  "Name one photograph");
  }
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    Source source = {argument, {}, nullptr};
    if (isPhoto[i]) {
      if (!extractor) {
        extractor.emplace(verb, options);
        joinOrigin(argument, extractor->origin());
      }
      try {
        source.feature = extractor->feature(argument);
      } catch (const Failure& failure) {
        if (!options.skipsFailed || failure.code() != kBadInput) throw;
        say(verb, failure.what());
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
