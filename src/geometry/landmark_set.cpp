#include "geometry/landmark_set.h"

#include <algorithm>

namespace facefeature {
namespace {

bool precedes(const Landmark& a, const Landmark& b) { return compareLandmarks(&a, &b) < 0; }

}  // namespace

int32_t compareLandmarks(const Landmark* a, const Landmark* b) {
  return (a->id > b->id) - (a->id < b->id);
}

void sortLandmarks(const LandmarkSet* landmarks, Landmark slots[kSlotCount]) {
  Landmark* slot = slots;
  for (int32_t i = 0; i < landmarks->count; ++i) {
    const Landmark& entry = landmarks->entries[i];
    if (!isDroppedFromAlignment(entry.id)) *slot++ = entry;
  }
  // Stable, although the order of equal ids is not promised: every platform then gives the same
  // feature.
  std::stable_sort(slots, slots + kSlotCount, precedes);
}

}  // namespace facefeature
