#include "kernels/unfold.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "support/bits.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using reference::Floats;

constexpr float kGuard = -12345.0f;

// Unfolds into an array with a guard on both sides and returns the part between the guards.
Floats unfolded(const Floats& image, int32_t channels, int32_t height, int32_t width,
                int32_t filterSize, int32_t padding, int32_t stride, size_t wantedCount) {
  Floats patches(wantedCount + 2, kGuard);
  facefeature::UnfoldPatches(image.data(), channels, height, width, filterSize, padding, stride,
                             patches.data() + 1);
  EXPECT_SAME_FLOAT(kGuard, patches.front());
  EXPECT_SAME_FLOAT(kGuard, patches.back());
  return Floats(patches.begin() + 1, patches.end() - 1);
}

TEST(UnfoldPatches, TwoByTwoFilterOnThreeByThree) {
  const Floats image = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  const Floats patches = unfolded(image, 1, 3, 3, 2, 0, 1, 16);
  const Floats wanted = {1, 2, 4, 5, 2, 3, 5, 6, 4, 5, 7, 8, 5, 6, 8, 9};
  EXPECT_EQ(wanted, patches);
}

TEST(UnfoldPatches, PositionsOutsideTheImageAreZeroAlsoWhereTheImageHasNone) {
  const Floats image = {1, 2, 3, 4};
  const Floats patches = unfolded(image, 1, 2, 2, 3, 1, 1, 36);
  ASSERT_EQ(reference::unfold(image, 1, 2, 2, 3, 1, 1), patches);
  // The upper left weight overlaps the image only at the last of the four positions.
  EXPECT_BITS(0u, patches[0]);
  EXPECT_BITS(0u, patches[1]);
  EXPECT_BITS(0u, patches[2]);
  EXPECT_SAME_FLOAT(1.0f, patches[3]);
}

TEST(UnfoldPatches, NegativeOverhangOfLessThanAStrideStillGivesOnePosition) {
  EXPECT_EQ(1, facefeature::unfoldedSide(2, 3, 0, 2));
  EXPECT_EQ(0, facefeature::unfoldedSide(2, 3, 0, 1));
  const Floats image = {1, 2, 3, 4};
  // The window extends beyond the image and reads zeros there.
  const Floats wanted = {1, 2, 0, 3, 4, 0, 0, 0, 0};
  EXPECT_EQ(wanted, unfolded(image, 1, 2, 2, 3, 0, 2, 9));
}

TEST(UnfoldPatches, SideCountsPositionsOfTheFilter) {
  EXPECT_EQ(52, facefeature::unfoldedSide(55, 4, 0, 1));
  EXPECT_EQ(3, facefeature::unfoldedSide(5, 3, 1, 2));
  EXPECT_EQ(2, facefeature::unfoldedSide(6, 3, 0, 2));
}

TEST(UnfoldPatches, RandomGeometriesMatchBitForBit) {
  SeededRandom random;
  for (int round = 0; round < 400; ++round) {
    const int32_t channels = random.integer(1, 4);
    const int32_t height = random.integer(1, 12), width = random.integer(1, 12);
    const int32_t filterSize = random.integer(1, 5), stride = random.integer(1, 4);
    const int32_t padding = random.integer(0, 4);
    if (height + 2 * padding < filterSize || width + 2 * padding < filterSize) continue;
    Floats image(static_cast<size_t>(channels * height * width));
    for (float& pixel : image) pixel = random.chance(10) ? random.special() : random.normal();
    const Floats wanted =
        reference::unfold(image, channels, height, width, filterSize, padding, stride);
    const Floats got =
        unfolded(image, channels, height, width, filterSize, padding, stride, wanted.size());
    ASSERT_TRUE(sameFloats(wanted.data(), got.data(), wanted.size()))
        << channels << " x " << height << " x " << width << ", filter " << filterSize
        << ", padding " << padding << ", stride " << stride;
  }
}

}  // namespace
}  // namespace facefeature_test
