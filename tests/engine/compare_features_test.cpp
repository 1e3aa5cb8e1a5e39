#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "engine/feature_engine.h"
#include "support/bits.h"
#include "support/reference_projection.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

FeatureVector zeroFeature() {
  FeatureVector feature = {};
  return feature;
}

// With these values, swapping any two terms of a sum changes its bits.
FeatureVector randomFeature(Random& random) {
  FeatureVector feature;
  for (float& value : feature.values) {
    value = std::ldexp(random.normal(), random.integer(-12, 12));
  }
  return feature;
}

TEST(CompareFeatures, HasTheBitsOfTheFormulaStepByStep) {
  SeededRandom random;
  for (int round = 0; round < 2000; ++round) {
    const FeatureVector a = randomFeature(random);
    const FeatureVector b = randomFeature(random);
    ASSERT_SAME_FLOAT(reference::compare(a.values, b.values), facefeature::CompareFeatures(&a, &b));
  }
}

TEST(CompareFeatures, SpecialValuesPropagate) {
  SeededRandom random;
  for (int round = 0; round < 2000; ++round) {
    FeatureVector a = randomFeature(random);
    FeatureVector b = randomFeature(random);
    for (int32_t spot = random.integer(1, 3); spot > 0; --spot) {
      FeatureVector& spoilt = random.chance(50) ? a : b;
      const int32_t index = random.chance(50) ? random.integer(500, 501) : random.integer(0, 499);
      spoilt.values[index] = random.special();
    }
    ASSERT_SAME_FLOAT(reference::compare(a.values, b.values), facefeature::CompareFeatures(&a, &b));
  }
}

TEST(CompareFeatures, SwappedArgumentsGiveTheSameBits) {
  SeededRandom random;
  for (int round = 0; round < 500; ++round) {
    const FeatureVector a = randomFeature(random);
    const FeatureVector b = randomFeature(random);
    ASSERT_SAME_FLOAT(facefeature::CompareFeatures(&a, &b), facefeature::CompareFeatures(&b, &a));
  }
}

TEST(CompareFeatures, AVectorWhoseElement500IsItsOwnSumOfSquaresScoresExactlyOneWithItself) {
  SeededRandom random;
  for (int round = 0; round < 200; ++round) {
    FeatureVector a = randomFeature(random);
    float sum = 0.0f;
    for (int k = 0; k < 500; ++k) sum += a.values[k] * a.values[k];
    a.values[500] = sum;
    EXPECT_SAME_FLOAT(1.0f, facefeature::CompareFeatures(&a, &a));
  }
}

TEST(CompareFeatures, TheScoreIsNotClamped) {
  FeatureVector a = zeroFeature();
  FeatureVector b = zeroFeature();
  a.values[0] = b.values[0] = 3.0f;
  a.values[501] = b.values[501] = 0.5f;
  EXPECT_SAME_FLOAT(73.0f, facefeature::CompareFeatures(&a, &b));  // 2 * 9 / 0.25 + 1
  b.values[0] = -3.0f;
  EXPECT_SAME_FLOAT(-71.0f, facefeature::CompareFeatures(&a, &b));
}

TEST(CompareFeatures, Element500OfBothIsSubtractedOnce) {
  FeatureVector a = zeroFeature();
  FeatureVector b = zeroFeature();
  a.values[500] = 6.0f;
  b.values[500] = 2.0f;
  a.values[501] = 4.0f;
  b.values[501] = 1.0f;
  EXPECT_SAME_FLOAT(-1.0f, facefeature::CompareFeatures(&a, &b));  // -(6 + 2) / 4 + 1
}

TEST(CompareFeatures, TwoFeaturesOfZerosGiveNotANumber) {
  const FeatureVector a = zeroFeature();
  EXPECT_TRUE(std::isnan(facefeature::CompareFeatures(&a, &a)));
}

TEST(CompareFeatures, ANormOfZeroUnderANumeratorGivesInfinity) {
  FeatureVector a = zeroFeature();
  FeatureVector b = zeroFeature();
  a.values[7] = b.values[7] = 1.0f;
  b.values[501] = 1.0f;
  EXPECT_SAME_FLOAT(kInfinity, facefeature::CompareFeatures(&a, &b));
  b.values[7] = -1.0f;
  EXPECT_SAME_FLOAT(-kInfinity, facefeature::CompareFeatures(&a, &b));
}

TEST(CompareFeatures, AFeatureOfARejectedRequestGivesNotANumber) {
  SeededRandom random;
  const FeatureVector good = randomFeature(random);
  FeatureVector rejected;
  for (float& value : rejected.values) value = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(std::isnan(facefeature::CompareFeatures(&good, &rejected)));
  EXPECT_TRUE(std::isnan(facefeature::CompareFeatures(&rejected, &good)));
}

TEST(CompareFeatures, ReadsExactlyTheTwoFeatures) {
  SeededRandom random;
  const FeatureVector a = randomFeature(random);
  const FeatureVector b = randomFeature(random);
  const float wanted = reference::compare(a.values, b.values);
  // In separate storage, one float off any wider alignment and surrounded by NaNs.
  for (size_t shift = 0; shift < 8; ++shift) {
    std::vector<float> storage(512 + 512, std::numeric_limits<float>::quiet_NaN());
    FeatureVector* first = reinterpret_cast<FeatureVector*>(storage.data() + shift);
    FeatureVector* second = reinterpret_cast<FeatureVector*>(storage.data() + 512 + shift / 2);
    *first = a;
    *second = b;
    EXPECT_SAME_FLOAT(wanted, facefeature::CompareFeatures(first, second));
    EXPECT_TRUE(sameFloats(a.values, first->values, 502));
    EXPECT_TRUE(sameFloats(b.values, second->values, 502));
  }
}

}  // namespace
}  // namespace facefeature_test
