#include "kernels/filter_geometry.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <stdexcept>

#include "kernels/checked_matrix.h"
#include "support/bits.h"

namespace facefeature_test {
namespace {

using facefeature::FilterGeometry;
using facefeature::filterGeometry;
using facefeature::FilterShape;
using facefeature::newPatchMatrix;
using facefeature::prepareOutput;

FilterGeometry geometryOf(const FilterShape& shape, int32_t inputCols, int32_t weightCols,
                          int32_t weightsPerFilter) {
  const Matrix input(1, inputCols), weights(2, weightCols);
  return filterGeometry(shape, input, weights, weightsPerFilter);
}

// Filters that are shared by all output positions.
FilterGeometry sharedGeometry(int32_t inputCols, int32_t weightCols, const FilterShape& shape) {
  return geometryOf(shape, inputCols, weightCols, weightCols);
}

TEST(FilterGeometry, FirstLayerOfABuiltInNet) {
  const FilterGeometry geometry = sharedGeometry(9075, 48, {55, 52, 0, 1, 3});
  EXPECT_EQ(2704, geometry.modules);
  EXPECT_EQ(55, geometry.width);
  EXPECT_EQ(4, geometry.filterSize);
  EXPECT_EQ(48, geometry.patchRows);
  EXPECT_EQ(48 * 2704, geometry.patchFloats);
  EXPECT_EQ(2 * 2704, geometry.outputCols);
}

TEST(FilterGeometry, WidthFollowsFromTheRowLength) {
  EXPECT_EQ(6, sharedGeometry(24, 16, {4, 1, 0, 3, 1}).width);
}

TEST(FilterGeometry, FilterSizeIsTheTruncatedRoot) {
  const FilterGeometry geometry = sharedGeometry(16, 10, {4, 2, 0, 1, 1});
  EXPECT_EQ(3, geometry.filterSize);
  EXPECT_EQ(10, geometry.patchRows);
  EXPECT_EQ(9 * 4, geometry.patchFloats);
}

TEST(FilterGeometry, RowsThatTheUnfoldingDoesNotWriteAreZero) {
  const std::unique_ptr<Matrix> patches(newPatchMatrix(sharedGeometry(16, 10, {4, 2, 0, 1, 1})));
  ASSERT_TRUE(hasShape(*patches, 10, 4, 111));
  for (int i = 36; i < 40; ++i) EXPECT_SAME_FLOAT(0.0f, patches->buffer[i]);
}

TEST(FilterGeometry, WeightsOfTheirOwnAtEachPositionAreSharedOut) {
  // 2 x 2 positions, 3 channels, filters of 2 x 2.
  const FilterGeometry geometry = geometryOf({3, 2, 0, 1, 3}, 27, 48, 12);
  EXPECT_EQ(4, geometry.modules);
  EXPECT_EQ(2, geometry.filterSize);
  EXPECT_EQ(12, geometry.patchRows);
}

TEST(FilterGeometry, ZeroDivisorsAreOutOfRange) {
  EXPECT_NO_THROW(sharedGeometry(16, 4, {4, 3, 0, 1, 1}));
  EXPECT_THROW(sharedGeometry(16, 4, {0, 3, 0, 1, 1}), std::out_of_range);
  EXPECT_THROW(sharedGeometry(16, 4, {4, 3, 0, 0, 1}), std::out_of_range);
  EXPECT_THROW(sharedGeometry(16, 4, {4, 3, 0, 1, 0}), std::out_of_range);
  EXPECT_THROW(sharedGeometry(16, 0, {4, 3, 0, 1, 1}), std::out_of_range);
}

TEST(FilterGeometry, ChannelsBelowOneAreOutOfRangeForAnyWeights) {
  const Matrix input(1, 16);
  // No filters, with a negative number of weights: a shape that a file can have.
  const Matrix none(0, -5), weights(2, 4);
  for (const int32_t channels : {0, -1, -2, -5, std::numeric_limits<int32_t>::min()}) {
    // With a wide border, a negative width still has positions, and the number of rows of the patch
    // matrix is negative.
    for (const int32_t padding : {0, 4}) {
      const FilterShape shape = {4, 3, padding, 1, channels};
      EXPECT_THROW(filterGeometry(shape, input, none, none.cols), std::out_of_range) << channels;
      EXPECT_THROW(filterGeometry(shape, input, weights, weights.cols), std::out_of_range)
          << channels;
    }
  }
}

TEST(FilterGeometry, MorePositionsThanThePatchMatrixHoldsAreOutOfRange) {
  EXPECT_THROW(sharedGeometry(16, 4, {4, 2, 0, 1, 1}), std::out_of_range);
  EXPECT_THROW(sharedGeometry(16, 4, {4, 3, 1, 1, 1}), std::out_of_range);
}

TEST(PrepareOutput, InPlaceTheShapeHasToStay) {
  const FilterGeometry geometry = sharedGeometry(16, 4, {4, 3, 0, 1, 1});
  for (const bool overwrite : {false, true}) {
    Matrix same(2, 18), other(2, 16);
    const float* const sameBuffer = same.buffer;
    const float* const otherBuffer = other.buffer;
    EXPECT_NO_THROW(prepareOutput(geometry, same, overwrite, same));
    EXPECT_EQ(sameBuffer, same.buffer);
    EXPECT_THROW(prepareOutput(geometry, other, overwrite, other), std::out_of_range);
    EXPECT_EQ(otherBuffer, other.buffer);
    EXPECT_TRUE(hasShape(other, 2, 16, 111));
  }
}

TEST(PrepareOutput, OverwritingResizesAndAddingNeedsTheRoom) {
  const FilterGeometry geometry = sharedGeometry(16, 4, {4, 3, 0, 1, 1});
  const Matrix input(2, 16);
  Matrix output;
  EXPECT_THROW(prepareOutput(geometry, input, false, output), std::out_of_range);
  prepareOutput(geometry, input, true, output);
  EXPECT_TRUE(hasShape(output, 2, 18, 111));
  const float* const buffer = output.buffer;
  prepareOutput(geometry, input, false, output);
  EXPECT_EQ(buffer, output.buffer);
  EXPECT_TRUE(hasShape(output, 2, 18, 111));
}

}  // namespace
}  // namespace facefeature_test
