#include "geometry/face.h"

#include "geometry/head_pose.h"
#include "geometry/patch_table.h"

namespace facefeature {

Face faceOf(const LandmarkSet* landmarks) {
  Face face;
  float angleZ, angleY, angleX;  // not used here
  face.referenceLength = EstimateHeadPose(landmarks, &angleZ, &angleY, &angleX);
  sortLandmarks(landmarks, face.slots);
  face.anchors = anchorsOf(face.slots);
  return face;
}

PatchFrame frameOf(const Face& face, int32_t patch) {
  const float h =
      lowerAnchorHeight(patchSpec.referenceSpan[patch], face.anchors, face.referenceLength);
  PatchFrame frame;
  alignSlots(fitToCanonical(face.anchors, h), face.slots, frame.aligned);
  frame.toImage = fitToImage(face.anchors, h);
  return frame;
}

}  // namespace facefeature
