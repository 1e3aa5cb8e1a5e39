// The statements of docs/scores.md, on random features and with the library itself.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "model/library_loader.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"

namespace facefeature_test {
namespace {

constexpr int kRounds = 400;

float compareFeatures(const FeatureVector& a, const FeatureVector& b) {
  static const facefeature_tools::LoadedLibrary library;
  return library.compareFeatures(&a, &b);
}

FeatureVector scaled(const FeatureVector& feature, float factor) {
  FeatureVector result = feature;
  for (int i = 0; i < 500; ++i) result.values[i] *= factor;
  result.values[500] *= factor * factor;
  result.values[501] *= factor;
  return result;
}

// Rounding: 500 sums and products have an error of at most 500 times half of 2^-23 of the sum of
// the absolute products, which is at most the product of the norms. The factor 2 doubles this, the
// norms themselves add the same, and there are a few more operations.
constexpr double kRounding = 2000 * 0x1p-24;

// The exact formula, up to the precision of double.
double exactScore(const FeatureVector& a, const FeatureVector& b) {
  double product = 0.0;
  for (int i = 499; i >= 0; --i) product += static_cast<double>(a.values[i]) * b.values[i];
  const double squares = static_cast<double>(a.values[500]) + b.values[500];
  return (2.0 * product - squares) / (static_cast<double>(a.values[501]) * b.values[501]) + 1.0;
}

// The scale of rounding errors: the magnitudes in the numerator.
double sizeOf(const FeatureVector& a, const FeatureVector& b) {
  return 3.0 + (static_cast<double>(a.values[500]) + b.values[500]) /
                   (static_cast<double>(a.values[501]) * b.values[501]);
}

class Scores : public ::testing::Test {
 protected:
  SeededRandom random;
};

TEST_F(Scores, FollowTheFormula) {
  for (int round = 0; round < kRounds; ++round) {
    const FeatureVector a = randomFeature(random);
    const FeatureVector b = randomFeature(random);
    EXPECT_NEAR(exactScore(a, b), compareFeatures(a, b), kRounding * sizeOf(a, b));
  }
}

TEST_F(Scores, AreTheSameBitsInEitherOrder) {
  for (int round = 0; round < kRounds; ++round) {
    const FeatureVector a = randomFeature(random);
    const FeatureVector b = randomFeature(random);
    EXPECT_BITS(bitsOf(compareFeatures(a, b)), compareFeatures(b, a));
  }
}

TEST_F(Scores, OfAFaceWithItselfAreThreeLessTwiceTheQuotient) {
  for (int round = 0; round < kRounds; ++round) {
    const FeatureVector a = randomFeature(random);
    const double norm = a.values[501];
    const double wanted = 3.0 - 2.0 * a.values[500] / (norm * norm);
    EXPECT_NEAR(wanted, compareFeatures(a, a), kRounding * sizeOf(a, a));
  }
}

TEST_F(Scores, OfAFaceWithItselfAre1WhereBothSquaresAreOne) {
  for (int round = 0; round < kRounds; ++round) {
    FeatureVector a = randomFeature(random);
    float squares = 0.0f;
    for (int i = 0; i < 500; ++i) squares += a.values[i] * a.values[i];
    a.values[500] = squares;
    EXPECT_EQ(1.0f, compareFeatures(a, a));
  }
}

TEST_F(Scores, AreAtMost3AndLessTheMoreTheSelfScoresAreBelow3) {
  for (int round = 0; round < kRounds; ++round) {
    FeatureVector a = randomFeature(random);
    FeatureVector b = randomFeature(random);
    // Sometimes as similar as possible, and sometimes with very different lengths.
    if (random.chance(30)) b = scaled(a, random.between(0.1f, 10.0f));
    if (random.chance(30)) b.values[500] = 0.0f;
    if (random.chance(30)) a.values[500] = 0.0f;
    const double rounding = kRounding * sizeOf(a, b);
    const double selfA = 3.0 - exactScore(a, a);
    const double selfB = 3.0 - exactScore(b, b);
    EXPECT_LE(compareFeatures(a, b), 3.0 + rounding);
    EXPECT_LE(compareFeatures(a, b),
              3.0 - std::sqrt(std::fmax(selfA, 0.0) * std::fmax(selfB, 0.0)) + 4 * rounding);
  }
}

TEST_F(Scores, Reach3WhereNothingIsTakenAway) {
  FeatureVector a = randomFeature(random);
  a.values[500] = 0.0f;
  EXPECT_NEAR(3.0, compareFeatures(a, a), 3.0 * kRounding);
}

TEST_F(Scores, HaveNoLowerBound) {
  const FeatureVector b = randomFeature(random);
  FeatureVector a = b;
  float before = std::numeric_limits<float>::infinity();
  for (float square = 1e3f; square < 1e30f; square *= 1e3f) {
    a.values[500] = square;
    const float score = compareFeatures(a, b);
    EXPECT_LT(score, before);
    before = score;
  }
  EXPECT_LT(before, -1e20f);
}

TEST_F(Scores, OfAFaceWithItselfNeedNotBeItsHighest) {
  const FeatureVector a = randomFeature(random);
  FeatureVector b = a;
  b.values[500] = a.values[500] / 2.0f;
  EXPECT_GT(compareFeatures(a, b), compareFeatures(a, a));
}

TEST_F(Scores, OfBothFeaturesScaledByAPowerOfTwoAreTheSameBits) {
  for (int round = 0; round < kRounds; ++round) {
    const FeatureVector a = randomFeature(random);
    const FeatureVector b = randomFeature(random);
    const float factor = std::ldexp(1.0f, random.integer(-20, 20));
    const FeatureVector scaledA = scaled(a, factor);
    const FeatureVector scaledB = scaled(b, factor);
    EXPECT_BITS(bitsOf(compareFeatures(a, b)), compareFeatures(scaledA, scaledB));
  }
}

TEST_F(Scores, AreNaNIfAFeatureContainsANaN) {
  for (int index = 0; index < 502; ++index) {
    FeatureVector a = randomFeature(random);
    const FeatureVector b = randomFeature(random);
    a.values[index] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::isnan(compareFeatures(a, b))) << index;
    EXPECT_TRUE(std::isnan(compareFeatures(b, a))) << index;
  }
}

TEST_F(Scores, OfAFeatureOfZerosAreNaNOrInfinite) {
  const FeatureVector zeros = {};
  const FeatureVector a = randomFeature(random);
  EXPECT_TRUE(std::isnan(compareFeatures(zeros, zeros)));
  EXPECT_EQ(-std::numeric_limits<float>::infinity(), compareFeatures(zeros, a));
}

}  // namespace
}  // namespace facefeature_test
