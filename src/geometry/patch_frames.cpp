#include "geometry/patch_frames.h"

#include <algorithm>

#include "geometry/patch_table.h"

namespace facefeature {
namespace {

int32_t pixelsOf(const FrameRect& rect) {
  return (rect.right - rect.left) * (rect.bottom - rect.top);
}

FrameRect around(const FrameRect& a, const FrameRect& b) {
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

}  // namespace

bool shareFrame(int32_t patch, int32_t other) {
  return patchSpec.isColor[patch] == patchSpec.isColor[other] &&
         patchSpec.referenceSpan[patch] == patchSpec.referenceSpan[other];
}

bool isLastOfItsFrame(int32_t patch) {
  for (int32_t later = patch + 1; later < kPatchCount; ++later) {
    if (shareFrame(patch, later)) return false;
  }
  return true;
}

bool isLastOfItsKind(int32_t patch) {
  for (int32_t later = patch + 1; later < kPatchCount; ++later) {
    if (patchSpec.isColor[patch] == patchSpec.isColor[later]) return false;
  }
  return true;
}

void addFramePart(std::vector<FrameRect>& parts, FrameRect part) {
  for (size_t i = 0; i < parts.size(); ++i) {
    const FrameRect both = around(parts[i], part);
    if (pixelsOf(both) > pixelsOf(parts[i]) + pixelsOf(part)) continue;
    // The larger part may now be worth merging with another.
    parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(i));
    return addFramePart(parts, both);
  }
  parts.push_back(part);
}

}  // namespace facefeature
