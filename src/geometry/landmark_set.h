// The landmarks as the host hands them over, and the slots that the alignment works on.
#ifndef FACEFEATURE_GEOMETRY_LANDMARK_SET_H
#define FACEFEATURE_GEOMETRY_LANDMARK_SET_H

#include <cstdint>

#include "facefeature/facefeature.h"

namespace facefeature {

using ::Landmark;
using ::LandmarkSet;

// The alignment works on this many landmarks, sorted by id.
constexpr int32_t kSlotCount = 25;

// Ids that the alignment leaves out: the sides of the head and of the jaw, which move with the
// turning of the head more than with the face. They do count in the head pose.
inline bool isDroppedFromAlignment(int32_t id) {
  return id == 240 || id == 241 || id == 315 || id == 316;
}

// Copies the entries that the alignment keeps into slots and sorts them by id. Entries with the
// same id keep their order, which is no promise to hosts.
// REQUIRES: exactly 25 entries are kept. Not checked here; ExtractFeature rejects other records.
void sortLandmarks(const LandmarkSet* landmarks, Landmark slots[kSlotCount]);

// The sort's order: 1 when a's id is greater, -1 when it is smaller, 0 when equal.
int32_t compareLandmarks(const Landmark* a, const Landmark* b);

}  // namespace facefeature

#endif
