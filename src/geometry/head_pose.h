// Fits the rigid face model to landmarks under a scaled orthographic camera.
//
// Each image coordinate is an affine function of the model point. The two rows of that function are
// found by least squares and made orthogonal and of equal length in closed form; their length is
// the scale. Only the scale reaches a feature. Single precision in the order of the code; square
// roots in double, rounded to float. Nothing is validated: singular fits give infinities and NaNs,
// which the caller must tolerate.
//
// Any thread; no state.
#ifndef FACEFEATURE_GEOMETRY_HEAD_POSE_H
#define FACEFEATURE_GEOMETRY_HEAD_POSE_H

#include <cstdint>

#include "geometry/landmark_set.h"

namespace facefeature {

// Returns referenceLength: pixels per model unit times 6.2773, the distance between the eyes of the
// model in its units. It determines the size of the face in every canonical frame. Writes the
// angles of the head in degrees, in this order: about Z, about Y, about X.
//
// All entries take part in their order, including those that the alignment drops. REQUIRES: every
// id is from 0 to 317. Throws std::bad_alloc, also for a negative count.
float EstimateHeadPose(const LandmarkSet* landmarks, float* angleZ, float* angleY, float* angleX);

// points: count pairs (x, y) in pixels. model: count triples (X, Y, Z). rotation: nine floats, row
// by row; its third row is the cross product of the first two and has only approximately unit
// length. translation: three floats. scale: one float, pixels per model unit. Throws
// std::bad_alloc.
void FitProjection(const float* points, const float* model, int32_t count, float* rotation,
                   float* translation, float* scale);

// Least squares for x = p0 X + p1 Y + p2 Z + p3 and y = p4 X + p5 Y + p6 Z + p7 over centred
// points. Writes the eight p to projection and returns the status of SolveCholesky8; if that is 0,
// projection holds the unsolved sums.
int32_t SolveProjectionRows(const float* points, const float* model, int32_t count,
                            float* projection);

// The rotation matrix (nine floats, row by row) as a quaternion x, y, z, w of unit length.
void RotationToQuaternion(const float* rotation, float* quaternion);

// Three angles in radians from a quaternion (x, y, z, w): angles[0] about X, [1] about Y, [2]
// about Z.
void QuaternionToAngles(const float* quaternion, float* angles);

}  // namespace facefeature

#endif
