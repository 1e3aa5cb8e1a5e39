#include "batch/extract_journal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "base/failure.h"
#include "base/file_lock.h"
#include "base/identifier.h"
#include "base/little_endian.h"
#include "base/mapped_file.h"
#include "base/open_file.h"
#include "gallery/gallery_file.h"
#include "gallery/gallery_layout.h"
#include "gallery/gallery_root.h"
#include "model/model_fingerprint.h"

namespace facefeature_tools {
namespace {

// The header has its fields at the same offsets as a gallery and ends after the last one that it
// needs. A record is the length of the id, the id, the feature, and a checksum of these.
constexpr char kMagic[] = {'F', 'F', 'J', 'O', 'U', 'R', 'N', 'L'};
constexpr uint32_t kVersion = 1;
constexpr size_t kHeaderBytes = kBlasCoreAt + kOriginFieldBytes;
constexpr size_t kLengthBytes = 4;
constexpr size_t kCheckBytes = 8;
constexpr char kRemedy[] = "Free disk space and continue with --resume";

// Enough of a digest to distinguish a complete record from a truncated one.
std::array<uint8_t, kCheckBytes> checkSum(const uint8_t* record, size_t count) {
  Sha256 hash;
  hash.add(record, count);
  const Digest digest = hash.digest();
  std::array<uint8_t, kCheckBytes> sum;
  std::copy_n(digest.begin(), sum.size(), sum.begin());
  return sum;
}

Failure notWritten(const std::string& path) {
  return Failure(kFailed, path, "can't be written: " + systemMessage(errno), kRemedy);
}

}  // namespace

ExtractJournal::ExtractJournal(const std::string& path, const GalleryOrigin& origin, bool resume)
    : path_(path), origin_(origin) {
  open(resume);
  if (!lockFile(file_.get())) {
    throw Failure(kFailed, path_, "is being written by another process",
                  "Wait for it, or name another gallery");
  }
  if (resume) readOld();
  std::error_code error;
  std::filesystem::resize_file(path_, size_, error);
  if (error) throw Failure(kFailed, path_, "can't be written: " + error.message(), kRemedy);
  writeHeader();
}

void ExtractJournal::open(bool resume) {
  if (resume) file_.reset(std::fopen(path_.c_str(), "r+b"));
  if (!file_) file_.reset(std::fopen(path_.c_str(), "w+bx"));
  if (file_) return;
  if (errno == EEXIST) {
    throw Failure(kWrongUsage, path_, "is left from a run that did not finish",
                  "Continue it with --resume, or remove it");
  }
  throw Failure(kFailed, path_, "can't be created: " + systemMessage(errno),
                "Name a gallery in a writable folder");
}

void ExtractJournal::readOld() {
  const MappedFile old(path_, "Remove it; its photographs will be extracted again");
  const uint8_t* bytes = old.bytes();
  // A journal that is truncated within its header is treated as new.
  if (old.size() < kHeaderBytes) return;
  if (std::memcmp(bytes, kMagic, sizeof kMagic) != 0 || getWord(bytes + kVersionAt) != kVersion) {
    throw Failure(kBadInput, path_, "is not a journal of this program",
                  "Remove it; its photographs will be extracted again");
  }
  GalleryOrigin before;
  std::copy_n(bytes + kModelAt, before.model.size(), before.model.begin());
  before.libraryVersion = originText(bytes + kLibraryVersionAt);
  before.blasCore = originText(bytes + kBlasCoreAt);
  if (before.model != origin_.model) {
    throw Failure(
        kBadModel, path_,
        "was made with the model " + hexText(before.model) + ", not of " + hexText(origin_.model),
        "Use the model that the run began with, or remove the file");
  }
  origin_ = joinedOrigin(before, origin_);

  size_ = kHeaderBytes;
  for (;;) {
    const uint64_t left = old.size() - size_;
    const uint8_t* record = bytes + size_;
    if (left < kLengthBytes) return;
    const uint64_t length = getWord(record);
    const uint64_t summed = kLengthBytes + length + kFeatureBytes;
    if (length > kMaxIdentifierBytes || left < summed + kCheckBytes) return;
    const auto sum = checkSum(record, summed);
    if (!std::equal(sum.begin(), sum.end(), record + summed)) return;
    const std::string id(reinterpret_cast<const char*>(record + kLengthBytes), length);
    offsets_[id] = size_ + kLengthBytes + length;
    size_ += summed + kCheckBytes;
  }
}

void ExtractJournal::writeHeader() {
  std::array<uint8_t, kHeaderBytes> header = {};
  std::copy(std::begin(kMagic), std::end(kMagic), header.begin());
  putWord(kVersion, &header[kVersionAt]);
  std::copy(origin_.model.begin(), origin_.model.end(), &header[kModelAt]);
  std::copy_n(origin_.libraryVersion.begin(), origin_.libraryVersion.size(),
              &header[kLibraryVersionAt]);
  std::copy_n(origin_.blasCore.begin(), origin_.blasCore.size(), &header[kBlasCoreAt]);
  std::FILE* file = file_.get();
  const bool written = std::fseek(file, 0, SEEK_SET) == 0 &&
                       std::fwrite(header.data(), 1, header.size(), file) == header.size() &&
                       std::fflush(file) == 0 && std::fseek(file, 0, SEEK_END) == 0;
  if (!written) throw notWritten(path_);
  size_ = std::max<uint64_t>(size_, kHeaderBytes);
}

void ExtractJournal::joinOrigin(const GalleryOrigin& other) {
  origin_ = joinedOrigin(origin_, other);
  writeHeader();
}

void ExtractJournal::add(const std::string& id, const FeatureVector& feature) {
  std::vector<uint8_t> record(kLengthBytes + id.size() + kFeatureBytes);
  putWord(static_cast<uint32_t>(id.size()), record.data());
  std::copy(id.begin(), id.end(), record.begin() + kLengthBytes);
  uint8_t* floats = record.data() + kLengthBytes + id.size();
  for (size_t i = 0; i < kFeatureFloats; ++i) putFloat(feature.values[i], floats + 4 * i);
  const auto sum = checkSum(record.data(), record.size());
  record.insert(record.end(), sum.begin(), sum.end());
  // Passed to the system at once, because buffers of this process are lost if it is killed.
  if (std::fwrite(record.data(), 1, record.size(), file_.get()) != record.size() ||
      std::fflush(file_.get()) != 0) {
    throw notWritten(path_);
  }
  offsets_[id] = size_ + kLengthBytes + id.size();
  size_ += record.size();
}

void ExtractJournal::writeGallery(const std::string& path,
                                  const std::vector<std::string>& ids) const {
  std::vector<std::string> held;
  for (const std::string& id : ids) {
    if (holds(id)) held.push_back(id);
  }
  const MappedFile journal(path_, kRemedy);
  const FileLock lock(path);
  GalleryWriter writer(path, origin_, held);
  for (const std::string& id : held) {
    const uint8_t* floats = journal.bytes() + offsets_.at(id);
    FeatureVector feature;
    for (size_t i = 0; i < kFeatureFloats; ++i) feature.values[i] = getFloat(floats + 4 * i);
    writer.add(feature);
  }
  writer.finish();
}

void ExtractJournal::remove() {
  file_.reset();
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

}  // namespace facefeature_tools
