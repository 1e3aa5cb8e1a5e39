#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "geometry/head_pose.h"
#include "support/bits.h"
#include "support/reference_geometry.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;
using Quaternion = std::array<float, 4>;
using Rotation = std::array<float, 9>;

Quaternion quaternionOf(const Rotation& rotation) {
  Quaternion quaternion;
  RotationToQuaternion(rotation.data(), quaternion.data());
  return quaternion;
}

std::array<float, 3> anglesOf(const Quaternion& quaternion) {
  std::array<float, 3> angles = {7.0f, 7.0f, 7.0f};
  QuaternionToAngles(quaternion.data(), angles.data());
  return angles;
}

void expectLikeReference(const Rotation& rotation) {
  const Quaternion wanted = reference::rotationToQuaternion(rotation);
  const Quaternion got = quaternionOf(rotation);
  EXPECT_TRUE(sameFloats(wanted.data(), got.data(), 4));
}

void expectLikeReference(const Quaternion& quaternion) {
  const std::array<float, 3> wanted = reference::quaternionToAngles(quaternion);
  const std::array<float, 3> got = anglesOf(quaternion);
  EXPECT_TRUE(sameFloats(wanted.data(), got.data(), 3));
}

Quaternion randomQuaternion(Random& random) {
  Quaternion q = {random.normal(), random.normal(), random.normal(), random.normal()};
  const float length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
  for (float& component : q) component /= length;
  return q;
}

Rotation rotationOf(const Quaternion& q) {
  const float x = q[0], y = q[1], z = q[2], w = q[3];
  return {
      1.0f - 2.0f * (y * y + z * z), 2.0f * (x * y - z * w),        2.0f * (x * z + y * w),
      2.0f * (x * y + z * w),        1.0f - 2.0f * (x * x + z * z), 2.0f * (y * z - x * w),
      2.0f * (x * z - y * w),        2.0f * (y * z + x * w),        1.0f - 2.0f * (x * x + y * y)};
}

// A rotation about one axis (0 is x, 1 is y, 2 is z) by an angle in radians.
Quaternion turn(size_t axis, float angle) {
  Quaternion q = {0.0f, 0.0f, 0.0f, std::cos(angle / 2.0f)};
  q[axis] = std::sin(angle / 2.0f);
  return q;
}

TEST(RotationToQuaternion, RotationsOfAllKindsMatchTheReference) {
  SeededRandom random;
  for (int i = 0; i < 2000; ++i) {
    Rotation rotation = rotationOf(randomQuaternion(random));
    expectLikeReference(rotation);
    for (float& element : rotation) element += 0.05f * random.normal();
    expectLikeReference(rotation);
  }
}

TEST(RotationToQuaternion, GivesTheQuaternionOfARotationUpToItsSign) {
  SeededRandom random;
  for (int i = 0; i < 500; ++i) {
    const Quaternion wanted = randomQuaternion(random);
    const Quaternion got = quaternionOf(rotationOf(wanted));
    float cosine = 0.0f;
    for (size_t k = 0; k < 4; ++k) cosine += wanted[k] * got[k];
    EXPECT_NEAR(1.0f, std::fabs(cosine), 1e-5f);
  }
}

TEST(RotationToQuaternion, HalfTurnsTakeTheBranchOfTheirAxis) {
  EXPECT_EQ((Quaternion{0.0f, 0.0f, 0.0f, 1.0f}),
            quaternionOf({1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f}));
  EXPECT_EQ((Quaternion{1.0f, 0.0f, 0.0f, 0.0f}),
            quaternionOf({1.0f, 0.0f, 0.0f, 0.0f, -1.0f, 0.0f, 0.0f, 0.0f, -1.0f}));
  EXPECT_EQ((Quaternion{0.0f, 1.0f, 0.0f, 0.0f}),
            quaternionOf({-1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, -1.0f}));
  EXPECT_EQ((Quaternion{0.0f, 0.0f, 1.0f, 0.0f}),
            quaternionOf({-1.0f, 0.0f, 0.0f, 0.0f, -1.0f, 0.0f, 0.0f, 0.0f, 1.0f}));
}

TEST(RotationToQuaternion, EqualDiagonalsFallThroughToTheLastBranch) {
  SeededRandom random;
  for (int i = 0; i < 200; ++i) {
    Rotation rotation;
    for (float& element : rotation) element = random.normal();
    rotation[0] = -1.0f;
    rotation[4] = random.chance(50) ? -1.0f : -2.0f;
    rotation[8] = random.chance(50) ? -1.0f : -0.5f;
    expectLikeReference(rotation);
  }
}

TEST(RotationToQuaternion, AnyNumbersMatchTheReference) {
  SeededRandom random;
  for (int i = 0; i < 500; ++i) {
    Rotation rotation;
    for (float& element : rotation)
      element = random.chance(20) ? random.special() : random.normal();
    expectLikeReference(rotation);
  }
}

TEST(QuaternionToAngles, QuaternionsOfAllKindsMatchTheReference) {
  SeededRandom random;
  for (int i = 0; i < 3000; ++i) expectLikeReference(randomQuaternion(random));
}

TEST(QuaternionToAngles, ATurnAboutOneAxisShowsInItsAngleAlone) {
  for (float angle : {-1.4f, -0.3f, 0.0f, 0.7f, 1.2f}) {
    for (size_t axis = 0; axis < 3; ++axis) {
      const std::array<float, 3> angles = anglesOf(turn(axis, angle));
      for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(i == axis ? angle : 0.0f, angles[i], 1e-5f);
    }
  }
}

TEST(QuaternionToAngles, NextToTheUpperPoleTheFirstAngleIsZeroAndTheSecondARightAngle) {
  const float half = std::sqrt(0.5f);
  const std::array<float, 3> angles = anglesOf({0.0f, half, 0.0f, half});
  EXPECT_BITS(0x00000000u, angles[0]);
  EXPECT_BITS(0x3FC90FDBu, angles[1]);
  EXPECT_EQ(0.0f, angles[2]);
  const std::array<float, 3> turned = anglesOf({0.5f, 0.5f, -0.5f, 0.5f});
  EXPECT_BITS(0x3FC90FDBu, turned[1]);
  EXPECT_SAME_FLOAT(static_cast<float>(-2.0 * static_cast<double>(std::atan(1.0f))), turned[2]);
}

TEST(QuaternionToAngles, NextToTheLowerPoleTheSignsAreTheOthers) {
  const std::array<float, 3> turned = anglesOf({0.5f, -0.5f, 0.5f, 0.5f});
  EXPECT_BITS(0x00000000u, turned[0]);
  EXPECT_BITS(0xBFC90FDBu, turned[1]);
  EXPECT_SAME_FLOAT(static_cast<float>(2.0 * static_cast<double>(std::atan(1.0f))), turned[2]);
}

TEST(QuaternionToAngles, ThePolesBeginAMillionthOff) {
  SeededRandom random;
  int poles = 0;
  for (int i = 0; i < 3000; ++i) {
    // The sine of the second angle is close to 1 - 1e-6, on both sides of it.
    const float sine = 1.0f - random.between(0.0f, 3e-6f);
    const float angle = std::asin(sine) * (random.chance(50) ? 1.0f : -1.0f);
    const Quaternion q = turn(1, angle);
    expectLikeReference(q);
    if (std::fabs(anglesOf(q)[1]) == floatOfBits(0x3FC90FDBu)) ++poles;
  }
  EXPECT_GT(poles, 100);
  EXPECT_LT(poles, 2900);
}

TEST(QuaternionToAngles, BeyondThePolesTheSineIsClamped) {
  // These are not unit quaternions: the sine becomes 2 and -2.
  const std::array<float, 3> above = anglesOf({0.0f, 1.0f, 0.0f, 1.0f});
  const std::array<float, 3> below = anglesOf({0.0f, -1.0f, 0.0f, 1.0f});
  EXPECT_SAME_FLOAT(static_cast<float>(std::asin(1.0)), above[1]);
  EXPECT_SAME_FLOAT(static_cast<float>(std::asin(-1.0)), below[1]);
  expectLikeReference(Quaternion{0.0f, 1.0f, 0.0f, 1.0f});
  expectLikeReference(Quaternion{0.3f, -1.0f, 0.2f, 1.0f});
}

}  // namespace
}  // namespace facefeature_test
