#include "geometry/patch_frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "geometry/patch_table.h"
#include "support/reference_patches.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::addFramePart;
using facefeature::FrameRect;
using facefeature::isLastOfItsFrame;
using facefeature::isLastOfItsKind;
using facefeature::kCanonicalSide;
using facefeature::kPatchCount;
using facefeature::kWholeFrame;
using facefeature::shareFrame;

// The parameters that determine a frame.
std::pair<bool, int32_t> frameKey(int32_t patch) {
  return {reference::patchRow(patch).colour, reference::patchRow(patch).span};
}

TEST(ShareFrame, HoldsForEqualColoursAndSpansAlone) {
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    for (int32_t other = 0; other < kPatchCount; ++other) {
      EXPECT_EQ(frameKey(patch) == frameKey(other), shareFrame(patch, other))
          << patch << " and " << other;
    }
  }
}

TEST(IsLastOfItsFrame, HoldsOnceForEachOfElevenFrames) {
  std::set<std::pair<bool, int32_t>> all, finished;
  for (int32_t patch = 0; patch < kPatchCount; ++patch) all.insert(frameKey(patch));
  EXPECT_EQ(11u, all.size());
  // In reverse order, the first patch of each frame is the last one in forward order.
  for (int32_t patch = kPatchCount - 1; patch >= 0; --patch) {
    EXPECT_EQ(finished.insert(frameKey(patch)).second, isLastOfItsFrame(patch)) << patch;
  }
  EXPECT_EQ(all, finished);
}

TEST(IsLastOfItsKind, HoldsForPatch23AmongTheGrayAndPatch24AmongTheColourOnes) {
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    EXPECT_EQ(patch == 23 || patch == 24, isLastOfItsKind(patch)) << patch;
  }
  EXPECT_FALSE(reference::patchRow(23).colour);
  EXPECT_TRUE(reference::patchRow(24).colour);
}

TEST(IsLastOfItsKind, IsAlsoTheLastOfItsFrame) {
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    EXPECT_TRUE(!isLastOfItsKind(patch) || isLastOfItsFrame(patch)) << patch;
  }
}

int64_t pixelsOf(const FrameRect& rect) {
  return int64_t{rect.right - rect.left} * (rect.bottom - rect.top);
}

int64_t pixelsOf(const std::vector<FrameRect>& parts) {
  int64_t sum = 0;
  for (const FrameRect& part : parts) sum += pixelsOf(part);
  return sum;
}

int64_t pixelsAround(const FrameRect& a, const FrameRect& b) {
  return pixelsOf(FrameRect{std::min(a.left, b.left), std::min(a.top, b.top),
                            std::max(a.right, b.right), std::max(a.bottom, b.bottom)});
}

// One flag per pixel of the frame, set if some part contains the pixel.
std::vector<bool> covered(const std::vector<FrameRect>& parts) {
  std::vector<bool> flags(static_cast<size_t>(kCanonicalSide * kCanonicalSide), false);
  for (const FrameRect& part : parts) {
    for (int32_t y = part.top; y < part.bottom; ++y) {
      for (int32_t x = part.left; x < part.right; ++x) {
        flags[static_cast<size_t>(y * kCanonicalSide + x)] = true;
      }
    }
  }
  return flags;
}

FrameRect randomPart(Random& random) {
  // Samples are 47 or 55 pixels wide. Clipped at the border they can shrink to a single pixel.
  const int32_t wide = random.integer(1, random.chance(70) ? 55 : kCanonicalSide);
  const int32_t high = random.integer(1, random.chance(70) ? 55 : kCanonicalSide);
  const int32_t left = random.integer(0, kCanonicalSide - wide);
  const int32_t top = random.integer(0, kCanonicalSide - high);
  return {left, top, left + wide, top + high};
}

bool isInFrame(const FrameRect& part) {
  return part.left >= 0 && part.top >= 0 && part.left < part.right && part.top < part.bottom &&
         part.right <= kCanonicalSide && part.bottom <= kCanonicalSide;
}

TEST(AddFramePart, PartsHoldAllThatWasAddedAndNeverMorePixelsThanTheirSum) {
  SeededRandom random;
  for (int round = 0; round < 400; ++round) {
    std::vector<FrameRect> parts, added;
    const int32_t count = random.integer(1, 12);
    for (int32_t i = 0; i < count; ++i) {
      const int64_t before = pixelsOf(parts);
      const FrameRect part = randomPart(random);
      added.push_back(part);
      addFramePart(parts, part);
      ASSERT_LE(pixelsOf(parts), before + pixelsOf(part)) << "round " << round;
      for (const FrameRect& held : parts) ASSERT_TRUE(isInFrame(held)) << "round " << round;
    }
    const std::vector<bool> wanted = covered(added), got = covered(parts);
    for (size_t i = 0; i < wanted.size(); ++i) {
      ASSERT_TRUE(got[i] || !wanted[i]) << "round " << round << ", pixel " << i;
    }
  }
}

TEST(AddFramePart, NoTwoPartsTakeMorePixelsApartThanTogether) {
  SeededRandom random;
  for (int round = 0; round < 1000; ++round) {
    std::vector<FrameRect> parts;
    const int32_t count = random.integer(1, 12);
    for (int32_t i = 0; i < count; ++i) addFramePart(parts, randomPart(random));
    for (size_t i = 0; i < parts.size(); ++i) {
      for (size_t j = i + 1; j < parts.size(); ++j) {
        ASSERT_GE(pixelsAround(parts[i], parts[j]), pixelsOf(parts[i]) + pixelsOf(parts[j]))
            << "round " << round;
      }
    }
  }
}

TEST(AddFramePart, AJoinedPartMayBeJoinedWithAnother) {
  // The third part overlaps both, and merging it with either costs less than keeping it separate.
  std::vector<FrameRect> parts;
  addFramePart(parts, {0, 0, 10, 40});
  addFramePart(parts, {30, 0, 40, 40});
  ASSERT_EQ(2u, parts.size());
  addFramePart(parts, {8, 0, 32, 40});
  ASSERT_EQ(1u, parts.size());
  EXPECT_EQ(1600, pixelsOf(parts));
}

TEST(AddFramePart, FarPartsStayApartAndEqualOnesBecomeOne) {
  std::vector<FrameRect> parts;
  addFramePart(parts, {0, 0, 47, 47});
  addFramePart(parts, {100, 100, 147, 147});
  EXPECT_EQ(2u, parts.size());
  addFramePart(parts, {0, 0, 47, 47});
  addFramePart(parts, {110, 110, 111, 111});
  EXPECT_EQ(2u, parts.size());
  EXPECT_EQ(2 * 47 * 47, pixelsOf(parts));
  addFramePart(parts, kWholeFrame);
  EXPECT_EQ(1u, parts.size());
  EXPECT_EQ(int64_t{kCanonicalSide} * kCanonicalSide, pixelsOf(parts));
}

}  // namespace
}  // namespace facefeature_test
