// Resolves a user's name for features: a feature file, a gallery, or one row of a gallery.
#ifndef FACEFEATURE_TOOLS_GALLERY_FEATURE_SOURCE_H
#define FACEFEATURE_TOOLS_GALLERY_FEATURE_SOURCE_H

#include <facefeature/facefeature.h>

#include <memory>
#include <optional>
#include <string>

#include "gallery/gallery_file.h"

namespace facefeature_tools {

class FeatureSource {
 public:
  // argument names a feature file, a gallery, or GALLERY#ID. A file with this whole name takes
  // precedence, so that names and ids may contain the sign themselves. Throws Failure (kBadInput).
  explicit FeatureSource(const std::string& argument);

  // Null for a feature file, which does not name its model.
  const Gallery* gallery() const { return gallery_.get(); }
  bool isWholeGallery() const { return gallery_ && !row_; }

  // REQUIRES: i < count(). The id of a feature file is its path.
  size_t count() const { return isWholeGallery() ? gallery_->count() : 1; }
  std::string id(size_t i) const;
  FeatureVector feature(size_t i) const;

 private:
  void openRow(const std::string& path, const std::string& id);

  std::string argument_;
  std::unique_ptr<const Gallery> gallery_;
  std::optional<size_t> row_;
  FeatureVector single_ = {};
};

}  // namespace facefeature_tools

#endif
