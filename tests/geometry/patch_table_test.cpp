#include "geometry/patch_table.h"

#include <gtest/gtest.h>

#include "geometry/landmark_set.h"
#include "support/bits.h"
#include "support/reference_geometry.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

TEST(PatchTable, EveryColumnHoldsItsNumbers) {
  for (int32_t p = 0; p < kPatchCount; ++p) {
    const reference::PatchRow& row = reference::patchRow(p);
    SCOPED_TRACE(p);
    EXPECT_EQ(row.side, patchSpec.patchSize[p]);
    EXPECT_EQ(row.span, patchSpec.referenceSpan[p]);
    EXPECT_SAME_FLOAT(row.offsetFactor, patchSpec.offsetFactor[p]);
    EXPECT_EQ(row.columnMargin, patchSpec.columnMargin[p]);
    EXPECT_EQ(row.rowMargin, patchSpec.rowMargin[p]);
    EXPECT_EQ(row.centre, patchSpec.centerPoint[p]);
    EXPECT_EQ(row.mirror, patchSpec.mirrorPoint[p]);
    EXPECT_EQ(row.colour ? 1 : 0, patchSpec.isColor[p]);
  }
}

TEST(PatchTable, AThirdIsTheFloatOfFourDecimals) {
  for (int32_t p : {4, 12, 19}) EXPECT_BITS(0x3EAAA64Cu, patchSpec.offsetFactor[p]);
}

TEST(PatchTable, SampleLengthsAreThoseOfTheMeanFiles) {
  const int32_t lengths[kPatchCount] = {9075, 9075, 6627, 2209, 6627, 2209, 2209, 6627, 2209,
                                        2209, 6627, 2209, 2209, 6627, 2209, 2209, 6627, 2209,
                                        6627, 2209, 6627, 2209, 6627, 2209, 6627};
  for (int32_t p = 0; p < kPatchCount; ++p) {
    EXPECT_EQ(lengths[p], sampleLength(p)) << "patch " << p;
    EXPECT_LE(sampleLength(p), kLargestSample);
  }
}

TEST(PatchTable, PartnersLieOnTheTwoSidesOfTheFaceAndTheOthersOnItsCentreLine) {
  // The model point of a slot. The dropped ids are between the points of slots 21 and 22.
  const auto sideOf = [](int32_t slot) {
    const size_t point = static_cast<size_t>(slot < 22 ? slot : slot + 2);
    return reference::modelRows()[point].x;
  };
  for (int32_t p = 0; p < kPatchCount; ++p) {
    const int32_t centre = patchSpec.centerPoint[p];
    const int32_t mirror = patchSpec.mirrorPoint[p];
    ASSERT_LT(centre, kSlotCount);
    ASSERT_LT(mirror, kSlotCount);
    if (centre == mirror) {
      EXPECT_NEAR(0.0f, sideOf(centre), 0.1f) << "patch " << p;
    } else {
      EXPECT_LT(sideOf(centre), -1.0f) << "patch " << p;
      EXPECT_NEAR(-sideOf(centre), sideOf(mirror), 0.3f) << "patch " << p;
    }
  }
}

TEST(PatchTable, PatchesSevenAndThirteenAreCutAlike) {
  EXPECT_EQ(patchSpec.referenceSpan[7], patchSpec.referenceSpan[13]);
  EXPECT_EQ(13, patchSpec.centerPoint[7]);
  EXPECT_EQ(12, patchSpec.mirrorPoint[7]);
  EXPECT_EQ(13, patchSpec.centerPoint[13]);
  EXPECT_EQ(12, patchSpec.mirrorPoint[13]);
}

}  // namespace
}  // namespace facefeature_test
