// FitProjection and SolveProjectionRows: the fit inside EstimateHeadPose, with arbitrary points.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "geometry/head_pose.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/reference_geometry.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

struct Points {
  std::vector<float> image;
  std::vector<float> model;

  int32_t count() const { return static_cast<int32_t>(image.size() / 2); }
};

struct Fit {
  float rotation[9];
  float translation[3];
  float scale;
};

Fit fit(const Points& points) {
  Fit result;
  FitProjection(points.image.data(), points.model.data(), points.count(), result.rotation,
                result.translation, &result.scale);
  return result;
}

void expectFitLikeReference(const Points& points) {
  const reference::Projection wanted = reference::fitProjection(points.image, points.model);
  const Fit got = fit(points);
  EXPECT_TRUE(sameFloats(wanted.rotation.data(), got.rotation, 9));
  EXPECT_TRUE(sameFloats(wanted.translation.data(), got.translation, 3));
  EXPECT_SAME_FLOAT(wanted.scale, got.scale);
}

void expectRowsLikeReference(const Points& points) {
  const reference::ProjectionRows wanted = reference::projectionRows(points.image, points.model);
  float got[8];
  EXPECT_EQ(wanted.status,
            SolveProjectionRows(points.image.data(), points.model.data(), points.count(), got));
  EXPECT_TRUE(sameFloats(wanted.values.data(), got, 8));
}

// The six end points of three axes, projected with x = 4 X and y = 2 Y.
Points axes() {
  Points points;
  for (float sign : {1.0f, -1.0f}) {
    points.model.insert(points.model.end(), {sign, 0.0f, 0.0f, 0.0f, sign, 0.0f, 0.0f, 0.0f, sign});
    points.image.insert(points.image.end(), {4.0f * sign, 0.0f, 0.0f, 2.0f * sign, 0.0f, 0.0f});
  }
  return points;
}

Points randomPoints(Random& random, int32_t count) {
  Points points;
  points.image = random.normals(2 * static_cast<size_t>(count), 40.0f);
  points.model = random.normals(3 * static_cast<size_t>(count), 5.0f);
  return points;
}

TEST(FitProjection, EachOperationIsRoundedInTheOrderOfTheReference) {
  SeededRandom random;
  for (int i = 0; i < 400; ++i) {
    const Points points = randomPoints(random, random.integer(0, 60));
    SCOPED_TRACE(points.count());
    expectFitLikeReference(points);
    expectRowsLikeReference(points);
  }
}

TEST(FitProjection, SpecialValuesPropagateAsInTheReference) {
  SeededRandom random;
  for (int i = 0; i < 300; ++i) {
    Points points = randomPoints(random, random.integer(1, 30));
    const int32_t index = random.integer(0, 2 * points.count() - 1);
    std::vector<float>& list = random.chance(50) ? points.image : points.model;
    list[static_cast<size_t>(index)] = random.special();
    expectFitLikeReference(points);
    expectRowsLikeReference(points);
  }
}

TEST(FitProjection, ExactProjectionsReturnTheirRotation) {
  SeededRandom random;
  FaceRecord face = projectedFace({0.0f, 0.0f, 90.0f, 10.0f, 0.0f, 0.0f});
  Points points;
  for (size_t i = 0; i < face.entries.size(); ++i) {
    const reference::ModelRow& row = reference::modelRows()[i];
    points.image.insert(points.image.end(), {face.entries[i].x, face.entries[i].y});
    points.model.insert(points.model.end(), {row.x, row.y, row.z});
  }
  const Fit got = fit(points);
  const float quarterTurn[9] = {0.0f, -1.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f};
  for (size_t i = 0; i < 9; ++i) EXPECT_NEAR(quarterTurn[i], got.rotation[i], 1e-4f) << i;
  EXPECT_NEAR(10.0f, got.scale, 1e-3f);
  EXPECT_NEAR(0.0f, got.translation[0], 1e-2f);
  EXPECT_NEAR(0.0f, got.translation[1], 1e-2f);
  // Minus the mean depth of the model points, 9.144, in pixels.
  EXPECT_NEAR(-91.44f, got.translation[2], 0.02f);
}

TEST(FitProjection, OrthogonalRowsAreJustRescaledToTheirMeanLength) {
  const Points points = axes();
  const Fit got = fit(points);
  EXPECT_NEAR(3.0f, got.scale, 1e-5f);
  EXPECT_NEAR(1.0f, got.rotation[0], 1e-6f);
  EXPECT_NEAR(1.0f, got.rotation[4], 1e-6f);
  EXPECT_NEAR(1.0f, got.rotation[8], 1e-6f);
  for (size_t i = 0; i < 9; ++i) {
    if (i % 4 == 0) continue;
    EXPECT_EQ(0.0f, got.rotation[i]) << i;
  }
  expectFitLikeReference(points);
}

TEST(FitProjection, ParallelRowsGiveANanScale) {
  Points points = axes();
  for (size_t i = 0; i < points.image.size(); i += 2) points.image[i + 1] = points.image[i];
  EXPECT_TRUE(std::isnan(fit(points).scale));
  expectFitLikeReference(points);
}

TEST(FitProjection, TheThirdRowIsTheCrossProductAndNotMadeAUnitVector) {
  SeededRandom random;
  bool offUnitLength = false;
  for (int i = 0; i < 50; ++i) {
    const Fit got = fit(randomPoints(random, 29));
    const float* r = got.rotation;
    EXPECT_SAME_FLOAT(r[5] * r[1] - r[4] * r[2], r[6]);
    EXPECT_SAME_FLOAT(r[3] * r[2] - r[5] * r[0], r[7]);
    EXPECT_SAME_FLOAT(r[4] * r[0] - r[3] * r[1], r[8]);
    const float length = (r[6] * r[6] + r[7] * r[7]) + r[8] * r[8];
    if (length != 1.0f) offUnitLength = true;
  }
  EXPECT_TRUE(offUnitLength);
}

TEST(FitProjection, AFailedFactorisationIsNotDetected) {
  SeededRandom random;
  for (int i = 0; i < 50; ++i) {
    Points points = randomPoints(random, 12);
    for (size_t k = 2; k < points.model.size(); k += 3) points.model[k] = 0.0f;
    // The rows are then the sums themselves, and the fit is still computed from them.
    EXPECT_TRUE(std::isfinite(fit(points).scale));
    expectFitLikeReference(points);
  }
}

TEST(SolveProjectionRows, FindsTheEightCoefficients) {
  const float wanted[8] = {2.0f, -1.0f, 0.5f, 3.0f, 0.25f, 4.0f, -2.0f, -7.0f};
  Points points;
  for (int corner = 0; corner < 8; ++corner) {
    const float x = corner & 1 ? 1.0f : -1.0f;
    const float y = corner & 2 ? 1.0f : -1.0f;
    const float z = corner & 4 ? 1.0f : -1.0f;
    points.model.insert(points.model.end(), {x, y, z});
    for (const float* p : {wanted, wanted + 4}) {
      points.image.push_back(p[0] * x + p[1] * y + p[2] * z + p[3]);
    }
  }
  float got[8];
  EXPECT_EQ(1, SolveProjectionRows(points.image.data(), points.model.data(), 8, got));
  for (size_t i = 0; i < 8; ++i) EXPECT_NEAR(wanted[i], got[i], 1e-5f) << i;
}

TEST(SolveProjectionRows, AFailedFactorisationLeavesTheUnsolvedSums) {
  Points points;
  points.model = {1.0f, 2.0f, 0.0f, 3.0f, 5.0f, 0.0f, -4.0f, 1.0f, 0.0f, 2.0f, 2.0f, 0.0f};
  points.image = {10.0f, 1.0f, 20.0f, 2.0f, 30.0f, 3.0f, 40.0f, 4.0f};
  float got[8];
  EXPECT_EQ(0, SolveProjectionRows(points.image.data(), points.model.data(), 4, got));
  const float sums[8] = {30.0f, 230.0f, 0.0f, 100.0f, 3.0f, 23.0f, 0.0f, 10.0f};
  EXPECT_TRUE(sameFloats(sums, got, 8));
}

TEST(SolveProjectionRows, NoPointsFailTheFirstPivot) {
  float got[8];
  EXPECT_EQ(0, SolveProjectionRows(nullptr, nullptr, 0, got));
  const float zeros[8] = {};
  EXPECT_TRUE(sameFloats(zeros, got, 8));
}

}  // namespace
}  // namespace facefeature_test
