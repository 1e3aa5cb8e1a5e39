#include "gallery/gallery_root.h"

#include <algorithm>

#include "base/little_endian.h"
#include "base/sha256.h"

namespace facefeature_tools {
namespace {

Digest rootDigest(const uint8_t* header, const uint8_t* root) {
  Sha256 sha;
  sha.add(header, kRecordBytes);
  sha.add(root, kDigestAt);
  return sha.digest();
}

}  // namespace

GalleryRecord headerRecord(const Digest& model) {
  GalleryRecord header = {};
  std::copy(std::begin(kGalleryMagic), std::end(kGalleryMagic), header.begin());
  putWord(kGalleryVersion, &header[kVersionAt]);
  putWord(kFirstSegmentAt, &header[kHeaderBytesAt]);
  putWord(kFeatureFloats, &header[kFeatureFloatsAt]);
  std::copy(model.begin(), model.end(), &header[kModelAt]);
  return header;
}

GalleryRecord rootRecord(const GalleryRecord& header, const GalleryRoot& root) {
  GalleryRecord record = {};
  putLongWord(root.sequence, &record[kRootSequenceAt]);
  putLongWord(root.bytes, &record[kRootBytesAt]);
  putLongWord(root.rows, &record[kRootRowsAt]);
  putLongWord(root.segments, &record[kRootSegmentsAt]);
  putLongWord(root.lastTrailer, &record[kRootTrailerAt]);
  putOriginText(root.origin.libraryVersion, &record[kRootLibraryVersionAt]);
  putOriginText(root.origin.blasCore, &record[kRootBlasCoreAt]);
  const Digest digest = rootDigest(header.data(), record.data());
  std::copy(digest.begin(), digest.end(), &record[kDigestAt]);
  return record;
}

std::optional<GalleryRoot> readRoot(const uint8_t* file, size_t copy) {
  const uint8_t* record = file + rootAt(copy);
  const Digest digest = rootDigest(file, record);
  if (!std::equal(digest.begin(), digest.end(), record + kDigestAt)) return std::nullopt;
  GalleryRoot root;
  root.sequence = getLongWord(record + kRootSequenceAt);
  root.bytes = getLongWord(record + kRootBytesAt);
  root.rows = getLongWord(record + kRootRowsAt);
  root.segments = getLongWord(record + kRootSegmentsAt);
  root.lastTrailer = getLongWord(record + kRootTrailerAt);
  std::copy_n(file + kModelAt, root.origin.model.size(), root.origin.model.begin());
  root.origin.libraryVersion = originText(record + kRootLibraryVersionAt);
  root.origin.blasCore = originText(record + kRootBlasCoreAt);
  return root;
}

std::optional<GalleryRoot> newestRoot(const uint8_t* file) {
  const std::optional<GalleryRoot> first = readRoot(file, 0);
  const std::optional<GalleryRoot> second = readRoot(file, 1);
  if (!first || !second) return first ? first : second;
  return second->sequence > first->sequence ? second : first;
}

void putOriginText(const std::string& text, uint8_t* field) {
  std::copy_n(text.begin(), std::min(text.size(), kOriginTextBytes), field);
}

std::string originText(const uint8_t* field) {
  const char* text = reinterpret_cast<const char*>(field);
  return std::string(text, std::find(text, text + kOriginTextBytes, '\0'));
}

}  // namespace facefeature_tools
