// Galleries: many features with their ids and where they come from, in one file that programs map
// into memory. docs/galleries.md describes every byte.
#ifndef FACEFEATURE_TOOLS_GALLERY_GALLERY_FILE_H
#define FACEFEATURE_TOOLS_GALLERY_GALLERY_FILE_H

#include <facefeature/facefeature.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/mapped_file.h"
#include "base/output_file.h"
#include "gallery/gallery_origin.h"

namespace facefeature_tools {

// A whole gallery, read where it is touched. Any thread may read.
class Gallery {
 public:
  // Throws Failure (kBadInput) for a file that is no sound gallery. The floats are not judged.
  explicit Gallery(const std::string& path);

  const std::string& path() const { return path_; }
  const GalleryOrigin& origin() const { return origin_; }
  size_t count() const { return count_; }

  // row is below count(). The text lives as long as the gallery.
  std::string_view id(size_t row) const;
  FeatureVector feature(size_t row) const;

  // The row of an id, if it is there.
  std::optional<size_t> find(std::string_view id) const;

 private:
  void readHeader();
  void checkIds();

  std::string path_;
  MappedFile file_;
  GalleryOrigin origin_;
  size_t count_ = 0;
  const uint8_t* idOffsets_ = nullptr;
  const char* idText_ = nullptr;
  size_t idTextBytes_ = 0;
  const uint8_t* features_ = nullptr;
};

// Does the file begin as a gallery does? False for a file that can't be read.
bool looksLikeGallery(const std::string& path);

// Writes a gallery row by row. Until finish() the path keeps what it held.
class GalleryWriter {
 public:
  // The ids are good by identifierFault() and differ. Throws Failure (kFailed).
  GalleryWriter(const std::string& path, const GalleryOrigin& origin,
                const std::vector<std::string>& ids);

  // The feature of the next id. Throws Failure (kFailed).
  void add(const FeatureVector& feature);

  // After exactly as many features as ids. Throws Failure (kFailed).
  void finish();

 private:
  OutputFile file_;
};

// Features of different models have nothing to do with each other, though a score comes out.
// Throws Failure (kBadModel) that names both.
void requireSameModel(const Gallery& a, const Gallery& b);

}  // namespace facefeature_tools

#endif
