// Oracle of the head pose fit: the rigid face model, the least squares solution, the rotation and
// its angles, all in exact single steps and with tables of its own.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_HEAD_POSE_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_HEAD_POSE_H

#include <array>
#include <cstdint>
#include <vector>

#include "facefeature/facefeature.h"

namespace reference {

struct ModelRow {
  int32_t id;
  float x, y, z;
};

// The 29 rows of the face model, in the order of their ids, which is the order of model points.
const std::vector<ModelRow>& modelRows();

// The index of the model point of a landmark id from 0 to 317.
int32_t modelPointOf(int32_t id);

// Solves in place; the right side may be null. Returns 1, or 0 if a pivot is too small.
int32_t solveCholesky8(float* matrix, float* rightSide);

struct ProjectionRows {
  std::array<float, 8> values;
  int32_t status;
};

// Points are pairs, model points are triples; both already centred.
ProjectionRows projectionRows(const std::vector<float>& points, const std::vector<float>& model);

struct Projection {
  std::array<float, 9> rotation;
  std::array<float, 3> translation;
  float scale;
  int32_t solverStatus;
};

Projection fitProjection(const std::vector<float>& points, const std::vector<float>& model);

// The two fitted rows, p0 p1 p2 and p4 p5 p6, made orthogonal and of equal length; six values.
std::array<float, 6> orthogonalRows(const std::array<float, 8>& projection);

// x, y, z, w of a rotation matrix.
std::array<float, 4> rotationToQuaternion(const std::array<float, 9>& rotation);

// Three angles in radians.
std::array<float, 3> quaternionToAngles(const std::array<float, 4>& quaternion);

struct HeadPose {
  Projection projection;
  float angleZ, angleY, angleX;  // degrees
  float referenceLength;
};

HeadPose headPose(const LandmarkSet& landmarks);

}  // namespace reference

#endif
