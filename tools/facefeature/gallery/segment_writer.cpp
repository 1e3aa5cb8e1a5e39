#include "gallery/segment_writer.h"

#include <algorithm>
#include <array>

#include "base/little_endian.h"
#include "gallery/gallery_layout.h"

namespace facefeature_tools {

SegmentWriter::SegmentWriter(const SegmentPlan& plan, const ByteSink& sink)
    : plan_(plan), sink_(sink), offset_(plan.start) {
  block_.reserve(kDigestBlock);
  digests_.reserve(plan.digests * kDigestBytes);
}

void SegmentWriter::putIds(const std::vector<std::string>& ids) {
  uint64_t end = 0;
  putNumber(end);
  for (const std::string& id : ids) putNumber(end += id.size());
  for (const std::string& id : ids) put(reinterpret_cast<const uint8_t*>(id.data()), id.size());
  fillUpTo(plan_.featuresAt);
}

void SegmentWriter::putFeature(const FeatureVector& feature) {
  uint8_t bytes[kFeatureBytes];
  for (size_t i = 0; i < kFeatureFloats; ++i) putFloat(feature.values[i], &bytes[4 * i]);
  put(bytes, sizeof bytes);
}

void SegmentWriter::putRows(const std::vector<uint64_t>& rows) {
  for (const uint64_t row : rows) putNumber(row);
}

void SegmentWriter::finish() {
  if (!block_.empty()) closeBlock();
  std::vector<uint8_t> end = digests_;
  end.resize(plan_.trailerAt - plan_.digestsAt + kRecordBytes);
  uint8_t* const trailer = end.data() + (plan_.trailerAt - plan_.digestsAt);
  std::copy(std::begin(kSegmentMagic), std::end(kSegmentMagic), trailer);
  putWord(static_cast<uint32_t>(plan_.kind), trailer + kTrailerKindAt);
  putWord(kRecordBytes, trailer + kTrailerBytesAt);
  putLongWord(plan_.start, trailer + kTrailerStartAt);
  putLongWord(plan_.count, trailer + kTrailerCountAt);
  putLongWord(plan_.kind == SegmentKind::kRows ? plan_.start : 0, trailer + kTrailerIdsAt);
  putLongWord(plan_.idsBytes, trailer + kTrailerIdsBytesAt);
  putLongWord(plan_.featuresAt, trailer + kTrailerFeaturesAt);
  putLongWord(plan_.digestsAt, trailer + kTrailerDigestsAt);
  putLongWord(plan_.previousTrailer, trailer + kTrailerPreviousAt);
  Sha256 sha;
  sha.add(end.data(), end.size() - kDigestBytes);
  const Digest digest = sha.digest();
  std::copy(digest.begin(), digest.end(), trailer + kDigestAt);
  sink_(end.data(), end.size());
}

void SegmentWriter::put(const uint8_t* bytes, size_t count) {
  while (count > 0) {
    const size_t fitting = std::min(count, kDigestBlock - block_.size());
    block_.insert(block_.end(), bytes, bytes + fitting);
    bytes += fitting;
    count -= fitting;
    offset_ += fitting;
    if (block_.size() == kDigestBlock) closeBlock();
  }
}

void SegmentWriter::putNumber(uint64_t number) {
  uint8_t bytes[8];
  putLongWord(number, bytes);
  put(bytes, sizeof bytes);
}

void SegmentWriter::fillUpTo(uint64_t offset) {
  constexpr std::array<uint8_t, kFeatureAlignment> kZeros = {};
  put(kZeros.data(), offset - offset_);
}

void SegmentWriter::closeBlock() {
  Sha256 sha;
  sha.add(block_.data(), block_.size());
  const Digest digest = sha.digest();
  digests_.insert(digests_.end(), digest.begin(), digest.end());
  sink_(block_.data(), block_.size());
  block_.clear();
}

}  // namespace facefeature_tools
