// Computes the offsets of a segment's parts from its start and its counts.
#ifndef FACEFEATURE_TOOLS_GALLERY_SEGMENT_PLAN_H
#define FACEFEATURE_TOOLS_GALLERY_SEGMENT_PLAN_H

#include <cstddef>
#include <cstdint>

namespace facefeature_tools {

enum class SegmentKind : uint32_t {
  kRows = 1,     // adds rows at the end of the gallery
  kRemovals = 2  // removes rows; they stay in the file until the gallery is compacted
};

// Offsets are from the start of the file. A segment starts and ends at a multiple of 64.
struct SegmentPlan {
  SegmentKind kind = SegmentKind::kRows;
  uint64_t start = 0;
  uint64_t count = 0;       // rows added or removed
  uint64_t idsBytes = 0;    // of a segment of rows: offsets and text. Starts at start.
  uint64_t featuresAt = 0;  // of a segment of rows; else 0
  uint64_t digestsAt = 0;   // end of the data
  uint64_t digests = 0;
  uint64_t trailerAt = 0;
  uint64_t end = 0;
  uint64_t previousTrailer = 0;  // 0 for the first segment
};

// textBytes is the total length of all ids.
SegmentPlan planRows(uint64_t start, uint64_t previousTrailer, uint64_t count, uint64_t textBytes);
SegmentPlan planRemovals(uint64_t start, uint64_t previousTrailer, uint64_t count);

}  // namespace facefeature_tools

#endif
