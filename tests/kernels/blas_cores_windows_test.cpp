// The kinds of processor that the package was built for, as far as this one can run them.
#include <cblas_cores.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "kernels/blas.h"
#include "support/random.h"

namespace facefeature_test {
namespace {

// The kind that was in use comes back.
class BlasCores : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    before_ = cblasCoreInUse();
    if (cblasUseCore(GetParam()) == 0) GTEST_SKIP() << "this processor can't run " << GetParam();
  }
  void TearDown() override { cblasUseCore(before_.c_str()); }

 private:
  std::string before_;
};

struct Product {
  int32_t m, n, k;
  std::vector<float> a, b;
};

Product randomProduct(Random& random, int32_t m, int32_t n, int32_t k) {
  return {m, n, k, random.normals(static_cast<size_t>(m * k)),
          random.normals(static_cast<size_t>(k * n))};
}

std::vector<float> multiplied(const Product& product) {
  std::vector<float> c(static_cast<size_t>(product.m * product.n), 0.0f);
  cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, product.m, product.n, product.k, 1.0f,
              product.a.data(), product.k, product.b.data(), product.n, 0.0f, c.data(), product.n);
  return c;
}

TEST_P(BlasCores, MultipliesAsLoopsDo) {
  EXPECT_STREQ(GetParam(), cblasCoreInUse());
  Random random = seededRandom();
  SCOPED_TRACE(random.trace());
  for (const auto& [m, n, k] : {std::array{1, 1, 1}, {3, 5, 7}, {16, 2704, 48}, {2, 160, 1200}}) {
    const Product product = randomProduct(random, m, n, k);
    const std::vector<float> got = multiplied(product);
    for (size_t i = 0; i < got.size(); ++i) {
      const size_t row = i / static_cast<size_t>(n), column = i % static_cast<size_t>(n);
      double sum = 0.0, sizes = 0.0;
      for (size_t j = 0; j < static_cast<size_t>(k); ++j) {
        const double term = static_cast<double>(product.a[row * static_cast<size_t>(k) + j]) *
                            static_cast<double>(product.b[j * static_cast<size_t>(n) + column]);
        sum += term;
        sizes += std::abs(term);
      }
      // Each of the k additions rounds by at most half of 2^-23 of what has been added up.
      ASSERT_NEAR(sum, static_cast<double>(got[i]), (k + 1) * 0x1p-23 * sizes) << m << " " << i;
    }
  }
}

// Without its locks the package fails here: two threads share one buffer.
TEST_P(BlasCores, ThirtyTwoThreadsAtOnceGetTheBitsOfOne) {
  Random random = seededRandom();
  SCOPED_TRACE(random.trace());
  const Product product = randomProduct(random, 64, 16, 192);
  const std::vector<float> wanted = multiplied(product);
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 32; ++t) {
    threads.emplace_back([&] {
      for (int call = 0; call < 500; ++call) {
        const std::vector<float> got = multiplied(product);
        if (std::memcmp(got.data(), wanted.data(), got.size() * sizeof(float)) != 0) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, wrong.load());
}

INSTANTIATE_TEST_SUITE_P(All, BlasCores, ::testing::Values("Nehalem", "Haswell", "SkylakeX"),
                         [](const auto& test) { return std::string(test.param); });

TEST(BlasCoreChoice, KnowsNoOtherNames) {
  const std::string before = cblasCoreInUse();
  EXPECT_EQ(0, cblasUseCore("haswell"));
  EXPECT_EQ(0, cblasUseCore(""));
  EXPECT_EQ(before, cblasCoreInUse());
}

}  // namespace
}  // namespace facefeature_test
