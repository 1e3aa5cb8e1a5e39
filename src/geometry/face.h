// The data from which the frames of one face are derived, and the frame of a patch.
#ifndef FACEFEATURE_GEOMETRY_FACE_H
#define FACEFEATURE_GEOMETRY_FACE_H

#include <cstdint>

#include "geometry/face_similarity.h"
#include "geometry/landmark_set.h"

namespace facefeature {

struct Face {
  Landmark slots[kSlotCount];
  FaceAnchors anchors;
  float referenceLength;  // from EstimateHeadPose
};

// REQUIRES: a record with 25 entries for the alignment, ids from 0 to 317. Throws std::bad_alloc.
Face faceOf(const LandmarkSet* landmarks);

// The canonical frame of a patch.
struct PatchFrame {
  FaceSimilarity toImage;         // from the frame to the photograph
  float aligned[2 * kSlotCount];  // x and y of every slot in the frame
};

// The frame in which the face has the size that the patch needs: patchSpec.referenceSpan.
PatchFrame frameOf(const Face& face, int32_t patch);

}  // namespace facefeature

#endif
