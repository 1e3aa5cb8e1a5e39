// The angles of the head. No feature depends on them; they describe the pose to a person.
//
// The convention is that of Tait and Bryan in the order Z, Y', X'': the rotation matrix is
// Rz(angles[2]) Ry(angles[1]) Rx(angles[0]). With m its elements, sin(angles[1]) = -m20,
// tan(angles[2]) = m10 / m00 and tan(angles[0]) = m21 / m22; the code writes these elements in
// terms of the quaternion. Near sin(angles[1]) = 1 or -1 the other two are not unique, and
// angles[0] is set to 0.
#include <cmath>

#include "geometry/head_pose.h"
#include "kernels/rounded_math.h"

namespace facefeature {
namespace {

// A quarter turn, rounded: bits 0x3FC90FDB.
constexpr float kRightAngle = 1.57079637f;

float roundedAtan2(float y, float x) {
  return static_cast<float>(std::atan2(static_cast<double>(y), static_cast<double>(x)));
}

}  // namespace

void RotationToQuaternion(const float* rotation, float* quaternion) {
  const float m00 = rotation[0], m01 = rotation[1], m02 = rotation[2];
  const float m10 = rotation[3], m11 = rotation[4], m12 = rotation[5];
  const float m20 = rotation[6], m21 = rotation[7], m22 = rotation[8];
  float x, y, z, w;
  // The usual four cases of matrix to quaternion, each dividing by a component that is safely away
  // from zero. The first case applies whenever t is positive, however small; otherwise the largest
  // element of the diagonal decides.
  const float t = ((m11 + m00) + m22) + 1.0f;
  if (t > 0.0f) {
    const float c = 2.0f * roundedSqrt(t);
    x = (m21 - m12) / c;
    y = (m02 - m20) / c;
    z = (m10 - m01) / c;
    w = c * 0.25f;
  } else if (m00 > m11 && m00 > m22) {
    const float c = 2.0f * roundedSqrt(((m00 + 1.0f) - m11) - m22);
    x = c * 0.25f;
    y = (m01 + m10) / c;
    z = (m02 + m20) / c;
    w = (m21 - m12) / c;
  } else if (m11 > m22) {
    const float c = 2.0f * roundedSqrt(((m11 + 1.0f) - m00) - m22);
    x = (m01 + m10) / c;
    y = c * 0.25f;
    z = (m12 + m21) / c;
    w = (m02 - m20) / c;
  } else {
    const float c = 2.0f * roundedSqrt(((m22 + 1.0f) - m00) - m11);
    x = (m02 + m20) / c;
    y = (m12 + m21) / c;
    z = c * 0.25f;
    w = (m10 - m01) / c;
  }
  const float n = ((x * x + y * y) + z * z) + w * w;
  const float factor = n == 1.0f ? 1.0f : 1.0f / roundedSqrt(n);
  quaternion[0] = x * factor;
  quaternion[1] = y * factor;
  quaternion[2] = z * factor;
  quaternion[3] = w * factor;
}

void QuaternionToAngles(const float* quaternion, float* angles) {
  const float x = quaternion[0], y = quaternion[1], z = quaternion[2], w = quaternion[3];
  const double xx = x * x, yy = y * y, zz = z * z, ww = w * w;
  const double s = 2.0 * static_cast<double>(y * w - z * x);
  constexpr double kNear = 1e-6;
  angles[0] = 0.0f;
  if (s + kNear >= 1.0 && 1.0 >= s - kNear) {
    // Looking straight to one side: the axes of the other two angles coincide.
    angles[1] = kRightAngle;
    angles[2] = -2.0f * roundedAtan2(x, w);
  } else if (s + kNear >= -1.0 && -1.0 >= s - kNear) {
    angles[1] = -kRightAngle;
    angles[2] = 2.0f * roundedAtan2(x, w);
  } else {
    const double clamped = s < -1.0 ? -1.0 : s > 1.0 ? 1.0 : s;
    angles[2] = static_cast<float>(
        std::atan2(2.0 * static_cast<double>(y * x + z * w), ((xx - yy) - zz) + ww));
    angles[0] = static_cast<float>(
        std::atan2(2.0 * static_cast<double>(x * w + z * y), (zz - (yy + xx)) + ww));
    angles[1] = static_cast<float>(std::asin(clamped));
  }
}

}  // namespace facefeature
