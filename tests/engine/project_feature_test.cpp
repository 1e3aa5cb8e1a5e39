#include "engine/project_feature.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <mutex>
#include <vector>

#include "engine/feature_engine.h"
#include "engine/model_state.h"
#include "kernels/kernel_set.h"
#include "kernels/project_rows.h"
#include "support/bits.h"
#include "support/reference_projection.h"
#include "support/scoped_kernels.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::kPatchFeatureFloats;
using facefeature::kProjectedFloats;
using facefeature::ProjectFeature;

constexpr size_t kMatrixFloats = static_cast<size_t>(kPatchFeatureFloats) * kProjectedFloats;
constexpr float kMark = -99.0f;

// Points the module's buffers at these arrays during its lifetime.
struct Projection {
  std::vector<float> mean = std::vector<float>(kPatchFeatureFloats, 0.0f);
  std::vector<float> self = std::vector<float>(kMatrixFloats, 0.0f);
  std::vector<float> cross = std::vector<float>(kMatrixFloats, 0.0f);

  Projection() {
    facefeature::featureMean = mean.data();
    facefeature::selfProjection = self.data();
    facefeature::crossProjection = cross.data();
  }
  ~Projection() {
    facefeature::featureMean = nullptr;
    facefeature::selfProjection = nullptr;
    facefeature::crossProjection = nullptr;
  }
  Projection(const Projection&) = delete;
  Projection& operator=(const Projection&) = delete;

  static size_t at(size_t row, size_t column) { return row * kPatchFeatureFloats + column; }

  // Values of many magnitudes, so that a sum in a different order has different bits.
  void randomize(Random& random) {
    for (std::vector<float>* values : {&mean, &self, &cross}) {
      for (float& value : *values) value = std::ldexp(random.unit() - 0.5f, random.integer(-8, 8));
    }
  }

  reference::ProjectedFeature wanted(const std::vector<float>& joined) const {
    return reference::project(joined.data(), mean.data(), reference::columnsOf(self.data()),
                              reference::columnsOf(cross.data()));
  }
};

// Projects a copy of x that starts `shift` floats into its storage, as does the feature, and
// returns the feature. `x` receives the content of the copy after the call.
std::vector<float> projected(std::vector<float>& x, size_t shift = 0) {
  std::vector<float> input(shift, kMark);
  input.insert(input.end(), x.begin(), x.end());
  input.push_back(kMark);
  std::vector<float> output(shift + kFeatureFloats + 8, kMark);
  ProjectFeature(input.data() + shift, output.data() + shift);
  EXPECT_EQ(kMark, input.back());
  for (size_t i = 0; i < output.size(); ++i) {
    if (i < shift || i >= shift + kFeatureFloats) {
      EXPECT_EQ(kMark, output[i]) << "at " << i;
    }
  }
  x.assign(input.begin() + static_cast<std::ptrdiff_t>(shift), input.end() - 1);
  const auto first = output.begin() + static_cast<std::ptrdiff_t>(shift);
  return std::vector<float>(first, first + kFeatureFloats);
}

void expectAsTheOracle(const Projection& projection, const std::vector<float>& joined,
                       size_t shift) {
  const reference::ProjectedFeature wanted = projection.wanted(joined);
  std::vector<float> x = joined;
  const std::vector<float> got = projected(x, shift);
  EXPECT_TRUE(sameFloats(wanted.feature.data(), got.data(), kFeatureFloats));
  EXPECT_TRUE(sameFloats(wanted.meanFree.data(), x.data(), x.size()));
}

TEST(ProjectFeature, HasTheBitsOfOneAccumulatorForEachSumInAscendingOrder) {
  SeededRandom random;
  Projection projection;
  projection.randomize(random);
  for (size_t shift = 0; shift < 4; ++shift) {
    expectAsTheOracle(projection, random.normals(kPatchFeatureFloats), shift);
  }
}

TEST(ProjectFeature, SpecialValuesPropagate) {
  SeededRandom random;
  Projection projection;
  projection.randomize(random);
  // Only in single rows, so that the others show that nothing spreads.
  for (int spot = 0; spot < 300; ++spot) {
    std::vector<float>& matrix = random.chance(80) ? projection.cross : projection.self;
    const size_t row = static_cast<size_t>(random.integer(0, 40)) * 12;
    const size_t column = static_cast<size_t>(random.integer(0, kPatchFeatureFloats - 1));
    matrix[Projection::at(row, column)] = random.special();
  }
  expectAsTheOracle(projection, random.normals(kPatchFeatureFloats), 0);

  std::vector<float> joined = random.normals(kPatchFeatureFloats);
  for (int spot = 0; spot < 20; ++spot) {
    joined[static_cast<size_t>(random.integer(0, kPatchFeatureFloats - 1))] =
        random.chance(50) ? std::numeric_limits<float>::denorm_min() : 1e-39f;
  }
  expectAsTheOracle(projection, joined, 1);
  joined[4321] = std::numeric_limits<float>::quiet_NaN();
  expectAsTheOracle(projection, joined, 0);
}

TEST(ProjectFeature, ProductsAreRoundedBeforeTheyAreAdded) {
  // (1 + e)^2 is 1 + 2e + e^2. A fused step would keep the e^2 that the rounded product loses.
  const float e = 0x1p-12f;
  Projection projection;
  for (size_t r = 0; r < 500; ++r) {
    projection.cross[Projection::at(r, 0)] = -(1.0f + 2.0f * e);
    projection.cross[Projection::at(r, 1)] = 1.0f + e;
  }
  std::vector<float> x(kPatchFeatureFloats, 0.0f);
  x[0] = 1.0f;
  x[1] = 1.0f + e;
  const std::vector<float> feature = projected(x);
  for (size_t r = 0; r < 500; ++r) EXPECT_SAME_FLOAT(0.0f, feature[r]);
}

TEST(ProjectFeature, EachRowMakesTheElementOfItsNumberFromTheCrossMatrix) {
  Projection projection;
  for (size_t r = 0; r < 500; ++r) {
    projection.cross[Projection::at(r, (r * 16 + 3) % 8000)] = static_cast<float>(r) - 250.0f;
  }
  std::vector<float> x(kPatchFeatureFloats, 1.0f);
  const std::vector<float> feature = projected(x);
  for (size_t r = 0; r < 500; ++r) {
    EXPECT_SAME_FLOAT(static_cast<float>(r) - 250.0f, feature[r]);
  }
  EXPECT_SAME_FLOAT(0.0f, feature[500]);
}

TEST(ProjectFeature, Element500IsASumOfSquaresAndElement501HasItsRoot) {
  Projection projection;
  projection.self[Projection::at(17, 400)] = 3.0f;
  projection.self[Projection::at(499, 401)] = 4.0f;
  projection.cross[Projection::at(0, 400)] = 6.0f;
  projection.cross[Projection::at(499, 7999)] = 8.0f;
  std::vector<float> x(kPatchFeatureFloats, 1.0f);
  const std::vector<float> feature = projected(x);
  EXPECT_SAME_FLOAT(25.0f, feature[500]);
  EXPECT_SAME_FLOAT(10.0f, feature[501]);
}

TEST(ProjectFeature, TheMeanIsSubtractedInPlace) {
  Projection projection;
  SeededRandom random;
  projection.mean = random.normals(kPatchFeatureFloats);
  facefeature::featureMean = projection.mean.data();
  std::vector<float> x = random.normals(kPatchFeatureFloats);
  const std::vector<float> before = x;
  projected(x);
  for (size_t k = 0; k < x.size(); ++k) {
    ASSERT_SAME_FLOAT(before[k] - projection.mean[k], x[k]);
  }
}

TEST(ProjectFeature, TheMeanItselfBecomesAFeatureOfZerosWhichComparesAsNotANumber) {
  SeededRandom random;
  Projection projection;
  projection.randomize(random);
  std::vector<float> x = projection.mean;
  const std::vector<float> feature = projected(x);
  for (const float value : feature) EXPECT_EQ(0.0f, value);
  FeatureVector vector;
  std::copy(feature.begin(), feature.end(), vector.values);
  EXPECT_TRUE(std::isnan(facefeature::CompareFeatures(&vector, &vector)));
}

TEST(ProjectFeature, AnInfiniteNormComesFromAFloatSum) {
  // 1e38 squared overflows a float, but not a double.
  Projection projection;
  projection.cross[Projection::at(3, 3)] = 1e38f;
  projection.self[Projection::at(3, 3)] = 1e38f;
  std::vector<float> x(kPatchFeatureFloats, 1.0f);
  const std::vector<float> feature = projected(x);
  EXPECT_SAME_FLOAT(1e38f, feature[3]);
  EXPECT_SAME_FLOAT(std::numeric_limits<float>::infinity(), feature[500]);
  EXPECT_SAME_FLOAT(std::numeric_limits<float>::infinity(), feature[501]);
}

struct ProjectCall {
  const float* matrix;
  int32_t rows, cols;
};

// Noted by the threads of a call.
std::vector<ProjectCall> projectCalls;
std::mutex projectCallsGuard;

void noteProjectRows(const float* matrix, int32_t rows, int32_t cols, const float* x,
                     float* products) {
  {
    const std::lock_guard<std::mutex> lock(projectCallsGuard);
    projectCalls.push_back({matrix, rows, cols});
  }
  facefeature::projectRowsPlain(matrix, rows, cols, x, products);
}

TEST(ProjectFeature, TakesBothProductsFromTheActiveSetAndCopiesNoMatrix) {
  facefeature::KernelSet noting = facefeature::plainKernels();
  noting.projectRows = noteProjectRows;
  const ScopedKernels active(noting);
  projectCalls.clear();
  const Projection projection;
  std::vector<float> x(8000, 1.0f), feature(502);
  ProjectFeature(x.data(), feature.data());
  const std::vector<float>& cross = projection.cross;
  const float* lowest = cross.data() + cross.size();
  int64_t rowsOfBoth = 0;
  bool seenSelf = false;
  for (const ProjectCall& call : projectCalls) {
    EXPECT_EQ(8000, call.cols);
    rowsOfBoth += call.rows;
    seenSelf = seenSelf || call.matrix == projection.self.data();
    if (call.matrix >= cross.data() && call.matrix < lowest) lowest = call.matrix;
  }
  EXPECT_EQ(1000, rowsOfBoth);
  EXPECT_TRUE(seenSelf);
  EXPECT_EQ(cross.data(), lowest);
}

}  // namespace
}  // namespace facefeature_test
