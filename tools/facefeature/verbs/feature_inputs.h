// The faces that a user passes to a search or to a gallery.
#ifndef FACEFEATURE_TOOLS_VERBS_FEATURE_INPUTS_H
#define FACEFEATURE_TOOLS_VERBS_FEATURE_INPUTS_H

#include <facefeature/facefeature.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "face/face_photo.h"
#include "gallery/feature_source.h"
#include "gallery/gallery_origin.h"
#include "verbs/options.h"

namespace facefeature_tools {

// How the features of photographs are computed.
struct PhotoOptions {
  std::string model;      // folder; empty: chosenModelFolder() decides
  std::string landmarks;  // of the only photograph; empty: the detector finds them
  ExifRule exif = ExifRule::kIgnore;
  size_t face = 0;
  // Photographs that give no feature are reported and left out; otherwise the first one is an
  // error.
  bool skipsFailed = false;
};

// Adds --model, --landmarks, --exif and --face to a verb. options must outlive the parse.
void addPhotoOptions(Options& verb, PhotoOptions& options);

// The description of such arguments for help texts.
constexpr char kFeatureInputHelp[] =
    "Photograph, feature file, GALLERY for all of its rows, or GALLERY#ID for one";

// Photographs (recognised by their first bytes), and everything that FeatureSource accepts.
class FeatureInputs {
 public:
  // Computes the features of the photographs and reports the progress of many. Messages name the
  // verb. Throws Failure: kBadInput,
  // also for landmarks unless there is exactly one photograph; kBadModel, also if the inputs have
  // different models; kFailed without the library.
  FeatureInputs(const char* verb, const std::vector<std::string>& arguments,
                const PhotoOptions& options);

  // Number of photographs that were left out.
  size_t skipped() const { return skipped_; }

  // REQUIRES: i < count(). The id of a photograph or a feature file is its path as given.
  size_t count() const { return items_.size(); }
  std::string id(size_t i) const;
  // False for features of files and galleries.
  bool isPhotograph(size_t i) const { return !sources_[items_[i].source].features; }
  FeatureVector feature(size_t i) const;

  // The origin of the features, or nothing if all are from feature files, which have none.
  const std::optional<GalleryOrigin>& origin() const { return origin_; }

 private:
  struct Item {
    size_t source;
    size_t row;
  };
  // A photograph with its feature, or a source of features.
  struct Source {
    std::string argument;
    FeatureVector feature;
    std::unique_ptr<const FeatureSource> features;  // null for a photograph
  };

  void joinOrigin(const std::string& argument, const GalleryOrigin& origin);

  std::vector<Source> sources_;
  std::vector<Item> items_;
  size_t skipped_ = 0;
  std::optional<GalleryOrigin> origin_;
  std::string originArgument_;
};

// Throws Failure (kBadModel) if features of two models would be mixed. The message names both.
void requireOneModel(const std::string& a, const Digest& modelOfA, const std::string& b,
                     const Digest& modelOfB);

}  // namespace facefeature_tools

#endif
