#include <algorithm>
#include <array>

#include "base/little_endian.h"
#include "gallery/gallery_file.h"
#include "gallery/gallery_layout.h"

namespace facefeature_tools {
namespace {

void putText(const std::string& text, uint8_t* field) {
  std::copy_n(text.begin(), std::min(text.size(), kOriginTextBytes), field);
}

}  // namespace

GalleryWriter::GalleryWriter(const std::string& path, const GalleryOrigin& origin,
                             const std::vector<std::string>& ids)
    : file_(path) {
  uint64_t idsBytes = 8 * (ids.size() + 1);
  for (const std::string& id : ids) idsBytes += id.size();
  const uint64_t idsEnd = kGalleryHeaderBytes + idsBytes;
  const uint64_t padding = (kFeatureAlignment - idsEnd % kFeatureAlignment) % kFeatureAlignment;

  std::array<uint8_t, kGalleryHeaderBytes> header = {};
  std::copy(std::begin(kGalleryMagic), std::end(kGalleryMagic), header.begin());
  putWord(kGalleryVersion, &header[kVersionAt]);
  putWord(kGalleryHeaderBytes, &header[kHeaderBytesAt]);
  putLongWord(ids.size(), &header[kCountAt]);
  putWord(kFeatureFloats, &header[kFeatureFloatsAt]);
  std::copy(origin.model.begin(), origin.model.end(), &header[kModelAt]);
  putText(origin.libraryVersion, &header[kLibraryVersionAt]);
  putText(origin.blasCore, &header[kBlasCoreAt]);
  putLongWord(kGalleryHeaderBytes, &header[kIdsOffsetAt]);
  putLongWord(idsBytes, &header[kIdsBytesAt]);
  putLongWord(idsEnd + padding, &header[kFeaturesOffsetAt]);
  file_.write(header.data(), header.size());

  std::array<uint8_t, 8> offsetBytes;
  uint64_t offset = 0;
  putLongWord(offset, offsetBytes.data());
  file_.write(offsetBytes.data(), offsetBytes.size());
  for (const std::string& id : ids) {
    offset += id.size();
    putLongWord(offset, offsetBytes.data());
    file_.write(offsetBytes.data(), offsetBytes.size());
  }
  for (const std::string& id : ids) file_.write(id);
  file_.write(std::string(padding, '\0'));
}

void GalleryWriter::add(const FeatureVector& feature) {
  std::array<uint8_t, kFeatureBytes> bytes;
  for (size_t i = 0; i < kFeatureFloats; ++i) putFloat(feature.values[i], &bytes[4 * i]);
  file_.write(bytes.data(), bytes.size());
}

void GalleryWriter::finish() { file_.publish(); }

}  // namespace facefeature_tools
