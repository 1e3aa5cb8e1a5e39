#include "geometry/head_pose.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "geometry/landmark_set.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/reference_geometry.h"
#include "support/sample_faces.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

struct Pose {
  float angleZ, angleY, angleX;
  float referenceLength;
};

Pose poseOf(const LandmarkSet* landmarks) {
  Pose pose;
  pose.referenceLength = EstimateHeadPose(landmarks, &pose.angleZ, &pose.angleY, &pose.angleX);
  return pose;
}

void expectLikeReference(FaceRecord& face) {
  const reference::HeadPose wanted = reference::headPose(*face.set());
  const Pose got = poseOf(face.set());
  EXPECT_SAME_FLOAT(wanted.referenceLength, got.referenceLength);
  EXPECT_SAME_FLOAT(wanted.angleZ, got.angleZ);
  EXPECT_SAME_FLOAT(wanted.angleY, got.angleY);
  EXPECT_SAME_FLOAT(wanted.angleX, got.angleX);
}

float lengthOf(FaceRecord& face) { return poseOf(face.set()).referenceLength; }

TEST(EstimateHeadPose, EachOperationIsRoundedInTheOrderOfTheReference) {
  SeededRandom random;
  for (int32_t kind = 0; kind < kFaceKinds; ++kind) {
    SCOPED_TRACE(nameOf(static_cast<FaceKind>(kind)));
    for (int i = 0; i < 60; ++i) {
      FaceRecord face = faceOfKind(random, static_cast<FaceKind>(kind), 640, 480);
      expectLikeReference(face);
    }
  }
}

TEST(EstimateHeadPose, RealFacesMatchTheReference) {
  if (samplesFolder().empty()) GTEST_SKIP() << "no folder of sample faces beside the sources";
  for (SampleFace& sample : sampleFaces(samplesFolder())) {
    SCOPED_TRACE(sample.name);
    expectLikeReference(sample.face);
    EXPECT_GT(lengthOf(sample.face), 10.0f);
  }
}

TEST(EstimateHeadPose, AnExactProjectionGivesItsScaleTimesTheEyeDistanceOfTheModel) {
  SeededRandom random;
  for (int i = 0; i < 100; ++i) {
    const FacePose pose = randomPose(random, 800, 600);
    FaceRecord face = projectedFace(pose);
    const float wanted = pose.scale * 6.2773f;
    EXPECT_NEAR(wanted, lengthOf(face), wanted * 1e-4f);
  }
}

TEST(EstimateHeadPose, AnUprightHeadHasNoAngles) {
  FaceRecord face = projectedFace({0.0f, 0.0f, 0.0f, 20.0f, 300.0f, 200.0f});
  const Pose pose = poseOf(face.set());
  EXPECT_NEAR(0.0f, pose.angleZ, 1e-2f);
  EXPECT_NEAR(0.0f, pose.angleY, 1e-2f);
  EXPECT_NEAR(0.0f, pose.angleX, 1e-2f);
}

TEST(EstimateHeadPose, TheFirstAngleIsTheRollOfTheHead) {
  for (float roll : {-150.0f, -35.0f, 10.0f, 90.0f}) {
    FaceRecord face = projectedFace({0.0f, 0.0f, roll, 20.0f, 300.0f, 200.0f});
    EXPECT_NEAR(roll, poseOf(face.set()).angleZ, 1e-2f);
  }
}

TEST(EstimateHeadPose, TheSecondAngleIsTheYawOfTheHead) {
  for (float yaw : {-50.0f, -10.0f, 30.0f}) {
    FaceRecord face = projectedFace({yaw, 0.0f, 0.0f, 20.0f, 300.0f, 200.0f});
    EXPECT_NEAR(yaw, poseOf(face.set()).angleY, 1e-2f);
  }
}

TEST(EstimateHeadPose, TheFactorIsAFloatConstant) {
  SeededRandom random;
  int otherwise = 0;
  for (int i = 0; i < 200; ++i) {
    FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 640, 480);
    const float scale = reference::headPose(*face.set()).projection.scale;
    const float inDouble = static_cast<float>(static_cast<double>(scale) * 6.2773);
    const float length = lengthOf(face);
    EXPECT_SAME_FLOAT(scale * 6.2773f, length);
    if (inDouble != length) ++otherwise;
  }
  EXPECT_GT(otherwise, 0) << "no face told the float constant from a double one";
}

TEST(EstimateHeadPose, AllEntriesAreUsedIncludingThoseThatTheAlignmentDrops) {
  for (int32_t id : {0, 6, 10, 200, 240, 241, 300, 315, 316}) {
    FaceRecord face = projectedFace({5.0f, 3.0f, 10.0f, 20.0f, 300.0f, 200.0f});
    const float before = lengthOf(face);
    face.withId(id).x += 15.0f;
    EXPECT_NE(before, lengthOf(face)) << "id " << id;
  }
}

TEST(EstimateHeadPose, AnUnlistedIdIsTreatedAsAnotherPointOfIdZero) {
  SeededRandom random;
  for (int32_t id : {7, 8, 14, 42, 46, 199, 220, 224, 299, 301, 313, 317}) {
    FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 640, 480);
    face.entries.push_back({id, 250.0f, 180.0f});
    const float asUnlisted = lengthOf(face);
    face.entries.back().id = 0;
    EXPECT_SAME_FLOAT(lengthOf(face), asUnlisted) << "id " << id;
    face.entries.back().id = 9;
    EXPECT_NE(lengthOf(face), asUnlisted) << "id " << id;
  }
}

TEST(EstimateHeadPose, TheOrderOfEntriesChangesTheLastBitsAtMost) {
  SeededRandom random;
  FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 640, 480);
  const float first = lengthOf(face);
  for (int i = 0; i < 50; ++i) {
    face.shuffle(random);
    EXPECT_NEAR(first, lengthOf(face), first * 1e-4f);
    expectLikeReference(face);
  }
}

TEST(EstimateHeadPose, CountHasNoUpperLimit) {
  SeededRandom random;
  FaceRecord face;
  for (int i = 0; i < 20000; ++i) {
    face.entries.push_back(
        {random.integer(0, 317), random.between(0.0f, 900.0f), random.between(0.0f, 900.0f)});
  }
  expectLikeReference(face);
  EXPECT_TRUE(std::isfinite(lengthOf(face)));
}

TEST(EstimateHeadPose, ACountWhoseBytesCannotBeCountedFailsAsExhaustedMemory) {
  LandmarkSet set = {};
  for (int32_t count : {-1, std::numeric_limits<int32_t>::min()}) {
    set.count = count;
    EXPECT_THROW(poseOf(&set), std::bad_alloc) << count;
  }
}

TEST(EstimateHeadPose, NoEntriesGiveNanWithoutACrash) {
  FaceRecord face;
  EXPECT_TRUE(std::isnan(lengthOf(face)));
}

TEST(EstimateHeadPose, TooFewPointsStillGiveAResult) {
  SeededRandom random;
  for (size_t count = 1; count <= 5; ++count) {
    for (int i = 0; i < 40; ++i) {
      FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 640, 480);
      face.entries.resize(count);
      SCOPED_TRACE(count);
      expectLikeReference(face);
    }
  }
}

TEST(EstimateHeadPose, ANanOrInfiniteCoordinatePropagatesIntoTheResult) {
  SeededRandom random;
  for (int i = 0; i < 40; ++i) {
    FaceRecord nan = faceOfKind(random, FaceKind::kNotANumber, 640, 480);
    FaceRecord infinite = faceOfKind(random, FaceKind::kInfinite, 640, 480);
    EXPECT_TRUE(std::isnan(lengthOf(nan)));
    EXPECT_FALSE(std::isfinite(lengthOf(infinite)));
  }
}

TEST(EstimateHeadPose, AllLandmarksAtOnePointGiveNan) {
  FaceRecord face = projectedFace({0.0f, 0.0f, 0.0f, 20.0f, 300.0f, 200.0f});
  for (Landmark& entry : face.entries) entry.x = entry.y = 64.0f;
  EXPECT_TRUE(std::isnan(lengthOf(face)));
}

TEST(EstimateHeadPose, TheReservedWordIsNotRead) {
  FaceRecord face = projectedFace({5.0f, 3.0f, 10.0f, 20.0f, 300.0f, 200.0f});
  const float wanted = lengthOf(face);
  std::vector<unsigned char> copy(8 + 12 * face.entries.size());
  std::memcpy(copy.data(), face.set(), copy.size());
  for (int fill : {0, 1, 255}) {
    std::memset(copy.data() + 4, fill, 4);
    EXPECT_SAME_FLOAT(wanted,
                      poseOf(reinterpret_cast<const LandmarkSet*>(copy.data())).referenceLength);
  }
}

TEST(EstimateHeadPose, TheRecordIsOnlyRead) {
  FaceRecord face = projectedFace({5.0f, 3.0f, 10.0f, 20.0f, 300.0f, 200.0f});
  const LandmarkSet* set = face.set();
  std::vector<unsigned char> before(8 + 12 * face.entries.size());
  std::memcpy(before.data(), set, before.size());
  poseOf(set);
  EXPECT_EQ(0, std::memcmp(before.data(), set, before.size()));
}

}  // namespace
}  // namespace facefeature_test
