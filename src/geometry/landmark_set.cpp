#include "geometry/landmark_set.h"

#include <cstdlib>

namespace facefeature {
namespace {

int compareForSort(const void* a, const void* b) {
  return compareLandmarks(static_cast<const Landmark*>(a), static_cast<const Landmark*>(b));
}

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
  std::qsort(slots, kSlotCount, sizeof(Landmark), compareForSort);
}

}  // namespace facefeature
