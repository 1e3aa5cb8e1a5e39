// Compares every kernel set with the plain one, bit by bit.
#include "kernels/kernel_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "kernels/checked_matrix.h"
#include "kernels/multiply.h"
#include "kernels/pooling.h"
#include "kernels/unfold.h"
#include "support/bits.h"
#include "support/placed_floats.h"
#include "support/reference_extract.h"
#include "support/scoped_kernels.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::KernelSet;
using facefeature::plainKernels;

// Twice the lanes of the widest registers of any machine, plus one.
constexpr int32_t kLongest = 33;

// The filter banks of the two types of net.
std::vector<reference::BankShape> realBanks() {
  std::vector<reference::BankShape> shapes;
  for (const int32_t channels : {1, 3}) {
    for (const int32_t side : {47, 55}) {
      for (int32_t bank = 0; bank < 4; ++bank) {
        shapes.push_back(reference::bankShape(bank, channels, side));
      }
    }
  }
  return shapes;
}

class KernelVariants : public ::testing::TestWithParam<const KernelSet*> {
 protected:
  const KernelSet& set() const { return *GetParam(); }

  SeededRandom random;
};

struct UnfoldShape {
  int32_t channels, height, width, filterSize, padding, stride;
};

size_t patchFloats(const UnfoldShape& s) {
  const int32_t high = facefeature::unfoldedSide(s.height, s.filterSize, s.padding, s.stride);
  const int32_t wide = facefeature::unfoldedSide(s.width, s.filterSize, s.padding, s.stride);
  if (high < 1 || wide < 1) return 0;
  return static_cast<size_t>(s.channels * s.filterSize * s.filterSize) *
         static_cast<size_t>(high * wide);
}

void expectUnfolding(const KernelSet& set, Random& random, const UnfoldShape& s) {
  SCOPED_TRACE(::testing::Message()
               << s.channels << " x " << s.height << " x " << s.width << ", filter " << s.filterSize
               << ", padding " << s.padding << ", stride " << s.stride);
  const std::vector<float> image =
      floatsOfRandomKind(random, static_cast<size_t>(s.channels * s.height * s.width));
  const size_t count = patchFloats(s);
  std::vector<float> wanted = floatsOfKind(random, count, 0);
  std::vector<float> unwritten = floatsOfKind(random, count, 5);
  plainKernels().unfold(image.data(), s.channels, s.height, s.width, s.filterSize, s.padding,
                        s.stride, wanted.data());

  PlacedFloats input(image, randomPlacement(random));
  PlacedFloats patches(unwritten, randomPlacement(random));
  set.unfold(input.data(), s.channels, s.height, s.width, s.filterSize, s.padding, s.stride,
             patches.data());
  ASSERT_TRUE(identicalFloats(wanted.data(), patches.data(), count));
  ASSERT_TRUE(patches.isUntouchedAround() && input.isUntouchedAround());
  ASSERT_TRUE(identicalFloats(image.data(), input.data(), image.size()));
}

TEST_P(KernelVariants, UnfoldsRandomGeometriesLikeThePlainKernel) {
  for (int round = 0; round < 1500 && !HasFailure(); ++round) {
    const UnfoldShape shape = {random.integer(0, 3), random.integer(0, 12), random.integer(0, 40),
                               random.integer(0, 6), random.integer(-4, 6), random.integer(1, 3)};
    expectUnfolding(set(), random, shape);
  }
}

TEST_P(KernelVariants, UnfoldsRowsOfAllShortLengthsLikeThePlainKernel) {
  for (int32_t width = 0; width <= kLongest + 3 && !HasFailure(); ++width) {
    for (const int32_t filterSize : {1, 2, 3, 4}) {
      for (const int32_t padding : {-1, 0, 1, 5}) {
        expectUnfolding(set(), random, {1, random.integer(1, 5), width, filterSize, padding, 1});
      }
    }
  }
}

TEST_P(KernelVariants, UnfoldsWithFiltersLargerThanTheImageLikeThePlainKernel) {
  for (int round = 0; round < 200 && !HasFailure(); ++round) {
    const int32_t side = random.integer(1, 4);
    const int32_t filterSize = side + random.integer(1, 5);
    // From no position at all to windows that overlap the image in one corner only.
    expectUnfolding(set(), random,
                    {random.integer(1, 2), side, random.integer(1, 4), filterSize,
                     random.integer(0, filterSize + 2), random.integer(1, 3)});
  }
}

TEST_P(KernelVariants, UnfoldsTheFilterBanksOfTheNetsLikeThePlainKernel) {
  for (const reference::BankShape& bank : realBanks()) {
    expectUnfolding(set(), random,
                    {bank.channels, bank.imgSize, bank.imgSize, bank.filterSize, 0, 1});
  }
}

// The sum of two NaNs has the payload of either operand; no variant guarantees which.
void expectBiases(const KernelSet& set, Random& random, int32_t planes, int32_t count) {
  SCOPED_TRACE(::testing::Message() << planes << " planes of " << count);
  const std::vector<float> biases = floatsOfRandomKind(random, static_cast<size_t>(planes));
  const std::vector<float> before = floatsOfRandomKind(random, static_cast<size_t>(planes * count));
  PlacedFloats wanted(before, 0);
  plainKernels().addPlaneBiases(biases.data(), planes, count, wanted.data());

  PlacedFloats input(biases, randomPlacement(random));
  PlacedFloats out(before, randomPlacement(random));
  set.addPlaneBiases(input.data(), planes, count, out.data());
  ASSERT_TRUE(sameFloats(wanted.data(), out.data(), wanted.size()));
  ASSERT_TRUE(out.isUntouchedAround() && input.isUntouchedAround());
  ASSERT_TRUE(identicalFloats(biases.data(), input.data(), biases.size()));
}

TEST_P(KernelVariants, AddsBiasesToPlanesOfAllShortLengthsLikeThePlainKernel) {
  for (int32_t planes = 0; planes <= 18 && !HasFailure(); ++planes) {
    for (int32_t count = 0; count <= kLongest; ++count) {
      expectBiases(set(), random, planes, count);
    }
  }
  for (int32_t planes = 0; planes <= kLongest; ++planes) expectBiases(set(), random, planes, 1);
}

TEST_P(KernelVariants, AddsBiasesToThePlanesOfTheNetsLikeThePlainKernel) {
  for (const reference::BankShape& bank : realBanks()) {
    expectBiases(set(), random, bank.filters, bank.modulesX * bank.modulesX);
  }
}

void expectMaxima(const KernelSet& set, Random& random, int32_t imgSize, int32_t outputsX,
                  int32_t kind) {
  SCOPED_TRACE(::testing::Message()
               << "side " << imgSize << ", outputs " << outputsX << ", sort " << kind);
  const std::vector<float> plane =
      floatsOfKind(random, static_cast<size_t>(imgSize * imgSize), kind);
  const size_t count = static_cast<size_t>(outputsX * outputsX);
  std::vector<float> wanted = floatsOfKind(random, count, 0);
  std::vector<float> unwritten = floatsOfKind(random, count, 5);
  plainKernels().maxPoolPairs(plane.data(), imgSize, outputsX, wanted.data());

  PlacedFloats input(plane, randomPlacement(random));
  PlacedFloats out(unwritten, randomPlacement(random));
  set.maxPoolPairs(input.data(), imgSize, outputsX, out.data());
  ASSERT_TRUE(identicalFloats(wanted.data(), out.data(), count));
  ASSERT_TRUE(out.isUntouchedAround() && input.isUntouchedAround());
}

// Adjacent signed zeros, NaNs and values below the fill value show differences in order and ties.
TEST_P(KernelVariants, PoolsPlanesOfAllShortSidesLikeThePlainKernel) {
  for (int32_t outputs = 0; outputs <= kLongest && !HasFailure(); ++outputs) {
    for (int32_t kind = 0; kind < kFloatKinds; ++kind) {
      for (const int32_t surplus : {0, 1, 6}) {
        expectMaxima(set(), random, 2 * outputs + surplus, outputs, kind);
      }
    }
  }
}

TEST_P(KernelVariants, PoolsWindowsOfSpecialValuesOnlyLikeThePlainKernel) {
  for (int round = 0; round < 300 && !HasFailure(); ++round) {
    expectMaxima(set(), random, 16, 8, 3);
  }
}

TEST_P(KernelVariants, PoolsThePlanesOfTheNetsLikeThePlainKernel) {
  for (const reference::BankShape& bank : realBanks()) {
    const int32_t kind = random.integer(0, kFloatKinds - 1);
    expectMaxima(set(), random, bank.modulesX, bank.modulesX / 2, kind);
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, KernelVariants, ::testing::ValuesIn(runnableKernelSets()),
                         kernelSetName<::testing::TestParamInfo<const KernelSet*>>);

TEST(KernelSets, HaveUniqueNames) {
  std::set<std::string> names;
  for (const KernelSet& set : facefeature::kernelSets()) EXPECT_TRUE(names.insert(set.name).second);
}

TEST(KernelSets, EndWithThePlainOneWhichRunsEverywhere) {
  const facefeature::KernelSetList sets = facefeature::kernelSets();
  ASSERT_LT(0, sets.count);
  EXPECT_EQ(sets.end() - 1, &plainKernels());
  EXPECT_STREQ("plain", plainKernels().name);
  EXPECT_TRUE(plainKernels().runsHere());
}

TEST(KernelSets, AreComplete) {
  for (const KernelSet& set : facefeature::kernelSets()) {
    SCOPED_TRACE(set.name);
    ASSERT_NE(nullptr, set.runsHere);
    EXPECT_NE(nullptr, set.unfold);
    EXPECT_NE(nullptr, set.addPlaneBiases);
    EXPECT_NE(nullptr, set.maxPoolPairs);
    EXPECT_NE(nullptr, set.projectRows);
  }
}

TEST(KernelSets, TheFirstThatRunsHereIsActiveUnlessATestChoosesAnother) {
  const KernelSet* const best = runnableKernelSets().front();
  EXPECT_EQ(best, facefeature::activeKernels);
  {
    const ScopedKernels plain("plain");
    EXPECT_EQ(&plainKernels(), facefeature::activeKernels);
  }
  EXPECT_EQ(best, facefeature::activeKernels);
  EXPECT_THROW(kernelSetNamed("no such set"), std::invalid_argument);
}

// Plain kernels that record their calls.
int32_t calls;

void countUnfold(const float* image, int32_t channels, int32_t height, int32_t width,
                 int32_t filterSize, int32_t padding, int32_t stride, float* patches) {
  ++calls;
  plainKernels().unfold(image, channels, height, width, filterSize, padding, stride, patches);
}

void countBiases(const float* biases, int32_t planes, int32_t count, float* out) {
  ++calls;
  plainKernels().addPlaneBiases(biases, planes, count, out);
}

void countPools(const float* plane, int32_t imgSize, int32_t outputsX, float* out) {
  ++calls;
  plainKernels().maxPoolPairs(plane, imgSize, outputsX, out);
}

TEST(KernelSets, TheOperationsOfTheNetsWorkWithTheActiveOne) {
  KernelSet counting = plainKernels();
  counting.unfold = countUnfold;
  counting.addPlaneBiases = countBiases;
  counting.maxPoolPairs = countPools;
  const ScopedKernels active(counting);

  calls = 0;
  const std::vector<float> image(16, 1.0f);
  std::vector<float> patches(4 * 9);
  facefeature::UnfoldPatches(image.data(), 1, 4, 4, 2, 0, 1, patches.data());
  EXPECT_EQ(1, calls);

  calls = 0;
  Matrix planes, biases;
  fillMatrix(planes, 2, 9, 111, std::vector<float>(18, 1.0f));
  fillMatrix(biases, 2, 1, 111, {10.0f, 20.0f});
  facefeature::addBiases(biases, planes.size, planes);
  EXPECT_EQ(1, calls);
  EXPECT_EQ(11.0f, planes.buffer[8]);
  EXPECT_EQ(21.0f, planes.buffer[9]);

  calls = 0;
  Matrix input, pooled;
  fillMatrix(input, 3, 32, 111, std::vector<float>(96, 1.0f));
  facefeature::maxPoolForward(input, pooled, 2, 2, 0, 2, 2);
  EXPECT_EQ(6, calls) << "one call for each plane of each sample";
}

}  // namespace
}  // namespace facefeature_test
