// The two similarity transforms between the photograph and the canonical frame of a patch.
#ifndef FACEFEATURE_GEOMETRY_FACE_SIMILARITY_H
#define FACEFEATURE_GEOMETRY_FACE_SIMILARITY_H

#include <cstdint>

#include "geometry/landmark_set.h"

namespace facefeature {

// Maps (x, y) to (a x - b y + tx, b x + a y + ty).
struct FaceSimilarity {
  float a;
  float b;
  float tx;
  float ty;
};

// The anchors in the photograph, in pixels: they place the frames of one face.
struct FaceAnchors {
  float x6, y6;    // the upper one, slot 6: between the eyes in a full record
  float x8, y8;    // the lower one, slot 8: the upper lip in a full record
  float distance;  // between the two
};

// Takes the anchors from the sorted slots.
FaceAnchors anchorsOf(const Landmark slots[kSlotCount]);

// The height h of the lower anchor in the canonical frame, at (80, h); the upper one is at (80,
// 60). referenceSpan, in pixels of the frame, is the length to which the patch scales
// referenceLength.
float lowerAnchorHeight(int32_t referenceSpan, const FaceAnchors& anchors, float referenceLength);

// Least squares similarities in closed form, exact for two points up to rounding: photograph to
// frame, and frame to photograph. The second is fitted separately and is not the exact inverse of
// the first. Coincident anchors divide by zero and give infinities and NaNs.
FaceSimilarity fitToCanonical(const FaceAnchors& anchors, float h);
FaceSimilarity fitToImage(const FaceAnchors& anchors, float h);

// aligned[2 k] and aligned[2 k + 1] become slot k's x and y in the frame.
void alignSlots(const FaceSimilarity& toCanonical, const Landmark slots[kSlotCount],
                float aligned[2 * kSlotCount]);

}  // namespace facefeature

#endif
