#include "gallery/gallery_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/failure.h"
#include "base/identifier.h"
#include "base/little_endian.h"
#include "gallery/gallery_layout.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {
namespace {

constexpr char kRemedy[] = "Make galleries with \"facefeature extract --list\"";

Failure notSound(const std::string& path, const std::string& wrong) {
  return Failure(kBadInput, path, wrong, kRemedy);
}

std::string originText(const uint8_t* field) {
  const char* text = reinterpret_cast<const char*>(field);
  return std::string(text, std::find(text, text + kOriginTextBytes, '\0'));
}

bool hasMagic(const uint8_t* bytes) {
  return std::memcmp(bytes, kGalleryMagic, sizeof kGalleryMagic) == 0;
}

}  // namespace

Gallery::Gallery(const std::string& path) : path_(path), file_(path, kRemedy) {
  readHeader();
  checkIds();
}

void Gallery::readHeader() {
  const uint8_t* header = file_.bytes();
  const uint64_t size = file_.size();
  if (size < sizeof kGalleryMagic || !hasMagic(header)) throw notSound(path_, "is no gallery");
  if (size < kGalleryHeaderBytes) throw notSound(path_, "is cut short within its header");
  const uint32_t version = getWord(header + kVersionAt);
  if (version != kGalleryVersion) {
    throw notSound(path_, "is a gallery of version " + std::to_string(version) +
                              ", and this program reads version 1 only");
  }
  if (getWord(header + kHeaderBytesAt) != kGalleryHeaderBytes ||
      getWord(header + kFeatureFloatsAt) != kFeatureFloats) {
    throw notSound(path_, "has a header of wrong numbers");
  }
  const uint64_t count = getLongWord(header + kCountAt);
  const uint64_t ids = getLongWord(header + kIdsOffsetAt);
  const uint64_t idsBytes = getLongWord(header + kIdsBytesAt);
  const uint64_t features = getLongWord(header + kFeaturesOffsetAt);
  // Each number is bounded by the size before it is multiplied or added, so that none wraps round.
  const bool sound = count < size / 8 && ids >= kGalleryHeaderBytes && ids <= size &&
                     ids % 8 == 0 && idsBytes <= size - ids && idsBytes >= 8 * (count + 1) &&
                     features >= ids + idsBytes && features % kFeatureAlignment == 0 &&
                     features <= size && (size - features) % kFeatureBytes == 0 &&
                     (size - features) / kFeatureBytes == count;
  if (!sound) throw notSound(path_, "is cut short, too long, or has a header of wrong numbers");

  std::copy_n(header + kModelAt, origin_.model.size(), origin_.model.begin());
  origin_.libraryVersion = originText(header + kLibraryVersionAt);
  origin_.blasCore = originText(header + kBlasCoreAt);
  count_ = count;
  idOffsets_ = header + ids;
  idText_ = reinterpret_cast<const char*>(idOffsets_ + 8 * (count + 1));
  idTextBytes_ = idsBytes - 8 * (count + 1);
  features_ = header + features;
}

void Gallery::checkIds() {
  uint64_t start = getLongWord(idOffsets_);
  bool sound = start == 0;
  for (size_t row = 0; row < count_ && sound; ++row) {
    const uint64_t end = getLongWord(idOffsets_ + 8 * (row + 1));
    sound = end >= start && end <= idTextBytes_ && identifierFault(id(row)).empty();
    start = end;
  }
  if (!sound || start != idTextBytes_) throw notSound(path_, "has damaged ids");
}

std::string_view Gallery::id(size_t row) const {
  const uint64_t start = getLongWord(idOffsets_ + 8 * row);
  const uint64_t end = getLongWord(idOffsets_ + 8 * (row + 1));
  return std::string_view(idText_ + start, end - start);
}

FeatureVector Gallery::feature(size_t row) const {
  const uint8_t* bytes = features_ + row * kFeatureBytes;
  FeatureVector feature;
  for (size_t i = 0; i < kFeatureFloats; ++i) feature.values[i] = getFloat(bytes + 4 * i);
  return feature;
}

std::optional<size_t> Gallery::find(std::string_view wanted) const {
  for (size_t row = 0; row < count_; ++row) {
    if (id(row) == wanted) return row;
  }
  return std::nullopt;
}

bool looksLikeGallery(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return false;
  uint8_t bytes[sizeof kGalleryMagic];
  const size_t got = std::fread(bytes, 1, sizeof bytes, file);
  std::fclose(file);
  return got == sizeof bytes && hasMagic(bytes);
}

void requireSameModel(const Gallery& a, const Gallery& b) {
  if (a.origin().model == b.origin().model) return;
  throw Failure(kBadModel, a.path() + ", " + b.path(),
                "are of different models, " + hexText(a.origin().model) + " and " +
                    hexText(b.origin().model) + ", and their features have nothing to do with " +
                    "each other",
                "Extract both with one model");
}

}  // namespace facefeature_tools
