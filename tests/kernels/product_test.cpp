// Compares the sums of products of every kernel set with an oracle, in all bits, including those of
// NaNs.
#include "kernels/product.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "kernels/blas.h"
#include "support/bits.h"
#include "support/placed_floats.h"
#include "support/reference_arithmetic.h"
#include "support/scoped_kernels.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::KernelSet;
using facefeature::Product;

// The operands of cblas_sgemm, as stored.
struct Operands {
  int32_t m, n, k;
  bool transposesA, transposesB;
  int32_t lda, ldb, ldc;
  float alpha, beta;
  std::vector<float> a, b, c;

  float elementOfA(int32_t i, int32_t l) const {
    return a[static_cast<size_t>(transposesA ? l * lda + i : i * lda + l)];
  }
  float elementOfB(int32_t l, int32_t j) const {
    return b[static_cast<size_t>(transposesB ? j * ldb + l : l * ldb + j)];
  }
};

// The NaN that a step returns: its first NaN operand, or the default NaN.
float nanOfStep(float a, float b, float c) {
  for (const float operand : {a, b, c}) {
    if (std::isnan(operand)) return floatOfBits(bitsOf(operand) | 0x00400000u);
  }
  return floatOfBits(0xFFC00000u);
}

float chainOf(const Operands& o, int32_t i, int32_t j) {
  float sum = 0.0f;
  for (int32_t l = 0; l < o.k; ++l) {
    const float a = o.elementOfA(i, l), b = o.elementOfB(l, j);
    const float next = reference::fused(a, b, sum);
    sum = std::isnan(next) ? nanOfStep(a, b, sum) : next;
  }
  return sum;
}

// The whole of C as stored, including gaps.
std::vector<float> wantedOf(const Operands& o) {
  std::vector<float> c = o.c;
  for (int32_t i = 0; i < o.m; ++i) {
    for (int32_t j = 0; j < o.n; ++j) {
      float sum = chainOf(o, i, j);
      if (o.alpha != 1.0f) sum = reference::product(o.alpha, sum);
      float& element = c[static_cast<size_t>(i * o.ldc + j)];
      if (o.beta == 0.0f) {
        element = sum;
      } else {
        element =
            reference::sum(o.beta == 1.0f ? element : reference::product(o.beta, element), sum);
      }
    }
  }
  return c;
}

enum class Values { kNormal, kHostile };

float hostileFloat(Random& random) {
  static const uint32_t kBits[] = {0,           0x80000000u, 1,           0x80000001u,
                                   0x007FFFFFu, 0x00800000u, 0x7F7FFFFFu, 0x7F800000u,
                                   0xFF800000u, 0x7FC00001u, 0xFF8ABCDEu, 0x7F812345u};
  return floatOfBits(kBits[random.integer(0, 11)]);
}

std::vector<float> valuesOf(Random& random, Values values, int32_t count) {
  std::vector<float> floats = random.normals(static_cast<size_t>(count));
  if (values == Values::kNormal) return floats;
  for (float& value : floats) {
    const int32_t kind = random.integer(0, 29);
    if (kind == 0) value = hostileFloat(random);
    if (kind < 8) value = std::ldexp(value, random.integer(-100, 10));
  }
  return floats;
}

Operands randomOperands(Random& random, Values values) {
  Operands o;
  const bool isWide = random.chance(30);
  o.m = random.integer(1, 9);
  o.n = random.integer(1, isWide ? 400 : 70);
  o.k = random.chance(5) ? 0 : random.integer(1, random.chance(10) ? 300 : 60);
  o.transposesA = random.chance(30);
  o.transposesB = random.chance(30);
  o.lda = (o.transposesA ? o.m : o.k) + random.integer(0, 3);
  o.ldb = (o.transposesB ? o.k : o.n) + random.integer(0, 3);
  o.ldc = o.n + random.integer(0, 3);
  o.alpha = random.chance(70) ? 1.0f : random.normal();
  o.beta = random.chance(50) ? 0.0f : random.chance(50) ? 1.0f : random.normal();
  o.a = valuesOf(random, values, (o.transposesA ? o.k : o.m) * o.lda);
  o.b = valuesOf(random, values, (o.transposesB ? o.n : o.k) * o.ldb);
  o.c = valuesOf(random, values, o.m * o.ldc);
  return o;
}

std::vector<float> gotOf(Random& random, const Operands& o) {
  PlacedFloats a(o.a, randomPlacement(random)), b(o.b, randomPlacement(random)),
      c(o.c, randomPlacement(random));
  using namespace facefeature;
  cblas_sgemm(CblasRowMajor, o.transposesA ? CblasTrans : CblasNoTrans,
              o.transposesB ? CblasTrans : CblasNoTrans, o.m, o.n, o.k, o.alpha, a.data(), o.lda,
              b.data(), o.ldb, o.beta, c.data(), o.ldc);
  return std::vector<float>(c.data(), c.data() + o.c.size());
}

std::string describe(const Operands& o) {
  return std::to_string(o.m) + " x " + std::to_string(o.n) + " x " + std::to_string(o.k) +
         (o.transposesA ? ", A transposed" : "") + (o.transposesB ? ", B transposed" : "") +
         ", alpha " + std::to_string(o.alpha) + ", beta " + std::to_string(o.beta);
}

class ProductOfSet : public ::testing::TestWithParam<const KernelSet*> {
 protected:
  void expectBits(Values values, int rounds) {
    const ScopedKernels scope(*GetParam());
    for (int round = 0; round < rounds; ++round) {
      const Operands o = randomOperands(random, values);
      const std::vector<float> wanted = wantedOf(o), got = gotOf(random, o);
      ASSERT_TRUE(sameFloats(wanted.data(), got.data(), got.size()))
          << "round " << round << ", " << describe(o);
    }
  }

  SeededRandom random;
};

TEST_P(ProductOfSet, OrdinaryValuesInAllShapes) { expectBits(Values::kNormal, 400); }

TEST_P(ProductOfSet, SpecialValuesInAllShapes) { expectBits(Values::kHostile, 400); }

// sameFloats accepts any NaN for any other. The sums guarantee which NaN they return.
TEST_P(ProductOfSet, NaNsHaveTheBitsOfTheDefinition) {
  const ScopedKernels scope(*GetParam());
  int64_t nans = 0;
  for (int round = 0; round < 300; ++round) {
    Operands o = randomOperands(random, Values::kHostile);
    o.alpha = 1.0f;
    o.beta = 0.0f;
    const std::vector<float> got = gotOf(random, o);
    for (int32_t i = 0; i < o.m; ++i) {
      for (int32_t j = 0; j < o.n; ++j) {
        const float wanted = chainOf(o, i, j);
        nans += std::isnan(wanted);
        ASSERT_EQ(bitsOf(wanted), bitsOf(got[static_cast<size_t>(i * o.ldc + j)]))
            << "round " << round << ", " << describe(o) << ", element " << i << ", " << j;
      }
    }
  }
  EXPECT_GT(nans, 1000);
}

// A row of a product does not depend on the number of rows: a batch gives the bits of its single
// faces.
TEST_P(ProductOfSet, RowsDoNotDependOnTheirNumber) {
  const ScopedKernels scope(*GetParam());
  for (const int32_t k : {576, 768, 1024, 1200}) {
    Operands o = {33, 160, k, false, false, k, 160, 160, 1.0f, 0.0f, {}, {}, {}};
    o.a = random.normals(static_cast<size_t>(o.m * k));
    o.b = random.normals(static_cast<size_t>(k * 160));
    o.c.assign(static_cast<size_t>(o.m * 160), 0.0f);
    const std::vector<float> all = gotOf(random, o);
    for (const int32_t rows : {1, 2, 3, 4, 8, 16}) {
      Operands some = o;
      some.m = rows;
      const std::vector<float> got = gotOf(random, some);
      ASSERT_TRUE(sameFloats(all.data(), got.data(), static_cast<size_t>(rows * 160)))
          << rows << " rows, " << k << " terms";
    }
  }
}

TEST_P(ProductOfSet, SumsBeginAtPositiveZero) {
  const ScopedKernels scope(*GetParam());
  Operands o = {2, 37, 0, false, false, 1, 37, 37, 1.0f, 0.0f, {1, 1}, {}, {}};
  o.b.assign(37, 1.0f);
  o.c.assign(74, floatOfBits(0x7FC00000u));
  for (const int32_t terms : {0, 1}) {
    o.k = terms;
    if (terms == 1) o.a = {-0.0f, -0.0f};
    for (const float value : gotOf(random, o)) ASSERT_EQ(0u, bitsOf(value)) << terms;
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, ProductOfSet, ::testing::ValuesIn(runnableKernelSets()),
                         kernelSetName<::testing::TestParamInfo<const KernelSet*>>);

TEST(Saxpy, RoundsTheProductAndThenTheSum) {
  SeededRandom random;
  for (int32_t n = 0; n < 70; ++n) {
    const int32_t incx = random.integer(1, 3), incy = random.integer(1, 3);
    const float alpha = random.chance(10) ? 0.0f : random.normal();
    const std::vector<float> x = valuesOf(random, Values::kHostile, n * incx);
    std::vector<float> y = valuesOf(random, Values::kHostile, n * incy), wanted = y;
    for (int32_t i = 0; i < n; ++i) {
      float& element = wanted[static_cast<size_t>(i * incy)];
      element =
          reference::sum(element, reference::product(alpha, x[static_cast<size_t>(i * incx)]));
    }
    facefeature::cblas_saxpy(n, alpha, x.data(), incx, y.data(), incy);
    ASSERT_TRUE(sameFloats(wanted.data(), y.data(), y.size())) << n;
  }
}

TEST(Sscal, IsOneMultiplicationForEveryFactor) {
  SeededRandom random;
  for (const float alpha : {0.0f, 1.0f, -0.0f, 0.7f, floatOfBits(0x7FC00000u), HUGE_VALF}) {
    for (int32_t n = 0; n < 40; ++n) {
      const int32_t step = random.integer(1, 3);
      std::vector<float> x = valuesOf(random, Values::kHostile, n * step), wanted = x;
      for (int32_t i = 0; i < n; ++i) {
        float& element = wanted[static_cast<size_t>(i * step)];
        element = reference::product(alpha, element);
      }
      facefeature::cblas_sscal(n, alpha, x.data(), step);
      ASSERT_TRUE(sameFloats(wanted.data(), x.data(), x.size())) << n << ", factor " << alpha;
    }
  }
}

}  // namespace
}  // namespace facefeature_test
