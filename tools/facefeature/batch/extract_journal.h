// Records the progress of an extraction of many photographs, so that nothing is done twice.
//
// A file beside the future gallery. Each feature is appended when it is computed, and is safe from
// then on even if the program is killed. A checksum detects a half-written record.
#ifndef FACEFEATURE_TOOLS_BATCH_EXTRACT_JOURNAL_H
#define FACEFEATURE_TOOLS_BATCH_EXTRACT_JOURNAL_H

#include <facefeature/facefeature.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "gallery/gallery_origin.h"

namespace facefeature_tools {

class ExtractJournal {
 public:
  // Opens the journal at path. If resume is true, an existing journal is continued, and origin()
  // includes the origin of its features.
  //
  // Throws Failure: kWrongUsage if one exists and is not to be resumed, kBadModel if it belongs to
  // another model, kBadInput if it is not a journal, kFailed if it can't be written or another
  // process is writing it.
  ExtractJournal(const std::string& path, const GalleryOrigin& origin, bool resume);

  const GalleryOrigin& origin() const { return origin_; }
  // Adds the origin of features of the same model that are taken over from elsewhere.
  void joinOrigin(const GalleryOrigin& other);

  bool holds(const std::string& id) const { return offsets_.count(id) != 0; }
  size_t count() const { return offsets_.size(); }

  // id is valid by identifierFault() and not in the journal yet. Throws Failure (kFailed).
  void add(const std::string& id, const FeatureVector& feature);

  // Writes a gallery of those ids that are in the journal, in their order. Throws Failure
  // (kFailed).
  void writeGallery(const std::string& path, const std::vector<std::string>& ids) const;

  // Removes the file. The object must not be used afterwards.
  void remove();

 private:
  struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  void open(bool resume);
  void readOld();
  void writeHeader();

  std::string path_;
  GalleryOrigin origin_;
  std::unique_ptr<std::FILE, Closer> file_;
  uint64_t size_ = 0;                                  // of its valid part
  std::unordered_map<std::string, uint64_t> offsets_;  // offset of the feature of each id
};

}  // namespace facefeature_tools

#endif
