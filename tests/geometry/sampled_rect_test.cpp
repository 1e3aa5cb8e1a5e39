// sampledRect: the pixels of a frame that a sample reads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "geometry/face_warp.h"
#include "geometry/patch_sampling.h"
#include "geometry/patch_table.h"
#include "support/bits.h"
#include "support/reference_patches.h"
#include "support/reference_single_steps.h"
#include "support/scoped_patch_means.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::FrameRect;
using facefeature::kCanonicalSide;
using facefeature::kPatchCount;
using facefeature::sampledRect;
using reference::fromInteger;
using reference::Single;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

int32_t inFrame(Single position) {
  const int32_t index = reference::truncated((position + Single(0.5f)).value);
  return index < 0 ? 0 : std::min(index, kCanonicalSide - 1);
}

void take(FrameRect& box, int32_t x, int32_t y) {
  box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1),
         std::max(box.bottom, y + 1)};
}

// Bounding boxes of the positions of a sample: `needed` covers those that affect the result, `all`
// also those in the margins that are blanked afterwards.
struct Boxes {
  FrameRect needed = {kCanonicalSide, kCanonicalSide, 0, 0};
  FrameRect all = {kCanonicalSide, kCanonicalSide, 0, 0};
};

Boxes boxesOf(const float* center, int32_t patch, int32_t step) {
  const reference::PatchRow& row = reference::patchRow(patch);
  const Single below = fromInteger(row.span) * Single(row.offsetFactor);
  const int32_t half = row.side / 2;
  Boxes boxes;
  for (int32_t j = 0; j < row.side; ++j) {
    for (int32_t i = 0; i < row.side; ++i) {
      const Single dx = fromInteger(j - half);
      const Single across = step == 1 ? dx + Single(center[0]) : Single(center[0]) - dx;
      const int32_t x = inFrame(across);
      const int32_t y = inFrame((fromInteger(i - half) + Single(center[1])) + below);
      take(boxes.all, x, y);
      const int32_t index = row.columnMargin > 0 ? j : i;
      const int32_t margin = row.columnMargin > 0 ? row.columnMargin : row.rowMargin;
      if (index >= margin && index < row.side - margin) take(boxes.needed, x, y);
    }
  }
  return boxes;
}

bool holds(const FrameRect& outer, const FrameRect& inner) {
  return outer.left <= inner.left && outer.top <= inner.top && outer.right >= inner.right &&
         outer.bottom >= inner.bottom;
}

void expectRect(float x, float y, int32_t patch) {
  const float center[2] = {x, y};
  for (const int32_t step : {1, -1}) {
    const FrameRect rect = sampledRect(center, patch, step);
    const Boxes boxes = boxesOf(center, patch, step);
    ASSERT_TRUE(holds(rect, boxes.needed) && holds(boxes.all, rect))
        << "patch " << patch << " at " << describe(x) << ", " << describe(y) << ", step " << step
        << ": columns " << rect.left << " to " << rect.right << ", rows " << rect.top << " to "
        << rect.bottom;
  }
}

// Positions near the limits of rounding and of the number types: halves, borders, where steps of
// one are lost, the ends of the 32-bit range, and NaN or infinity.
float edgePosition(Random& random) {
  static const float kEdges[] = {
      0.0f,     -0.5f,   0.5f,      159.5f,     160.0f,      186.5f,        -27.5f,
      0x1p23f,  0x1p24f, 0x1p25f,   -0x1p24f,   0x1p31f,     -0x1p31f,      0x1p32f,
      -0x1p32f, kNaN,    kInfinity, -kInfinity, 0.49999997f, 2147483520.0f, -0x1p25f};
  float edge = kEdges[random.integer(0, 20)];
  const int32_t away = random.integer(-5, 5);
  for (int32_t i = 0; i < std::abs(away); ++i) {
    edge = std::nextafter(edge, away < 0 ? -kInfinity : kInfinity);
  }
  return edge;
}

TEST(SampledRect, OfEveryPatchContainsTheSamplesInAndAroundTheFrame) {
  SeededRandom random;
  for (int32_t patch = 0; patch < kPatchCount && !HasFailure(); ++patch) {
    for (int i = 0; i < 60; ++i) {
      expectRect(random.between(-90.0f, 250.0f), random.between(-90.0f, 250.0f), patch);
    }
  }
}

TEST(SampledRect, OfExtremeCentresContainsTheSamples) {
  SeededRandom random;
  for (int round = 0; round < 4000 && !HasFailure(); ++round) {
    const float x = random.chance(70) ? edgePosition(random) : random.between(0.0f, 160.0f);
    const float y = random.chance(70) ? edgePosition(random) : random.between(0.0f, 160.0f);
    expectRect(x, y, random.integer(0, kPatchCount - 1));
  }
}

// Floats are 128 apart there, which is more than the width of a sample. The whole sample is in one
// column: the last one while the position fits an integer, the first one beyond that.
TEST(SampledRect, CentresAtTheEndOf31BitsReadOneColumn) {
  const float below[2] = {2147483520.0f, 80.0f};
  const float beyond[2] = {2147483648.0f, 80.0f};
  for (const int32_t step : {1, -1}) {
    EXPECT_EQ(159, sampledRect(below, 15, step).left);
    EXPECT_EQ(160, sampledRect(below, 15, step).right);
    EXPECT_EQ(0, sampledRect(beyond, 15, step).left);
    EXPECT_EQ(1, sampledRect(beyond, 15, step).right);
  }
}

TEST(SampledRect, AtTheMiddleOfTheFrameIsTheSample) {
  const float center[2] = {80.0f, 60.0f};
  for (const int32_t step : {1, -1}) {
    const FrameRect rect = sampledRect(center, 15, step);
    EXPECT_EQ(57, rect.left);
    EXPECT_EQ(104, rect.right);
    EXPECT_EQ(37, rect.top);
    EXPECT_EQ(84, rect.bottom);
  }
}

std::vector<float> sampleOf(const std::vector<uint8_t>& face, const float* center, int32_t patch,
                            int32_t step) {
  std::vector<float> out(static_cast<size_t>(facefeature::sampleLength(patch)));
  if (reference::patchRow(patch).colour) {
    const auto color =
        step == 1 ? facefeature::SampleColorPatch : facefeature::SampleColorPatchMirrored;
    color(face.data(), center, patch, ScopedPatchMeans::slot(patch), out.data());
  } else {
    const auto gray =
        step == 1 ? facefeature::SampleGrayPatch : facefeature::SampleGrayPatchMirrored;
    gray(face.data(), center, patch, ScopedPatchMeans::slot(patch), out.data());
  }
  return out;
}

// All bytes outside of the rectangle differ between the two frames.
TEST(SampledRect, PixelsOutsideOfItDoNotChangeTheSample) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  for (int round = 0; round < 400; ++round) {
    const int32_t patch = random.integer(0, kPatchCount - 1);
    const bool edge = random.chance(30);
    const float center[2] = {
        edge ? edgePosition(random) : random.between(-60.0f, 220.0f),
        random.chance(30) ? edgePosition(random) : random.between(-60.0f, 220.0f)};
    const int32_t step = random.chance(50) ? 1 : -1;
    const int32_t planes = reference::patchRow(patch).colour ? 3 : 1;
    const FrameRect rect = sampledRect(center, patch, step);
    const std::vector<uint8_t> face = random.bytes(static_cast<size_t>(25600 * planes));
    std::vector<uint8_t> spoilt = face;
    for (size_t i = 0; i < spoilt.size(); ++i) {
      const int32_t pixel = static_cast<int32_t>(i) / planes;
      const int32_t x = pixel % kCanonicalSide, y = pixel / kCanonicalSide;
      const bool inside = x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
      if (!inside) spoilt[i] = static_cast<uint8_t>(~spoilt[i]);
    }
    const std::vector<float> wanted = sampleOf(face, center, patch, step);
    const std::vector<float> got = sampleOf(spoilt, center, patch, step);
    ASSERT_TRUE(sameFloats(wanted.data(), got.data(), wanted.size()))
        << "patch " << patch << " at " << describe(center[0]) << ", " << describe(center[1]);
  }
}

}  // namespace
}  // namespace facefeature_test
