// Writes one segment of a gallery from front to back, with a digest of every block.
#ifndef FACEFEATURE_TOOLS_GALLERY_SEGMENT_WRITER_H
#define FACEFEATURE_TOOLS_GALLERY_SEGMENT_WRITER_H

#include <facefeature/facefeature.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/sha256.h"
#include "gallery/segment_plan.h"

namespace facefeature_tools {

// Receives the next bytes of a file. Throws what its owner throws for a full disk.
using ByteSink = std::function<void(const uint8_t* bytes, size_t count)>;

// REQUIRES: the calls write exactly the counts of the plan. Passes on exceptions of the sink.
class SegmentWriter {
 public:
  // The sink receives the bytes of the segment in order. It must outlive the writer.
  SegmentWriter(const SegmentPlan& plan, const ByteSink& sink);

  // All ids of a segment of rows, before its features.
  void putIds(const std::vector<std::string>& ids);
  void putFeature(const FeatureVector& feature);

  // The rows of a segment of removals, in ascending order.
  void putRows(const std::vector<uint64_t>& rows);

  // Writes the digests and the trailer. The writer must not be used afterwards.
  void finish();

 private:
  void put(const uint8_t* bytes, size_t count);
  void putNumber(uint64_t number);
  void fillUpTo(uint64_t offset);
  void closeBlock();

  SegmentPlan plan_;
  const ByteSink& sink_;
  uint64_t offset_;             // of the next byte, in the file
  std::vector<uint8_t> block_;  // bytes of the current block
  std::vector<uint8_t> digests_;
};

}  // namespace facefeature_tools

#endif
