#include "geometry/face_similarity.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/faces.h"
#include "support/reference_arithmetic.h"
#include "support/reference_geometry.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

FaceAnchors anchors(float x6, float y6, float x8, float y8) {
  const float dx = x6 - x8;
  const float dy = y6 - y8;
  return {x6, y6, x8, y8, std::sqrt(dx * dx + dy * dy)};
}

::testing::AssertionResult same(const reference::Similarity& wanted, const FaceSimilarity& got) {
  const float wantedFloats[4] = {wanted.a, wanted.b, wanted.tx, wanted.ty};
  const float gotFloats[4] = {got.a, got.b, got.tx, got.ty};
  return sameFloats(wantedFloats, gotFloats, 4);
}

void expectFitsLikeReference(const FaceAnchors& a, float h) {
  const reference::Point upper = {a.x6, a.y6};
  const reference::Point lower = {a.x8, a.y8};
  EXPECT_TRUE(same(reference::fitToCanonical(upper, lower, h), fitToCanonical(a, h)));
  EXPECT_TRUE(same(reference::fitToImage(upper, lower, h), fitToImage(a, h)));
}

reference::Point mapped(const FaceSimilarity& s, float x, float y) {
  return {s.a * x - s.b * y + s.tx, s.b * x + s.a * y + s.ty};
}

bool isFinite(const FaceSimilarity& s) {
  return std::isfinite(s.a) && std::isfinite(s.b) && std::isfinite(s.tx) && std::isfinite(s.ty);
}

FaceAnchors randomAnchors(Random& random, float reach) {
  return anchors(random.between(-reach, reach), random.between(-reach, reach),
                 random.between(-reach, reach), random.between(-reach, reach));
}

TEST(AnchorsOf, TakesSlotsSixAndEightByPosition) {
  Landmark slots[kSlotCount];
  for (int32_t k = 0; k < kSlotCount; ++k) {
    slots[k] = {100 - k, static_cast<float>(10 * k), static_cast<float>(10 * k * k)};
  }
  const FaceAnchors got = anchorsOf(slots);
  EXPECT_EQ(60.0f, got.x6);
  EXPECT_EQ(360.0f, got.y6);
  EXPECT_EQ(80.0f, got.x8);
  EXPECT_EQ(640.0f, got.y8);
}

TEST(AnchorsOf, TheDistanceIsRoundedLikeInTheReference) {
  SeededRandom random;
  for (int i = 0; i < 3000; ++i) {
    std::vector<Landmark> slots(kSlotCount, Landmark{0, 0.0f, 0.0f});
    for (size_t k : {size_t{6}, size_t{8}}) {
      slots[k].x = random.chance(5) ? random.special() : random.between(-900.0f, 900.0f);
      slots[k].y = random.chance(5) ? random.special() : random.between(-900.0f, 900.0f);
    }
    EXPECT_SAME_FLOAT(reference::anchorDistance(slots), anchorsOf(slots.data()).distance);
  }
}

TEST(LowerAnchorHeight, MultipliesFirstDividesThenAddsSixty) {
  SeededRandom random;
  for (int i = 0; i < 2000; ++i) {
    const int32_t patch = random.integer(0, 24);
    const float distance = random.chance(5) ? random.special() : random.between(0.0f, 500.0f);
    const float length = random.chance(5) ? random.special() : random.between(1.0f, 800.0f);
    const FaceAnchors face = {0.0f, 0.0f, 0.0f, 0.0f, distance};
    EXPECT_SAME_FLOAT(reference::lowerAnchorHeight(patch, distance, length),
                      lowerAnchorHeight(reference::patchRow(patch).span, face, length));
  }
}

TEST(LowerAnchorHeight, AnInvalidReferenceLengthGivesAnInvalidHeight) {
  const FaceAnchors face = anchors(0.0f, 0.0f, 0.0f, 50.0f);
  EXPECT_TRUE(std::isnan(lowerAnchorHeight(33, face, kNaN)));
  EXPECT_EQ(kInfinity, lowerAnchorHeight(33, face, 0.0f));
  // Both anchors then coincide in the frame.
  EXPECT_EQ(60.0f, lowerAnchorHeight(33, face, kInfinity));
}

TEST(FitToCanonicalAndToImage, EachOperationIsRoundedInTheOrderOfTheReference) {
  SeededRandom random;
  for (float reach : {3.0f, 100.0f, 1000.0f, 20000.0f}) {
    for (int i = 0; i < 1500; ++i) {
      expectFitsLikeReference(randomAnchors(random, reach), random.between(-40.0f, 160.0f));
    }
  }
}

TEST(FitToCanonicalAndToImage, SpecialValuesPropagateAsInTheReference) {
  SeededRandom random;
  for (int i = 0; i < 1000; ++i) {
    FaceAnchors face = randomAnchors(random, 500.0f);
    float* coordinates[4] = {&face.x6, &face.y6, &face.x8, &face.y8};
    *coordinates[random.integer(0, 3)] = random.special();
    expectFitsLikeReference(face, random.chance(20) ? random.special() : 92.0f);
  }
}

TEST(FitToCanonical, BothAnchorsMapToTheirPointsOfTheFrame) {
  SeededRandom random;
  for (int i = 0; i < 500; ++i) {
    const FaceAnchors face = randomAnchors(random, 100.0f);
    if (face.distance < 20.0f) continue;
    const FaceSimilarity s = fitToCanonical(face, 95.0f);
    const reference::Point upper = mapped(s, face.x6, face.y6);
    const reference::Point lower = mapped(s, face.x8, face.y8);
    EXPECT_NEAR(80.0f, upper.x, 0.02f);
    EXPECT_NEAR(60.0f, upper.y, 0.02f);
    EXPECT_NEAR(80.0f, lower.x, 0.02f);
    EXPECT_NEAR(95.0f, lower.y, 0.02f);
  }
}

TEST(FitToImage, ThePointsOfTheFrameMapToBothAnchors) {
  SeededRandom random;
  for (int i = 0; i < 500; ++i) {
    const FaceAnchors face = randomAnchors(random, 100.0f);
    const FaceSimilarity s = fitToImage(face, 95.0f);
    const reference::Point upper = mapped(s, 80.0f, 60.0f);
    const reference::Point lower = mapped(s, 80.0f, 95.0f);
    EXPECT_NEAR(face.x6, upper.x, 0.02f);
    EXPECT_NEAR(face.y6, upper.y, 0.02f);
    EXPECT_NEAR(face.x8, lower.x, 0.02f);
    EXPECT_NEAR(face.y8, lower.y, 0.02f);
  }
}

TEST(FitToCanonical, TheScaleIsTheSpanOverTheReferenceLengthWhateverTheAnchorDistance) {
  for (float distance : {20.0f, 40.0f, 80.0f}) {
    const FaceAnchors face =
        anchors(50.0f, 30.0f, 50.0f + 0.6f * distance, 30.0f + 0.8f * distance);
    const FaceSimilarity s = fitToCanonical(face, lowerAnchorHeight(33, face, 60.0f));
    EXPECT_NEAR(33.0f / 60.0f, std::sqrt(s.a * s.a + s.b * s.b), 1e-3f) << distance;
  }
}

TEST(FitToCanonicalAndToImage, AnUprightFaceGivesAFrameParallelToTheRowsOfTheImage) {
  // Whole numbers, so that rounding does not hide the results of the closed forms.
  const FaceAnchors face = anchors(120.0f, 90.0f, 120.0f, 150.0f);
  EXPECT_EQ(0.0f, fitToCanonical(face, 100.0f).b);
  EXPECT_EQ(0.0f, fitToImage(face, 100.0f).b);
  EXPECT_GT(fitToCanonical(face, 100.0f).a, 0.0f);
  EXPECT_GT(fitToImage(face, 100.0f).a, 0.0f);
}

TEST(FitToImage, IsFittedSeparatelyAndIsNotTheInverse) {
  SeededRandom random;
  int different = 0;
  for (int i = 0; i < 100; ++i) {
    const FaceAnchors face = randomAnchors(random, 400.0f);
    const FaceSimilarity there = fitToCanonical(face, 92.0f);
    const FaceSimilarity back = fitToImage(face, 92.0f);
    const float square = there.a * there.a + there.b * there.b;
    if (back.a != there.a / square || back.b != -there.b / square) ++different;
  }
  EXPECT_GT(different, 50);
}

TEST(FitToImage, CoincidentAnchorsDivideByZero) {
  SeededRandom random;
  for (int i = 0; i < 200; ++i) {
    const float x = random.between(-500.0f, 500.0f);
    const float y = random.between(-500.0f, 500.0f);
    const FaceAnchors face = anchors(x, y, x, y);
    const FaceSimilarity s = fitToImage(face, lowerAnchorHeight(30, face, 77.0f));
    EXPECT_FALSE(std::isfinite(s.a));
    EXPECT_FALSE(std::isfinite(s.b));
    EXPECT_FALSE(std::isfinite(s.tx));
    EXPECT_FALSE(std::isfinite(s.ty));
  }
}

TEST(FitToCanonical, CoincidentAnchorsAtWholeNumbersDivideByZero) {
  const FaceAnchors face = anchors(64.0f, 32.0f, 64.0f, 32.0f);
  EXPECT_FALSE(isFinite(fitToCanonical(face, 60.0f)));
}

TEST(FitToCanonicalAndToImage, AnInvalidHeightGivesInvalidTransforms) {
  const FaceAnchors face = anchors(120.0f, 90.0f, 125.0f, 150.0f);
  for (float h : {kNaN, kInfinity, -kInfinity}) {
    EXPECT_FALSE(isFinite(fitToCanonical(face, h))) << h;
    EXPECT_FALSE(isFinite(fitToImage(face, h))) << h;
  }
  EXPECT_FALSE(isFinite(fitToImage(face, 60.0f)));
}

TEST(AlignSlots, EachOperationIsRoundedInTheOrderOfTheReference) {
  SeededRandom random;
  for (int i = 0; i < 300; ++i) {
    const FaceSimilarity s = {random.between(-2.0f, 2.0f), random.between(-2.0f, 2.0f),
                              random.between(-300.0f, 300.0f), random.between(-300.0f, 300.0f)};
    Landmark slots[kSlotCount];
    for (Landmark& slot : slots) {
      slot = {1, random.between(-500.0f, 500.0f), random.between(-500.0f, 500.0f)};
      if (random.chance(3)) slot.y = random.special();
    }
    float aligned[2 * kSlotCount];
    alignSlots(s, slots, aligned);
    for (size_t k = 0; k < kSlotCount; ++k) {
      const reference::Point wanted =
          reference::mapped({s.a, s.b, s.tx, s.ty}, {slots[k].x, slots[k].y});
      EXPECT_SAME_FLOAT(wanted.x, aligned[2 * k]) << "slot " << k;
      EXPECT_SAME_FLOAT(wanted.y, aligned[2 * k + 1]) << "slot " << k;
    }
  }
}

TEST(AlignSlots, ProductsAreRoundedBeforeTheyAreAdded) {
  // a x - b y is exactly 0 when the products are equal; a fused operation leaves the rounding error
  // of one product.
  const float third = 1.0f / 3.0f;
  const float x = 1.1f;
  ASSERT_NE(0.0f, reference::fused(third, x, -(third * x)));
  Landmark slots[kSlotCount];
  for (Landmark& slot : slots) slot = {1, x, x};
  float aligned[2 * kSlotCount];
  alignSlots({third, third, 0.0f, 0.0f}, slots, aligned);
  for (size_t k = 0; k < kSlotCount; ++k) EXPECT_EQ(0.0f, aligned[2 * k]);
}

}  // namespace
}  // namespace facefeature_test
