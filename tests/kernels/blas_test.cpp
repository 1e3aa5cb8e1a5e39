// Calls the routines of blas.h as the loop over the nets does. product_test.cpp compares their sums
// with the definition.
#include "kernels/blas.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/bits.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

struct Product {
  int32_t m, n, k;
  std::vector<float> a, b, c, wanted;  // c is the addend of the product if beta is 1
  float beta;
};

// All products of the built-in nets, for both patch sizes.
std::vector<Product> productsOfTheNets(Random& random) {
  static const int32_t kShapes[][3] = {
      {16, 2704, 48}, {16, 2704, 16}, {16, 1936, 48}, {16, 1936, 16}, {32, 576, 144},
      {32, 400, 144}, {48, 100, 288}, {48, 64, 288},  {64, 16, 192},  {64, 9, 192},
      {2, 160, 1024}, {2, 160, 1200}, {2, 160, 576},  {2, 160, 768}};
  std::vector<Product> products;
  for (const auto& shape : kShapes) {
    Product product;
    product.m = shape[0];
    product.n = shape[1];
    product.k = shape[2];
    product.a = random.normals(static_cast<size_t>(product.m * product.k));
    product.b = random.normals(static_cast<size_t>(product.k * product.n));
    product.c = random.normals(static_cast<size_t>(product.m * product.n));
    // The second input of the last layer adds to the result of the first one.
    product.beta = product.k == 1200 || product.k == 768 ? 1.0f : 0.0f;
    products.push_back(product);
  }
  return products;
}

std::vector<float> multiply(const Product& product) {
  std::vector<float> c = product.c;
  cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, product.m, product.n, product.k, 1.0f,
              product.a.data(), product.k, product.b.data(), product.n, product.beta, c.data(),
              product.n);
  return c;
}

void multiplyOnOneThread(std::vector<Product>& products) {
  for (Product& product : products) product.wanted = multiply(product);
}

// Counts the products with wrong bits. Each thread starts at a different product.
int countWrong(const std::vector<Product>& products, size_t thread, size_t calls) {
  int wrong = 0;
  for (size_t call = 0; call < calls; ++call) {
    const Product& product = products[(5 * thread + call) % products.size()];
    const std::vector<float> c = multiply(product);
    if (std::memcmp(c.data(), product.wanted.data(), c.size() * sizeof(float)) != 0) ++wrong;
  }
  return wrong;
}

TEST(Sgemm, EightThreadsAtOnceGetTheBitsOfOneThread) {
  SeededRandom random;
  std::vector<Product> products = productsOfTheNets(random);
  multiplyOnOneThread(products);
  constexpr size_t kThreads = 8, kCalls = 60;
  std::vector<int> wrong(kThreads, -1);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] { wrong[t] = countWrong(products, t, kCalls); });
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t t = 0; t < kThreads; ++t) {
    EXPECT_EQ(0, wrong[t]) << "thread " << t << " of " << kCalls << " calls";
  }
}

TEST(Sgemm, ThreadsOfAParallelLoopGetTheBitsOfOneThread) {
  SeededRandom random;
  std::vector<Product> products = productsOfTheNets(random);
  multiplyOnOneThread(products);
  int wrong = 0;
#pragma omp parallel for schedule(static) num_threads(8) reduction(+ : wrong)
  for (int t = 0; t < 8; ++t) wrong += countWrong(products, static_cast<size_t>(t), 60);
  EXPECT_EQ(0, wrong);
}

TEST(Sgemm, ZeroBetaReadsNothingOfTheTarget) {
  SeededRandom random;
  for (Product& product : productsOfTheNets(random)) {
    product.beta = 0.0f;
    const std::vector<float> wanted = multiply(product);
    for (float& value : product.c) value = floatOfBits(0x7FC00000u);
    const std::vector<float> got = multiply(product);
    EXPECT_TRUE(sameFloats(wanted.data(), got.data(), wanted.size()))
        << product.m << " x " << product.n << " x " << product.k;
  }
}

// The broadcasts depend on this: with these factors, fusing changes nothing.
TEST(Saxpy, FactorsOfOneRoundOnceAtAnyStride) {
  SeededRandom random;
  for (const float factor : {1.0f, -1.0f}) {
    for (const int32_t stride : {1, 3}) {
      for (int32_t n = 0; n < 70; ++n) {
        const std::vector<float> x = random.normals(static_cast<size_t>(n));
        std::vector<float> y = random.normals(static_cast<size_t>(n * stride)), wanted = y;
        for (int32_t i = 0; i < n; ++i) {
          wanted[static_cast<size_t>(i * stride)] += factor * x[static_cast<size_t>(i)];
        }
        cblas_saxpy(n, factor, x.data(), 1, y.data(), stride);
        ASSERT_TRUE(sameFloats(wanted.data(), y.data(), y.size())) << n << ", stride " << stride;
      }
    }
  }
}

}  // namespace
}  // namespace facefeature_test
