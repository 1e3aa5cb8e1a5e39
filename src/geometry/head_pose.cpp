#include "geometry/head_pose.h"

#include <cmath>
#include <memory>

#include "geometry/cholesky8.h"
#include "geometry/model_points.h"
#include "kernels/rounded_math.h"

namespace facefeature {
namespace {

// The distance between the eyes of the model, in model units.
constexpr float kReferenceUnits = 6.2773f;

// Allocates count times width floats. operator new[] rejects a request that overflows with
// std::bad_alloc.
std::unique_ptr<float[]> newFloats(int32_t count, size_t width) {
  return std::unique_ptr<float[]>(new float[static_cast<size_t>(count) * width]);
}

// Subtracts the mean of each of the width coordinates and writes the means to means.
std::unique_ptr<float[]> centred(const float* points, int32_t count, int32_t width, float* means) {
  std::unique_ptr<float[]> result = newFloats(count, static_cast<size_t>(width));
  float* const centre = result.get();
  for (int32_t j = 0; j < width; ++j) {
    float sum = 0.0f;
    for (int32_t i = 0; i < count; ++i) sum += points[int64_t{i} * width + j];
    means[j] = sum / static_cast<float>(count);
    for (int32_t i = 0; i < count; ++i) {
      centre[int64_t{i} * width + j] = points[int64_t{i} * width + j] - means[j];
    }
  }
  return result;
}

float dot(const float* p, const float* q) { return (p[0] * q[0] + p[1] * q[1]) + p[2] * q[2]; }

// Replaces the rows r1 and r2 by the nearest two (least squares) that are orthogonal and of equal
// length. With G = [A H; H B] the Gram matrix of the rows, these are trace(G^(1/2)) / 2 times
// G^(-1/2) applied to them. For two rows that has the closed form
//
//     u = ((B + D) r1 - H r2) / (2 D),  v = ((A + D) r2 - H r1) / (2 D),  D = sqrt(A B - H H).
//
// f1 and f2 equal (B + D) / (2 D) and (A + D) / (2 D) algebraically. They are written here in the
// order that defines the feature: each parenthesis is a rounding, and any other form rounds
// differently. For parallel rows D is 0 and the result infinite or NaN.
void orthogonalise(const float* r1, const float* r2, float* u, float* v) {
  const float A = dot(r1, r1);
  const float B = dot(r2, r2);
  const float H = dot(r2, r1);
  const float AB = B * A;
  const float HH = H * H;
  const float D = roundedSqrt(AB - HH);
  const float E = (roundedSqrt(AB) * D + AB) - HH;
  const float a = roundedSqrt(A);
  const float b = roundedSqrt(B);
  const float f1 = ((b * H) * H) / ((2.0f * a) * E) + (a + b) / (2.0f * a);
  const float f2 = ((a * H) * H) / ((2.0f * b) * E) + (a + b) / (2.0f * b);
  const float g = H / (2.0f * D);
  for (int32_t j = 0; j < 3; ++j) {
    u[j] = r1[j] * f1 - r2[j] * g;
    v[j] = r2[j] * f2 - r1[j] * g;
  }
}

float degrees(float radians) {
  constexpr double kPi = 3.14159265358979323846;
  return static_cast<float>(static_cast<double>(radians * 180.0f) / kPi);
}

}  // namespace

float EstimateHeadPose(const LandmarkSet* landmarks, float* angleZ, float* angleY, float* angleX) {
  const int32_t count = landmarks->count;
  float rotation[9];
  float translation[3];
  float scale;
  {
    const std::unique_ptr<float[]> imageStorage = newFloats(count, 2);
    const std::unique_ptr<float[]> modelStorage = newFloats(count, 3);
    float* const imagePoints = imageStorage.get();
    float* const modelPoints = modelStorage.get();
    for (int32_t i = 0; i < count; ++i) {
      const Landmark& entry = landmarks->entries[i];
      const float* point = ModelPoints[ModelPointIndex[entry.id]];
      imagePoints[int64_t{i} * 2] = entry.x;
      imagePoints[int64_t{i} * 2 + 1] = entry.y;
      for (int32_t j = 0; j < 3; ++j) modelPoints[int64_t{i} * 3 + j] = point[j];
    }
    FitProjection(imagePoints, modelPoints, count, rotation, translation, &scale);
  }
  float quaternion[4];
  RotationToQuaternion(rotation, quaternion);
  float angles[3];
  QuaternionToAngles(quaternion, angles);
  *angleZ = degrees(angles[2]);
  *angleY = degrees(angles[1]);
  *angleX = degrees(angles[0]);
  return scale * kReferenceUnits;
}

void FitProjection(const float* points, const float* model, int32_t count, float* rotation,
                   float* translation, float* scale) {
  float m[2];  // mean of the image points
  float M[3];  // mean of the model points
  const std::unique_ptr<float[]> centredPoints = centred(points, count, 2, m);
  const std::unique_ptr<float[]> centredModel = centred(model, count, 3, M);
  // A failed factorisation is not detected: the fit then continues with the unsolved sums.
  float p[8];
  SolveProjectionRows(centredPoints.get(), centredModel.get(), count, p);

  float u[3];
  float v[3];
  orthogonalise(p, p + 4, u, v);
  *scale = roundedSqrt((u[0] * u[0] + u[1] * u[1]) + u[2] * u[2]);

  // The second row is also divided by the length of the first, and the third has only approximately
  // unit length if the fit is noisy.
  float* R = rotation;
  for (int32_t j = 0; j < 3; ++j) {
    R[j] = u[j] / *scale;
    R[3 + j] = v[j] / *scale;
  }
  R[6] = R[5] * R[1] - R[4] * R[2];
  R[7] = R[3] * R[2] - R[5] * R[0];
  R[8] = R[4] * R[0] - R[3] * R[1];

  // The second row starts with Y. A sum in the order of the others would round differently.
  translation[0] = m[0] - ((R[0] * M[0] + R[1] * M[1]) + R[2] * M[2]) * *scale;
  translation[1] = m[1] - ((R[4] * M[1] + R[3] * M[0]) + R[5] * M[2]) * *scale;
  translation[2] = -(((R[6] * M[0] + R[7] * M[1]) + R[8] * M[2]) * *scale);
}

int32_t SolveProjectionRows(const float* points, const float* model, int32_t count,
                            float* projection) {
  float M[4][4] = {};
  float* q = projection;
  for (int32_t j = 0; j < 8; ++j) q[j] = 0.0f;
  for (int32_t i = 0; i < count; ++i) {
    const float* xy = points + int64_t{i} * 2;
    const float* XYZ = model + int64_t{i} * 3;
    const float terms[4] = {XYZ[0], XYZ[1], XYZ[2], 1.0f};
    // Multiplying by the last term, 1, is exact.
    for (int32_t r = 0; r < 4; ++r) {
      for (int32_t c = r; c < 4; ++c) M[r][c] += terms[r] * terms[c];
    }
    for (int32_t r = 0; r < 4; ++r) {
      q[r] += xy[0] * terms[r];
      q[4 + r] += xy[1] * terms[r];
    }
  }
  // The eight unknowns are the two rows of four coefficients. Both rows have the same 4 x 4 normal
  // matrix, so the system is block diagonal and could be solved as two systems of four. It is
  // solved as one of eight because that order of operations defines the result.
  float A[8][8] = {};
  for (int32_t r = 0; r < 4; ++r) {
    for (int32_t c = 0; c < 4; ++c) {
      A[r][c] = A[4 + r][4 + c] = r <= c ? M[r][c] : M[c][r];
    }
  }
  return SolveCholesky8(&A[0][0], q);
}

}  // namespace facefeature
