#include "gallery/gallery_change.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "base/update_file.h"
#include "gallery/gallery_layout.h"

namespace facefeature_tools {
namespace {

// Appends data after the bytes to which the current root refers.
class Appender {
 public:
  Appender(const Gallery& gallery, UpdateFile& file)
      : gallery_(gallery),
        root_(gallery.root()),
        sink_([this, &file](const uint8_t* bytes, size_t count) {
          file.write(offset_, bytes, count);
          offset_ += count;
        }),
        offset_(root_.bytes) {}

  void remove(const std::vector<size_t>& rows) {
    std::vector<uint64_t> stored;
    for (const size_t row : rows) stored.push_back(gallery_.storedRow(row));
    std::sort(stored.begin(), stored.end());
    const SegmentPlan plan = planRemovals(root_.bytes, root_.lastTrailer, stored.size());
    SegmentWriter writer(plan, sink_);
    writer.putRows(stored);
    writer.finish();
    account(plan);
    root_.rows -= rows.size();
  }

  void add(const NewRows& added) {
    uint64_t textBytes = 0;
    for (const std::string& id : added.ids) textBytes += id.size();
    const SegmentPlan plan = planRows(root_.bytes, root_.lastTrailer, added.ids.size(), textBytes);
    SegmentWriter writer(plan, sink_);
    writer.putIds(added.ids);
    for (size_t i = 0; i < added.ids.size(); ++i) writer.putFeature(added.feature(i));
    writer.finish();
    account(plan);
    root_.rows += added.ids.size();
    root_.origin = joinedOrigin(root_.origin, added.origin);
  }

  // The root of the gallery including everything that was appended.
  GalleryRoot root() const {
    GalleryRoot root = root_;
    ++root.sequence;
    return root;
  }

 private:
  void account(const SegmentPlan& plan) {
    root_.bytes = plan.end;
    root_.lastTrailer = plan.trailerAt;
    ++root_.segments;
  }

  const Gallery& gallery_;
  GalleryRoot root_;
  ByteSink sink_;
  uint64_t offset_;
};

// The copy without the current root, or either one if both have it. It is overwritten first: until
// that write is complete, the other copy still has the current root.
size_t staleCopy(const Gallery& gallery) {
  const std::optional<GalleryRoot> first = readRoot(gallery.file().bytes(), 0);
  return first && first->sequence == gallery.root().sequence ? 1 : 0;
}

}  // namespace

void changeGallery(Gallery gallery, const std::vector<size_t>& removed, const NewRows& added) {
  if (gallery.version() != kGalleryVersion) {
    rewriteGallery(std::move(gallery), removed, added);
    return;
  }
  if (removed.empty() && added.ids.empty()) return;
  const size_t stale = staleCopy(gallery);
  UpdateFile file(gallery.path());
  // Left over from a killed process.
  file.cutAt(gallery.root().bytes);
  Appender appender(gallery, file);
  if (!removed.empty()) appender.remove(removed);
  if (!added.ids.empty()) appender.add(added);
  file.sync();
  const GalleryRecord record = rootRecord(headerRecord(gallery.origin().model), appender.root());
  for (const size_t copy : {stale, 1 - stale}) {
    file.write(rootAt(copy), record.data(), record.size());
    file.sync();
  }
}

void rewriteGallery(Gallery gallery, const std::vector<size_t>& removed, const NewRows& added) {
  std::optional<const Gallery> old(std::move(gallery));
  std::vector<bool> stays(old->count(), true);
  for (const size_t row : removed) stays[row] = false;
  std::vector<std::string> ids;
  for (size_t row = 0; row < old->count(); ++row) {
    if (stays[row]) ids.emplace_back(old->id(row));
  }
  ids.insert(ids.end(), added.ids.begin(), added.ids.end());
  const GalleryOrigin origin =
      added.ids.empty() ? old->origin() : joinedOrigin(old->origin(), added.origin);
  GalleryWriter writer(old->path(), origin, ids);
  for (size_t row = 0; row < old->count(); ++row) {
    if (stays[row]) writer.add(old->feature(row));
  }
  for (size_t i = 0; i < added.ids.size(); ++i) writer.add(added.feature(i));
  // Windows does not replace a file that is mapped.
  old.reset();
  writer.finish();
}

}  // namespace facefeature_tools
