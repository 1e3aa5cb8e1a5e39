// The fit of the rigid head to landmarks, as the library makes it, with what can be said of it.
#ifndef FACEFEATURE_TOOLS_FACE_HEAD_FIT_H
#define FACEFEATURE_TOOLS_FACE_HEAD_FIT_H

#include <facefeature/facefeature.h>

#include <vector>

#include "face/landmark_scheme.h"

namespace facefeature_tools {

struct HeadFit {
  float rotation[9];      // row by row; the third row points into the picture
  float translation[3];   // where the model's origin falls, in pixels
  float scale;            // pixels per model unit
  float referenceLength;  // pixels that the model's eyes are apart: what the patches are sized by
  float roll, yaw, nod;   // degrees about Z, Y and X; roll is positive where the head leans to the
                          // right of the picture

  // Root mean square of the distances between landmarks and projected model points, in model
  // units; the eyes are 6.28 apart.
  double residual;

  // False where the landmarks fix no head: all on one place or one line, or too large to square.
  // All other fields are then not to be used.
  bool isGood;

  // The model faces the photographer. It looks away where left and right of the landmarks are
  // exchanged, or y runs up.
  bool facesCamera() const { return rotation[8] > 0.0f; }

  // Where a place of the model falls in the photograph.
  ImagePoint project(double x, double y, double z) const;
};

// REQUIRES: every id is from 0 to 317.
HeadFit fitHead(const std::vector<Landmark>& landmarks);

// The model point of an id: three floats.
const float* modelPointOf(int32_t id);

}  // namespace facefeature_tools

#endif
