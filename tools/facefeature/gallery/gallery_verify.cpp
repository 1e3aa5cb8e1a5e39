#include "gallery/gallery_verify.h"

#include <algorithm>

#include "base/failure.h"
#include "base/sha256.h"
#include "gallery/gallery_layout.h"

namespace facefeature_tools {
namespace {

bool isZero(const uint8_t* bytes, size_t count) {
  return std::all_of(bytes, bytes + count, [](uint8_t byte) { return byte == 0; });
}

// "bytes 12288 to 77823"
std::string bytesText(uint64_t start, uint64_t end) {
  return "bytes " + std::to_string(start) + " to " + std::to_string(end - 1);
}

void checkPages(const Gallery& gallery, std::vector<std::string>& faults) {
  const uint8_t* bytes = gallery.file().bytes();
  for (size_t copy = 0; copy < kRoots; ++copy) {
    // If a process is killed between the writes of the two copies, one of them is a valid copy of
    // an earlier change.
    if (readRoot(bytes, copy)) continue;
    faults.push_back("copy " + std::to_string(copy + 1) + " of the root, " +
                     bytesText(rootAt(copy), rootAt(copy) + kRecordBytes) +
                     ", is damaged; the other copy is in use, and the next change repairs it");
  }
  for (size_t page = 0; page < kFirstSegmentAt; page += kGalleryPage) {
    if (isZero(bytes + page + kRecordBytes, kGalleryPage - kRecordBytes)) continue;
    faults.push_back(bytesText(page + kRecordBytes, page + kGalleryPage) + " are not zero");
  }
}

// Which features of a segment a block contains: "features of rows 3 to 40 of the segment".
std::string contentText(const SegmentPlan& plan, uint64_t start, uint64_t end) {
  if (plan.kind == SegmentKind::kRemovals) return "removals";
  if (end <= plan.featuresAt) return "ids";
  const uint64_t firstByte = std::max(start, plan.featuresAt) - plan.featuresAt;
  const uint64_t first = firstByte / kFeatureBytes;
  const uint64_t last = (end - 1 - plan.featuresAt) / kFeatureBytes;
  return std::string(start < plan.featuresAt ? "ids and " : "") + "features " +
         std::to_string(first) + " to " + std::to_string(last) + " of " +
         std::to_string(plan.count);
}

void checkSegment(const Gallery& gallery, size_t number, std::vector<std::string>& faults) {
  const SegmentPlan& plan = gallery.segments()[number];
  const uint8_t* bytes = gallery.file().bytes();
  for (uint64_t block = 0; block < plan.digests; ++block) {
    const uint64_t start = plan.start + block * kDigestBlock;
    const uint64_t end = std::min<uint64_t>(start + kDigestBlock, plan.digestsAt);
    Sha256 sha;
    sha.add(bytes + start, end - start);
    const Digest digest = sha.digest();
    const uint8_t* wanted = bytes + plan.digestsAt + block * kDigestBytes;
    if (std::equal(digest.begin(), digest.end(), wanted)) continue;
    faults.push_back(bytesText(start, end) + " are damaged: " + contentText(plan, start, end) +
                     " in segment " + std::to_string(number + 1));
  }
}

}  // namespace

std::vector<std::string> galleryFaults(const Gallery& gallery) {
  std::vector<std::string> faults;
  if (gallery.version() == kGalleryVersion) {
    checkPages(gallery, faults);
    for (size_t i = 0; i < gallery.segments().size(); ++i) checkSegment(gallery, i, faults);
  }
  try {
    rowsById(gallery);
  } catch (const Failure& failure) {
    faults.push_back(failure.what());
  }
  return faults;
}

}  // namespace facefeature_tools
