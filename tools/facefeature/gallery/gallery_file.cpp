#include "gallery/gallery_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

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

Failure wrongNumbers(const std::string& path) {
  return notSound(path, "is cut short, too long, or has a header with wrong numbers");
}

bool hasMagic(const uint8_t* bytes) {
  return std::memcmp(bytes, kGalleryMagic, sizeof kGalleryMagic) == 0;
}

}  // namespace

Gallery::Gallery(const std::string& path) : path_(path) {
  // A writer may extend the file between the mapping and the reading of the root, which then
  // reaches beyond the mapping. The next mapping contains it.
  constexpr int kMaxTries = 100;
  for (int tries = 1;; ++tries) {
    file_ = std::make_unique<const MappedFile>(path, kRemedy);
    if (file_->size() < sizeof kGalleryMagic || !hasMagic(bytes())) {
      throw notSound(path_, "is not a gallery");
    }
    if (file_->size() < kOldHeaderBytes) throw notSound(path_, "is cut short within its header");
    version_ = getWord(bytes() + kVersionAt);
    if (version_ == kOldGalleryVersion) {
      readOldHeader();
      return;
    }
    if (version_ != kGalleryVersion) {
      throw notSound(path_, "is a gallery of version " + std::to_string(version_) +
                                ", and this program reads versions 1 and 2");
    }
    if (readNewHeader()) break;
    if (tries == kMaxTries) throw notSound(path_, "is cut short");
  }
  readSegments();
}

void Gallery::readOldHeader() {
  const uint8_t* header = bytes();
  const uint64_t size = file_->size();
  if (getWord(header + kHeaderBytesAt) != kOldHeaderBytes ||
      getWord(header + kFeatureFloatsAt) != kFeatureFloats) {
    throw notSound(path_, "has a header with wrong numbers");
  }
  const uint64_t count = getLongWord(header + kCountAt);
  const uint64_t ids = getLongWord(header + kIdsOffsetAt);
  const uint64_t idsBytes = getLongWord(header + kIdsBytesAt);
  const uint64_t features = getLongWord(header + kFeaturesOffsetAt);
  // Each number is checked against the size before it is multiplied or added, so that none
  // overflows.
  const bool sound = count < size / 8 && ids >= kOldHeaderBytes && ids <= size && ids % 8 == 0 &&
                     idsBytes <= size - ids && idsBytes >= 8 * (count + 1) &&
                     features >= ids + idsBytes && features % kFeatureAlignment == 0 &&
                     features <= size && (size - features) % kFeatureBytes == 0 &&
                     (size - features) / kFeatureBytes == count;
  if (!sound) throw wrongNumbers(path_);

  root_.bytes = size;
  root_.rows = count;
  root_.segments = 1;
  std::copy_n(header + kModelAt, root_.origin.model.size(), root_.origin.model.begin());
  root_.origin.libraryVersion = originText(header + kLibraryVersionAt);
  root_.origin.blasCore = originText(header + kBlasCoreAt);
  SegmentPlan plan;
  plan.start = ids;
  plan.count = count;
  plan.idsBytes = idsBytes;
  plan.featuresAt = features;
  plan.digestsAt = plan.trailerAt = plan.end = size;
  segments_.push_back(plan);
  addPart(plan);
  makeRuns({});
}

bool Gallery::readNewHeader() {
  const uint64_t size = file_->size();
  if (size < kFirstSegmentAt) throw notSound(path_, "is cut short within its header");
  const std::optional<GalleryRoot> root = newestRoot(bytes());
  if (!root) throw notSound(path_, "has a damaged header: neither copy of its root is sound");
  // A digest detects only accidental damage, so everything below is still checked.
  if (getWord(bytes() + kHeaderBytesAt) != kFirstSegmentAt ||
      getWord(bytes() + kFeatureFloatsAt) != kFeatureFloats) {
    throw notSound(path_, "has a header with wrong numbers");
  }
  root_ = *root;
  return root_.bytes <= size;
}

// Reads and checks the trailer at this offset. The whole segment is below the given end.
SegmentPlan Gallery::readTrailer(uint64_t trailerAt, uint64_t below) const {
  const Failure damaged = notSound(path_, "has a damaged segment");
  if (trailerAt < kFirstSegmentAt || trailerAt % kFeatureAlignment != 0 || below < kRecordBytes ||
      trailerAt > below - kRecordBytes) {
    throw damaged;
  }
  const uint8_t* trailer = bytes() + trailerAt;
  const uint64_t start = getLongWord(trailer + kTrailerStartAt);
  const uint64_t count = getLongWord(trailer + kTrailerCountAt);
  const uint64_t idsBytes = getLongWord(trailer + kTrailerIdsBytesAt);
  const uint64_t previous = getLongWord(trailer + kTrailerPreviousAt);
  const uint32_t kind = getWord(trailer + kTrailerKindAt);
  const bool isRows = kind == static_cast<uint32_t>(SegmentKind::kRows);
  // Each number is checked before it is multiplied or added, so that none overflows.
  if (std::memcmp(trailer, kSegmentMagic, sizeof kSegmentMagic) != 0 ||
      getWord(trailer + kTrailerBytesAt) != kRecordBytes || start < kFirstSegmentAt ||
      start > trailerAt || start % kFeatureAlignment != 0 || count > trailerAt / 8 ||
      idsBytes > trailerAt || (isRows && idsBytes < 8 * (count + 1)) ||
      (!isRows && kind != static_cast<uint32_t>(SegmentKind::kRemovals))) {
    throw damaged;
  }
  const SegmentPlan plan = isRows ? planRows(start, previous, count, idsBytes - 8 * (count + 1))
                                  : planRemovals(start, previous, count);
  if (plan.trailerAt != trailerAt || plan.idsBytes != idsBytes ||
      getLongWord(trailer + kTrailerIdsAt) != (isRows ? start : 0) ||
      getLongWord(trailer + kTrailerFeaturesAt) != plan.featuresAt ||
      getLongWord(trailer + kTrailerDigestsAt) != plan.digestsAt) {
    throw damaged;
  }
  Sha256 sha;
  sha.add(bytes() + plan.digestsAt, trailerAt + kDigestAt - plan.digestsAt);
  const Digest digest = sha.digest();
  if (!std::equal(digest.begin(), digest.end(), trailer + kDigestAt)) throw damaged;
  return plan;
}

void Gallery::readSegments() {
  uint64_t below = root_.bytes;
  for (uint64_t trailer = root_.lastTrailer; trailer != 0;) {
    segments_.push_back(readTrailer(trailer, below));
    // Segments have no gaps between them, so the number of segments is limited by the file's size.
    if (segments_.back().end != below) throw notSound(path_, "has a damaged segment");
    below = segments_.back().start;
    trailer = segments_.back().previousTrailer;
  }
  if (below != kFirstSegmentAt || segments_.size() != root_.segments) throw wrongNumbers(path_);
  std::reverse(segments_.begin(), segments_.end());

  std::vector<uint64_t> removed;
  for (const SegmentPlan& plan : segments_) {
    if (plan.kind == SegmentKind::kRows) {
      addPart(plan);
      continue;
    }
    for (uint64_t i = 0; i < plan.count; ++i) {
      removed.push_back(getLongWord(bytes() + plan.start + 8 * i));
      if (removed.back() >= storedRows_) throw notSound(path_, "has damaged removals");
    }
  }
  std::sort(removed.begin(), removed.end());
  if (std::adjacent_find(removed.begin(), removed.end()) != removed.end() ||
      storedRows_ - removed.size() != root_.rows) {
    throw notSound(path_, "has damaged removals");
  }
  makeRuns(removed);
}

void Gallery::addPart(const SegmentPlan& plan) {
  Part part;
  part.firstStored = storedRows_;
  part.count = plan.count;
  part.idOffsets = bytes() + plan.start;
  part.textBytes = plan.idsBytes - 8 * (plan.count + 1);
  part.features = bytes() + plan.featuresAt;
  checkIds(part);
  parts_.push_back(part);
  storedRows_ += plan.count;
}

void Gallery::makeRuns(const std::vector<uint64_t>& removed) {
  size_t row = 0;
  auto gap = removed.begin();
  for (size_t p = 0; p < parts_.size(); ++p) {
    const Part& part = parts_[p];
    size_t at = 0;
    while (at < part.count) {
      const bool gapIsHere =
          gap != removed.end() && *gap - part.firstStored < part.count;  // gaps are ascending
      const size_t end = gapIsHere ? static_cast<size_t>(*gap - part.firstStored) : part.count;
      if (end > at) {
        runs_.push_back({row, end - at, part.features + at * kFeatureBytes});
        locations_.push_back({p, at});
        row += end - at;
      }
      if (gapIsHere) ++gap;
      at = end + (gapIsHere ? 1 : 0);
    }
  }
}

void Gallery::checkIds(const Part& part) const {
  const char* text = reinterpret_cast<const char*>(part.idOffsets + 8 * (part.count + 1));
  uint64_t start = getLongWord(part.idOffsets);
  bool sound = start == 0;
  for (size_t row = 0; row < part.count && sound; ++row) {
    const uint64_t end = getLongWord(part.idOffsets + 8 * (row + 1));
    sound = end >= start && end <= part.textBytes &&
            identifierFault(std::string_view(text + start, end - start)).empty();
    start = end;
  }
  if (!sound || start != part.textBytes) throw notSound(path_, "has damaged ids");
}

Gallery::Location Gallery::locate(size_t row) const {
  const auto after =
      std::upper_bound(runs_.begin(), runs_.end(), row,
                       [](size_t wanted, const FeatureRun& run) { return wanted < run.firstRow; });
  const size_t run = static_cast<size_t>(after - runs_.begin()) - 1;
  return {locations_[run].part, locations_[run].row + (row - runs_[run].firstRow)};
}

std::string_view Gallery::id(size_t row) const {
  const Location location = locate(row);
  const Part& part = parts_[location.part];
  const uint64_t start = getLongWord(part.idOffsets + 8 * location.row);
  const uint64_t end = getLongWord(part.idOffsets + 8 * (location.row + 1));
  const char* text = reinterpret_cast<const char*>(part.idOffsets + 8 * (part.count + 1));
  return std::string_view(text + start, end - start);
}

FeatureVector Gallery::feature(size_t row) const {
  const Location location = locate(row);
  const uint8_t* source = parts_[location.part].features + location.row * kFeatureBytes;
  FeatureVector feature;
  for (size_t i = 0; i < kFeatureFloats; ++i) feature.values[i] = getFloat(source + 4 * i);
  return feature;
}

uint64_t Gallery::storedRow(size_t row) const {
  const Location location = locate(row);
  return parts_[location.part].firstStored + location.row;
}

std::optional<size_t> Gallery::find(std::string_view wanted) const {
  for (size_t row = 0; row < count(); ++row) {
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

std::unordered_map<std::string_view, size_t> rowsById(const Gallery& gallery) {
  std::unordered_map<std::string_view, size_t> rows;
  rows.reserve(gallery.count());
  for (size_t row = 0; row < gallery.count(); ++row) {
    if (rows.emplace(gallery.id(row), row).second) continue;
    throw Failure(kBadInput, gallery.path(),
                  "has the id " + std::string(gallery.id(row)) + " twice",
                  "Restore the gallery from a copy");
  }
  return rows;
}

void requireSameModel(const Gallery& a, const Gallery& b) {
  if (a.origin().model == b.origin().model) return;
  throw Failure(kBadModel, a.path() + ", " + b.path(),
                "are of different models, " + hexText(a.origin().model) + " and " +
                    hexText(b.origin().model) + ", and their features can't be compared with " +
                    "each other",
                "Extract both with one model");
}

}  // namespace facefeature_tools
