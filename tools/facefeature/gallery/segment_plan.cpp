#include "gallery/segment_plan.h"

#include "gallery/gallery_layout.h"

namespace facefeature_tools {
namespace {

uint64_t aligned(uint64_t offset) {
  return (offset + kFeatureAlignment - 1) / kFeatureAlignment * kFeatureAlignment;
}

void planEnd(uint64_t dataEnd, SegmentPlan& plan) {
  plan.digestsAt = dataEnd;
  plan.digests = (dataEnd - plan.start + kDigestBlock - 1) / kDigestBlock;
  plan.trailerAt = aligned(dataEnd + plan.digests * kDigestBytes);
  plan.end = plan.trailerAt + kRecordBytes;
}

}  // namespace

SegmentPlan planRows(uint64_t start, uint64_t previousTrailer, uint64_t count, uint64_t textBytes) {
  SegmentPlan plan;
  plan.kind = SegmentKind::kRows;
  plan.start = start;
  plan.count = count;
  plan.idsBytes = 8 * (count + 1) + textBytes;
  plan.featuresAt = aligned(start + plan.idsBytes);
  plan.previousTrailer = previousTrailer;
  planEnd(plan.featuresAt + count * kFeatureBytes, plan);
  return plan;
}

SegmentPlan planRemovals(uint64_t start, uint64_t previousTrailer, uint64_t count) {
  SegmentPlan plan;
  plan.kind = SegmentKind::kRemovals;
  plan.start = start;
  plan.count = count;
  plan.previousTrailer = previousTrailer;
  planEnd(start + 8 * count, plan);
  return plan;
}

}  // namespace facefeature_tools
