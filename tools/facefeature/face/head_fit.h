// The library's fit of the rigid head to landmarks, with figures about its quality.
#ifndef FACEFEATURE_TOOLS_FACE_HEAD_FIT_H
#define FACEFEATURE_TOOLS_FACE_HEAD_FIT_H

#include <facefeature/facefeature.h>

#include <vector>

#include "face/landmark_scheme.h"

namespace facefeature_tools {

struct HeadFit {
  float rotation[9];       // row by row; the third row points into the picture
  float translation[3];    // projection of the model's origin, in pixels
  float scale;             // pixels per model unit
  float referenceLength;   // distance of the model's eyes in pixels, which determines the size of
                           // the patches
  float roll, yaw, pitch;  // degrees about Z, Y and X; roll is positive if the head leans to the
                           // right of the picture

  // Root mean square of the distances between landmarks and projected model points, in model
  // units; the eyes are 6.28 apart.
  double residual;

  // False if the landmarks do not determine a head: all on one point or one line, or too large to
  // square. All other fields are then meaningless.
  bool isGood;

  // Whether the model faces the camera. It does not if left and right of the landmarks are
  // exchanged, or y runs up.
  bool facesCamera() const { return rotation[8] > 0.0f; }

  // The projection of a point of the model, in pixels of the photograph.
  ImagePoint project(double x, double y, double z) const;
};

// REQUIRES: every id is from 0 to 317.
HeadFit fitHead(const std::vector<Landmark>& landmarks);

// The model point of an id: three floats.
const float* modelPointOf(int32_t id);

}  // namespace facefeature_tools

#endif
