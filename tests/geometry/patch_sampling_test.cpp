#include "geometry/patch_sampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "geometry/face_warp.h"
#include "geometry/patch_table.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/reference_geometry.h"
#include "support/scoped_patch_means.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;
using Frame = std::vector<uint8_t>;
using reference::Point;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

enum class Direction { kDirect, kMirrored };
constexpr Direction kDirections[] = {Direction::kDirect, Direction::kMirrored};

bool isColour(int32_t patch) { return patchSpec.isColor[patch] == 1; }

void sampleInto(float* out, const uint8_t* frame, Point centre, int32_t patch,
                Direction direction) {
  const float center[2] = {centre.x, centre.y};
  if (isColour(patch)) {
    (direction == Direction::kDirect ? SampleColorPatch : SampleColorPatchMirrored)(
        frame, center, patch, ScopedPatchMeans::slot(patch), out);
  } else {
    (direction == Direction::kDirect ? SampleGrayPatch : SampleGrayPatchMirrored)(
        frame, center, patch, ScopedPatchMeans::slot(patch), out);
  }
}

// The sample, with two more floats on either side that must not change.
std::vector<float> sampleOf(const Frame& frame, Point centre, int32_t patch, Direction direction) {
  const size_t length = static_cast<size_t>(sampleLength(patch));
  std::vector<float> room(length + 4, 12345.0f);
  sampleInto(room.data() + 2, frame.data(), centre, patch, direction);
  for (size_t i : {size_t{0}, size_t{1}, length + 2, length + 3}) EXPECT_EQ(12345.0f, room[i]);
  return std::vector<float>(room.begin() + 2, room.end() - 2);
}

void expectLikeReference(const Frame& frame, Point centre, int32_t patch) {
  for (Direction direction : kDirections) {
    const std::vector<float> wanted = reference::sample(
        frame, centre, patch, direction == Direction::kMirrored, ScopedPatchMeans::slot(patch));
    const std::vector<float> got = sampleOf(frame, centre, patch, direction);
    ASSERT_EQ(wanted.size(), got.size());
    EXPECT_TRUE(sameFloats(wanted.data(), got.data(), got.size()))
        << "patch " << patch << " at " << centre.x << ", " << centre.y
        << (direction == Direction::kMirrored ? ", mirrored" : "");
  }
}

Frame randomFrame(Random& random, int32_t patch) {
  return random.bytes(static_cast<size_t>(isColour(patch) ? kColorFaceBytes : kGrayFaceBytes));
}

// Gray frames in which each pixel holds its column or its row.
Frame frameOfColumns() {
  Frame frame(kGrayFaceBytes);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(i % 160);
  return frame;
}

Frame frameOfRows() {
  Frame frame(kGrayFaceBytes);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(i / 160);
  return frame;
}

// Patch 15 is gray, 47 pixels wide, without an offset and without margins.
constexpr int32_t kPlainPatch = 15;

float columnRead(float x, int32_t dx, Direction direction) {
  return sampleOf(frameOfColumns(), {x, 80.0f}, kPlainPatch,
                  direction)[static_cast<size_t>(23 + dx)];
}

TEST(SamplePatch, AllPatchesAndCentresMatchTheReference) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    const Frame frame = randomFrame(random, patch);
    for (int i = 0; i < 12; ++i) {
      expectLikeReference(frame, {random.between(-80.0f, 240.0f), random.between(-80.0f, 240.0f)},
                          patch);
    }
  }
}

TEST(SamplePatch, CentresNextToHalvesMatchTheReference) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  const auto nextToAHalf = [&random] {
    const float half = static_cast<float>(random.integer(-30, 190)) + 0.5f;
    const int side = random.integer(0, 2);
    return side == 0 ? half : std::nextafter(half, side == 1 ? kInfinity : -kInfinity);
  };
  for (int i = 0; i < 200; ++i) {
    const int32_t patch = random.integer(0, 24);
    const float x = random.chance(10) ? 0.49999997f : nextToAHalf();
    expectLikeReference(randomFrame(random, patch), {x, nextToAHalf()}, patch);
  }
}

TEST(SamplePatch, SpecialAndEnormousCentresMatchTheReference) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  for (int i = 0; i < 200; ++i) {
    const int32_t patch = random.integer(0, 24);
    const float distant = random.normal() * std::exp(random.between(5.0f, 80.0f));
    const float odd = random.chance(50) ? random.special() : distant;
    const float even = random.chance(50) ? 70.25f : random.special();
    expectLikeReference(randomFrame(random, patch), {odd, even}, patch);
    expectLikeReference(randomFrame(random, patch), {even, odd}, patch);
  }
}

TEST(SamplePatch, AtTheMiddleOfTheFrameTheColumnsAre57To103AndTheRows37To83) {
  const std::vector<float> columns =
      sampleOf(frameOfColumns(), {80.0f, 60.0f}, kPlainPatch, Direction::kDirect);
  const std::vector<float> rows =
      sampleOf(frameOfRows(), {80.0f, 60.0f}, kPlainPatch, Direction::kDirect);
  const std::vector<float> mirrored =
      sampleOf(frameOfColumns(), {80.0f, 60.0f}, kPlainPatch, Direction::kMirrored);
  const std::vector<float> mirroredRows =
      sampleOf(frameOfRows(), {80.0f, 60.0f}, kPlainPatch, Direction::kMirrored);
  for (int32_t i = 0; i < 47; ++i) {
    for (int32_t j = 0; j < 47; ++j) {
      const size_t element = static_cast<size_t>(47 * i + j);
      ASSERT_EQ(static_cast<float>(57 + j), columns[element]);
      ASSERT_EQ(static_cast<float>(103 - j), mirrored[element]);
      ASSERT_EQ(static_cast<float>(37 + i), rows[element]);
      ASSERT_EQ(static_cast<float>(37 + i), mirroredRows[element]);
    }
  }
}

TEST(SamplePatch, AFractionIsRoundedForEachPixelInItsOwnDirection) {
  EXPECT_EQ(81.0f, columnRead(80.6f, 0, Direction::kDirect));
  EXPECT_EQ(81.0f, columnRead(80.6f, 0, Direction::kMirrored));
  EXPECT_EQ(82.0f, columnRead(80.6f, 1, Direction::kDirect));
  EXPECT_EQ(80.0f, columnRead(80.6f, 1, Direction::kMirrored));
  EXPECT_EQ(80.0f, columnRead(80.4f, 0, Direction::kDirect));
}

TEST(SamplePatch, TheHalfIsAddedInSinglePrecision) {
  // 0.49999997 + 0.5 rounds to 1 as a float. In a wider type it would stay below 1.
  EXPECT_EQ(1.0f, columnRead(0.49999997f, 0, Direction::kDirect));
  EXPECT_EQ(1.0f, columnRead(0.49999997f, 0, Direction::kMirrored));
  EXPECT_EQ(0.0f, columnRead(0.4999999f, 0, Direction::kDirect));
}

TEST(SamplePatch, NegativePositionsTruncateTowardZeroBeforeTheClamp) {
  // Positions from -1.49 to -0.51 all give column 0, and so does -0.5 + 0.5.
  for (float x : {-1.4f, -0.6f, -0.5f, 0.3f})
    EXPECT_EQ(0.0f, columnRead(x, 0, Direction::kDirect)) << x;
  EXPECT_EQ(1.0f, columnRead(0.5f, 0, Direction::kDirect));
}

TEST(SamplePatch, OutsideTheFrameItsBorderIsRepeatedForEachPixelApart) {
  const std::vector<float> right =
      sampleOf(frameOfColumns(), {150.0f, 5.0f}, kPlainPatch, Direction::kDirect);
  const std::vector<float> top =
      sampleOf(frameOfRows(), {150.0f, 5.0f}, kPlainPatch, Direction::kDirect);
  for (int32_t k = 0; k < 47; ++k) {
    EXPECT_EQ(static_cast<float>(std::min(127 + k, 159)), right[static_cast<size_t>(k)]);
    EXPECT_EQ(static_cast<float>(std::max(k - 18, 0)), top[static_cast<size_t>(47 * k)]);
  }
  const std::vector<float> farAway =
      sampleOf(frameOfColumns(), {9000.0f, -9000.0f}, kPlainPatch, Direction::kMirrored);
  EXPECT_EQ(std::vector<float>(47 * 47, 159.0f), farAway);
}

TEST(SamplePatch, ANanOrInfiniteCentreReadsTheFirstPixelEverywhere) {
  Frame frame(kGrayFaceBytes, 9);
  frame[0] = 77;
  for (float bad : {kNaN, kInfinity, -kInfinity}) {
    for (Direction direction : kDirections) {
      EXPECT_EQ(std::vector<float>(47 * 47, 77.0f),
                sampleOf(frame, {bad, bad}, kPlainPatch, direction));
    }
  }
}

TEST(SamplePatch, TheOffsetIsSpanTimesFactorInSinglePrecision) {
  struct Case {
    int32_t patch;
    float offset;
  };
  const float third = floatOfBits(0x3EAAA64Cu);
  const Case cases[] = {
      {14, -15.0f}, {4, 27.0f * third}, {12, 15.0f * third}, {19, 21.0f * third}, {15, 0.0f}};
  EXPECT_NE(9.0f, 27.0f * third);
  for (const Case& c : cases) {
    // The row of the middle pixel increases by one where centre and offset add up to a half.
    for (int32_t row = 30; row < 120; ++row) {
      const float y = static_cast<float>(row) - 0.5f - c.offset;
      expectLikeReference(isColour(c.patch) ? Frame(kColorFaceBytes, 3) : frameOfRows(), {80.0f, y},
                          c.patch);
    }
  }
  const std::vector<float> lifted = sampleOf(frameOfRows(), {80.0f, 60.0f}, 14, Direction::kDirect);
  EXPECT_EQ(45.0f, lifted[23 * 47 + 23]) << "a negative factor moves the sample up";
  const std::vector<float> lowered =
      sampleOf(frameOfRows(), {80.0f, 60.0f}, 12, Direction::kDirect);
  EXPECT_EQ(65.0f, lowered[23 * 47 + 23]) << "a positive factor moves it down";
}

TEST(SamplePatch, APositionJustBelowAHalfMissesTheNineRowsThatAThirdWouldGive) {
  // 27 * 0.3333 is 8.9991. With an offset of 9, a centre at 51.5005 would round up; here it does
  // not.
  Frame frame(kColorFaceBytes);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(i / 480);
  const std::vector<float> got = sampleOf(frame, {80.0f, 51.5005f}, 4, Direction::kDirect);
  EXPECT_EQ(60.0f, got[23 * 47 + 23]);
}

TEST(SampleColorPatch, PlaneZeroIsRedWhichIsTheLastByteOfAPixel) {
  Frame frame(kColorFaceBytes);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<uint8_t>(10 + i % 3);
  for (Direction direction : kDirections) {
    const std::vector<float> got = sampleOf(frame, {80.0f, 80.0f}, 2, direction);
    for (size_t i = 0; i < got.size(); ++i) {
      ASSERT_EQ(static_cast<float>(12 - i / (47 * 47)), got[i]) << i;
    }
  }
}

TEST(SamplePatch, AMirroredSampleAtTheSamePointIsTheFlipOfTheDirectOne) {
  SeededRandom random;
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    const Frame frame = randomFrame(random, patch);
    // No position is a rounding tie, because ties round to the right in both directions.
    const Point centre = {random.between(20.0f, 140.0f), random.between(20.0f, 140.0f)};
    const std::vector<float> direct = sampleOf(frame, centre, patch, Direction::kDirect);
    const std::vector<float> mirrored = sampleOf(frame, centre, patch, Direction::kMirrored);
    const size_t side = static_cast<size_t>(patchSpec.patchSize[patch]);
    for (size_t i = 0; i < direct.size(); ++i) {
      ASSERT_EQ(direct[i], mirrored[i / side * side + (side - 1 - i % side)]) << patch;
    }
  }
}

TEST(SamplePatch, TheMeanIsNotFlippedWithTheMirroredPixels) {
  const ScopedPatchMeans means(0.0f);
  for (int32_t patch : {kPlainPatch, 2}) {
    float* slot = ScopedPatchMeans::slot(patch);
    for (int32_t i = 0; i < kLargestSample; ++i) slot[i] = static_cast<float>(i);
    const Frame frame(isColour(patch) ? kColorFaceBytes : kGrayFaceBytes, 100);
    for (Direction direction : kDirections) {
      const std::vector<float> got = sampleOf(frame, {80.0f, 80.0f}, patch, direction);
      for (size_t i = 0; i < got.size(); ++i) ASSERT_EQ(100.0f - static_cast<float>(i), got[i]);
    }
  }
}

TEST(SamplePatch, EachPatchSubtractsItsOwnMean) {
  const ScopedPatchMeans means(0.0f);
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    for (int32_t i = 0; i < sampleLength(patch); ++i) {
      ScopedPatchMeans::slot(patch)[i] = static_cast<float>(1 + patch);
    }
  }
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    const Frame frame(isColour(patch) ? kColorFaceBytes : kGrayFaceBytes, 50);
    const std::vector<float> got = sampleOf(frame, {80.0f, 80.0f}, patch, Direction::kDirect);
    const size_t side = static_cast<size_t>(patchSpec.patchSize[patch]);
    EXPECT_EQ(static_cast<float>(49 - patch), got[side * (side / 2) + side / 2]);
  }
}

TEST(SamplePatch, MarginsAreZeroOnEachPlaneAndNotMinusTheMean) {
  const ScopedPatchMeans means(5.0f);
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    const int32_t side = patchSpec.patchSize[patch];
    const int32_t columns = patch <= 1 ? 4 : 0;
    const int32_t rows = patch == 12 ? 6 : (patch == 10 || patch == 14 ? 3 : 0);
    const Frame frame(isColour(patch) ? kColorFaceBytes : kGrayFaceBytes, 200);
    for (Direction direction : kDirections) {
      const std::vector<float> got = sampleOf(frame, {80.0f, 80.0f}, patch, direction);
      for (size_t i = 0; i < got.size(); ++i) {
        const int32_t x = static_cast<int32_t>(i) % side;
        const int32_t y = static_cast<int32_t>(i) / side % side;
        const bool blank = x < columns || x >= side - columns || y < rows || y >= side - rows;
        ASSERT_EQ(blank ? 0u : bitsOf(195.0f), bitsOf(got[i])) << "patch " << patch << ", " << i;
      }
    }
  }
}

TEST(SamplePatch, MarginsBlankWhatNanMeansWouldHaveLeft) {
  const ScopedPatchMeans means(kNaN);
  const std::vector<float> got =
      sampleOf(Frame(kColorFaceBytes, 200), {80.0f, 80.0f}, 0, Direction::kDirect);
  EXPECT_BITS(0u, got[0]);
  EXPECT_BITS(0u, got[54]);
  EXPECT_TRUE(std::isnan(got[27]));
}

TEST(SamplePatch, ReadsOnlyTheFrame) {
  SeededRandom random;
  for (const auto guard : {GuardedBuffer::Guard::kAfter, GuardedBuffer::Guard::kBefore}) {
    for (int32_t patch = 0; patch < kPatchCount; ++patch) {
      const Frame frame = randomFrame(random, patch);
      GuardedBuffer guarded(frame, guard);
      for (float x : {-40.0f, 3.0f, 158.0f, 400.0f}) {
        const Point centre = {x, 161.0f - x};
        std::vector<float> got(static_cast<size_t>(sampleLength(patch)));
        sampleInto(got.data(), guarded.data(), centre, patch, Direction::kDirect);
        EXPECT_EQ(sampleOf(frame, centre, patch, Direction::kDirect), got);
        sampleInto(got.data(), guarded.data(), centre, patch, Direction::kMirrored);
        EXPECT_EQ(sampleOf(frame, centre, patch, Direction::kMirrored), got);
      }
    }
  }
}

}  // namespace
}  // namespace facefeature_test
