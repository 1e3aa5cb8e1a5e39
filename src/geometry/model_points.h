// The rigid face: 29 points in model units, and the model point of each landmark id.
#ifndef FACEFEATURE_GEOMETRY_MODEL_POINTS_H
#define FACEFEATURE_GEOMETRY_MODEL_POINTS_H

#include <cstdint>

namespace facefeature {

constexpr int32_t kModelPointCount = 29;
constexpr int32_t kLandmarkIds = 318;  // ids run from 0 to 317

// The model point of each id. An id in range that is not one of the 29 has the point of id 0.
extern const int32_t ModelPointIndex[kLandmarkIds];

// X across the face, negative on the side at image left; Y down; Z out of the face.
extern const float ModelPoints[kModelPointCount][3];

}  // namespace facefeature

#endif
