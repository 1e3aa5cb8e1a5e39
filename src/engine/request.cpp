#include "engine/request.h"

#include "engine/model_state.h"
#include "geometry/model_points.h"

namespace facefeature {
namespace {

// Ids that the model knows, and as many entries for the alignment as it has slots.
bool isGoodRecord(const LandmarkSet& landmarks) {
  if (landmarks.count < 0) return false;
  int32_t kept = 0;
  for (int32_t i = 0; i < landmarks.count; ++i) {
    const int32_t id = landmarks.entries[i].id;
    if (id < 0 || id >= kLandmarkIds) return false;
    if (!isDroppedFromAlignment(id)) ++kept;
  }
  return kept == kSlotCount;
}

}  // namespace

bool isModelLoaded() {
  return featureMean != nullptr && selfProjection != nullptr && crossProjection != nullptr;
}

bool isGoodRequest(const uint8_t* pixels, int32_t width, int32_t height,
                   const LandmarkSet* landmarks) {
  return pixels != nullptr && landmarks != nullptr && width >= 2 && height >= 2 &&
         isGoodRecord(*landmarks) && isModelLoaded();
}

}  // namespace facefeature
