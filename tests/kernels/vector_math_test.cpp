#include "kernels/vector_math.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/reference_arithmetic.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using Unary = void (*)(int32_t, const float*, float*);
using Binary = void (*)(int32_t, const float*, const float*, float*);

struct UnaryCase {
  const char* name;
  Unary routine;
  std::function<float(float)> wanted;
};

struct BinaryCase {
  const char* name;
  Binary routine;
  std::function<float(float, float)> wanted;
};

std::vector<UnaryCase> unaryCases() {
  return {
      {"vsInv", facefeature::vsInv, [](float x) { return reference::quotient(1.0f, x); }},
      {"vsSqr", facefeature::vsSqr, [](float x) { return reference::product(x, x); }},
      {"vsExp", facefeature::vsExp, reference::exponential},
      {"vsLn", facefeature::vsLn,
       [](float x) { return reference::rounded(std::log(static_cast<double>(x))); }},
      {"vsTanh", facefeature::vsTanh,
       [](float x) { return reference::rounded(std::tanh(static_cast<double>(x))); }},
  };
}

std::vector<BinaryCase> binaryCases() {
  return {{"vsMul", facefeature::vsMul, reference::product},
          {"vsDiv", facefeature::vsDiv, reference::quotient}};
}

constexpr float kGuard = 12345.0f;

std::vector<float> inputs(Random& random, int32_t count) {
  std::vector<float> values(static_cast<size_t>(count));
  for (float& value : values) {
    value = random.chance(15)   ? random.special()
            : random.chance(30) ? std::ldexp(random.normal(), random.integer(-140, 100))
                                : random.normal() * 4.0f;
  }
  return values;
}

TEST(VectorMath, UnaryRoutinesAgreeAtEveryLengthAndTouchNothingBeyond) {
  SeededRandom random;
  for (const UnaryCase& unary : unaryCases()) {
    for (int32_t n = 0; n <= 70; ++n) {
      const std::vector<float> a = inputs(random, n);
      std::vector<float> y(static_cast<size_t>(n) + 2, kGuard), wanted = y;
      for (size_t i = 0; i < a.size(); ++i) wanted[i + 1] = unary.wanted(a[i]);
      unary.routine(n, a.data(), y.data() + 1);
      ASSERT_TRUE(sameFloats(wanted.data(), y.data(), y.size())) << unary.name << ", n " << n;
    }
  }
}

TEST(VectorMath, BinaryRoutinesAgreeAtEveryLengthAndTouchNothingBeyond) {
  SeededRandom random;
  for (const BinaryCase& binary : binaryCases()) {
    for (int32_t n = 0; n <= 70; ++n) {
      const std::vector<float> a = inputs(random, n), b = inputs(random, n);
      std::vector<float> y(static_cast<size_t>(n) + 2, kGuard), wanted = y;
      for (size_t i = 0; i < a.size(); ++i) wanted[i + 1] = binary.wanted(a[i], b[i]);
      binary.routine(n, a.data(), b.data(), y.data() + 1);
      ASSERT_TRUE(sameFloats(wanted.data(), y.data(), y.size())) << binary.name << ", n " << n;
    }
  }
}

TEST(VectorMath, OutputMayBeAnInput) {
  SeededRandom random;
  for (const UnaryCase& unary : unaryCases()) {
    std::vector<float> a = inputs(random, 33), wanted;
    for (const float x : a) wanted.push_back(unary.wanted(x));
    unary.routine(33, a.data(), a.data());
    EXPECT_TRUE(sameFloats(wanted.data(), a.data(), a.size())) << unary.name;
  }
  for (const BinaryCase& binary : binaryCases()) {
    std::vector<float> a = inputs(random, 33), b = inputs(random, 33), wanted;
    for (size_t i = 0; i < a.size(); ++i) wanted.push_back(binary.wanted(a[i], b[i]));
    binary.routine(33, a.data(), b.data(), b.data());
    EXPECT_TRUE(sameFloats(wanted.data(), b.data(), b.size())) << binary.name;
  }
}

TEST(VectorMath, NegativeLengthComputesNothing) {
  const float a = 2.0f;
  float y = kGuard;
  for (const UnaryCase& unary : unaryCases()) unary.routine(-1, &a, &y);
  for (const BinaryCase& binary : binaryCases()) binary.routine(-3, &a, &a, &y);
  EXPECT_SAME_FLOAT(kGuard, y);
}

TEST(VectorMath, NullPointersComputeNothing) {
  const float a = 2.0f;
  float y = kGuard;
  for (const UnaryCase& unary : unaryCases()) {
    unary.routine(1, nullptr, &y);
    unary.routine(1, &a, nullptr);
  }
  for (const BinaryCase& binary : binaryCases()) {
    binary.routine(1, nullptr, &a, &y);
    binary.routine(1, &a, nullptr, &y);
    binary.routine(1, &a, &a, nullptr);
  }
  EXPECT_SAME_FLOAT(kGuard, y);
}

TEST(VectorMath, ExponentialIsTakenInDoubleAndRoundedOnce) {
  // Detects a single-precision routine that is off by one unit anywhere in this row.
  std::vector<float> a, wanted;
  for (int32_t i = -1040; i <= 890; ++i) a.push_back(static_cast<float>(i) * 0.1f);
  for (const float x : a) wanted.push_back(reference::exponential(x));
  std::vector<float> y(a.size());
  facefeature::vsExp(static_cast<int32_t>(a.size()), a.data(), y.data());
  EXPECT_TRUE(sameFloats(wanted.data(), y.data(), y.size()));
}

}  // namespace
}  // namespace facefeature_test
