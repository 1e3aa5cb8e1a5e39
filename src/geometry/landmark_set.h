// The landmarks as the host passes them, and the slots that the alignment uses.
#ifndef FACEFEATURE_GEOMETRY_LANDMARK_SET_H
#define FACEFEATURE_GEOMETRY_LANDMARK_SET_H

#include <cstdint>

#include "facefeature/facefeature.h"

namespace facefeature {

using ::Landmark;
using ::LandmarkSet;

// The alignment uses this many landmarks, sorted by id.
constexpr int32_t kSlotCount = 25;

// Ids that the alignment leaves out: the sides of the head and of the jaw, which move when the head
// turns more than the face does. The head pose uses them.
inline bool isDroppedFromAlignment(int32_t id) {
  return id == 240 || id == 241 || id == 315 || id == 316;
}

// Copies the entries that the alignment keeps into slots and sorts them by id. Entries with the
// same id keep their order, which hosts must not rely on. REQUIRES: exactly 25 entries are kept.
// Not checked here; ExtractFeature rejects other records.
void sortLandmarks(const LandmarkSet* landmarks, Landmark slots[kSlotCount]);

// The sort's order: 1 if a's id is greater, -1 if it is smaller, 0 if equal.
int32_t compareLandmarks(const Landmark* a, const Landmark* b);

}  // namespace facefeature

#endif
