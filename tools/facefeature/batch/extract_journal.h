// What an extraction of many photographs has done so far, so that nothing is done twice.
//
// A file beside the gallery to be. Each feature is added when it is there, and is safe from then on
// even when the program is killed. A record that was only half written is told by its check sum.
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
  // Opens the journal at path. An old one is gone on with if resume says so; origin() then names
  // also what made its features.
  //
  // Throws Failure: kWrongUsage when an old one is there and is not to be resumed, kBadModel when
  // it is of another model, kBadInput when it is no journal, kFailed when it can't be written or
  // another process is writing it.
  ExtractJournal(const std::string& path, const GalleryOrigin& origin, bool resume);

  const GalleryOrigin& origin() const { return origin_; }
  // Adds to the origin what made features that are taken over from elsewhere, of the same model.
  void joinOrigin(const GalleryOrigin& other);

  bool holds(const std::string& id) const { return places_.count(id) != 0; }
  size_t count() const { return places_.size(); }

  // id is good by identifierFault() and not held yet. Throws Failure (kFailed).
  void add(const std::string& id, const FeatureVector& feature);

  // Writes a gallery of those of the ids that are held, in their order. Throws Failure (kFailed).
  void writeGallery(const std::string& path, const std::vector<std::string>& ids) const;

  // Removes the file. Ends the object's use.
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
  uint64_t size_ = 0;                                 // of its sound part
  std::unordered_map<std::string, uint64_t> places_;  // where the feature of an id stands
};

}  // namespace facefeature_tools

#endif
