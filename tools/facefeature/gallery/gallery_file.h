// Galleries: many features with their ids and their origin, in one file that programs map into
// memory. docs/galleries.md describes the format.
#ifndef FACEFEATURE_TOOLS_GALLERY_GALLERY_FILE_H
#define FACEFEATURE_TOOLS_GALLERY_GALLERY_FILE_H

#include <facefeature/facefeature.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/mapped_file.h"
#include "base/output_file.h"
#include "gallery/gallery_origin.h"
#include "gallery/gallery_root.h"
#include "gallery/segment_plan.h"
#include "gallery/segment_writer.h"

namespace facefeature_tools {

// Rows whose features are contiguous in memory.
struct FeatureRun {
  size_t firstRow;
  size_t count;
  const uint8_t* features;  // count x 502 floats of 4 bytes, little-endian
};

// An open gallery; its pages are read when they are accessed. Any thread may read. If another
// process changes the file, this object keeps the state that it has opened.
//
// Rows are numbered from 0 to count() - 1 in the order of the gallery. Removed rows have no number.
class Gallery {
 public:
  // Throws Failure (kBadInput) if the file is not a valid gallery. Validates neither the floats nor
  // the digests of the blocks (gallery_verify.h does the latter).
  explicit Gallery(const std::string& path);

  const std::string& path() const { return path_; }
  uint32_t version() const { return version_; }
  const GalleryOrigin& origin() const { return root_.origin; }
  size_t count() const { return root_.rows; }

  // REQUIRES: row < count(). The text is valid as long as the gallery.
  std::string_view id(size_t row) const;
  FeatureVector feature(size_t row) const;

  // The row of an id, if the gallery has it. Searches all rows.
  std::optional<size_t> find(std::string_view id) const;

  // All rows in order. The pointers are valid as long as the gallery.
  const std::vector<FeatureRun>& runs() const { return runs_; }

  // The parts of the file. Version 1 has one segment without digests.
  const GalleryRoot& root() const { return root_; }
  const std::vector<SegmentPlan>& segments() const { return segments_; }
  size_t removedCount() const { return storedRows_ - root_.rows; }
  const MappedFile& file() const { return *file_; }

  // The number of a row if removed rows are counted, too.
  uint64_t storedRow(size_t row) const;

 private:
  // The rows of one segment.
  struct Part {
    uint64_t firstStored;
    size_t count;
    const uint8_t* idOffsets;
    size_t textBytes;
    const uint8_t* features;
  };
  // The first row of each run.
  struct Location {
    size_t part;
    size_t row;  // within the part
  };

  void readOldHeader();
  bool readNewHeader();
  SegmentPlan readTrailer(uint64_t trailerAt, uint64_t below) const;
  void readSegments();
  void addPart(const SegmentPlan& plan);
  void makeRuns(const std::vector<uint64_t>& removed);
  void checkIds(const Part& part) const;
  Location locate(size_t row) const;
  const uint8_t* bytes() const { return file_->bytes(); }

  std::string path_;
  std::unique_ptr<const MappedFile> file_;
  uint32_t version_ = 0;
  GalleryRoot root_;
  std::vector<SegmentPlan> segments_;
  std::vector<Part> parts_;
  uint64_t storedRows_ = 0;
  std::vector<FeatureRun> runs_;
  std::vector<Location> locations_;
};

// Whether the file begins like a gallery. False if it can't be read.
bool looksLikeGallery(const std::string& path);

// The row of each id. The gallery owns the texts. Throws Failure (kBadInput) if an id occurs twice.
std::unordered_map<std::string_view, size_t> rowsById(const Gallery& gallery);

// Writes a new gallery row by row. An existing file at the path stays until finish().
class GalleryWriter {
 public:
  // REQUIRES: the ids are valid by identifierFault() and all differ. Throws Failure (kFailed).
  GalleryWriter(const std::string& path, const GalleryOrigin& origin,
                const std::vector<std::string>& ids);

  // The feature of the next id. Throws Failure (kFailed).
  void add(const FeatureVector& feature);

  // REQUIRES: as many features as ids were added. Throws Failure (kFailed).
  void finish();

 private:
  OutputFile file_;
  ByteSink sink_;
  SegmentWriter segment_;
};

// Throws Failure (kBadModel) that names both galleries if their models differ. A score between
// features of two models is meaningless.
void requireSameModel(const Gallery& a, const Gallery& b);

}  // namespace facefeature_tools

#endif
