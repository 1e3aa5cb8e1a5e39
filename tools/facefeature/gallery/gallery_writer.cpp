#include <array>

#include "gallery/gallery_file.h"
#include "gallery/gallery_layout.h"

namespace facefeature_tools {
namespace {

SegmentPlan planOf(const std::vector<std::string>& ids) {
  uint64_t textBytes = 0;
  for (const std::string& id : ids) textBytes += id.size();
  return planRows(kFirstSegmentAt, 0, ids.size(), textBytes);
}

void writePage(const GalleryRecord& record, OutputFile& file) {
  std::array<uint8_t, kGalleryPage> page = {};
  std::copy(record.begin(), record.end(), page.begin());
  file.write(page.data(), page.size());
}

}  // namespace

GalleryWriter::GalleryWriter(const std::string& path, const GalleryOrigin& origin,
                             const std::vector<std::string>& ids)
    : file_(path),
      sink_([this](const uint8_t* bytes, size_t count) { file_.write(bytes, count); }),
      segment_(planOf(ids), sink_) {
  const SegmentPlan plan = planOf(ids);
  const GalleryRecord header = headerRecord(origin.model);
  writePage(header, file_);
  GalleryRoot root;
  root.bytes = plan.end;
  root.rows = ids.size();
  root.segments = 1;
  root.lastTrailer = plan.trailerAt;
  root.origin = origin;
  for (size_t copy = 0; copy < kRoots; ++copy) writePage(rootRecord(header, root), file_);
  segment_.putIds(ids);
}

void GalleryWriter::add(const FeatureVector& feature) { segment_.putFeature(feature); }

void GalleryWriter::finish() {
  segment_.finish();
  file_.publish();
}

}  // namespace facefeature_tools
