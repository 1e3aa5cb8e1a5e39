#include "geometry/face_warp.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "support/guarded_buffer.h"
#include "support/pictures.h"
#include "support/reference_geometry.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;
using reference::PictureView;
using reference::Similarity;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr Similarity kIdentity = {1.0f, 0.0f, 0.0f, 0.0f};

// Frames are filled with noise before each warp, so that a skipped byte is detected.
std::vector<uint8_t> warpedGray(const PictureView& gray, const Similarity& s) {
  Random noise(17);
  std::vector<uint8_t> frame = noise.bytes(kGrayFaceBytes);
  WarpGrayFace(gray.pixels, gray.width, gray.height, gray.stride, frame.data(), s.a, s.b, s.tx,
               s.ty);
  return frame;
}

std::vector<uint8_t> warpedColor(const PictureView& picture, const Similarity& s) {
  Random noise(17);
  std::vector<uint8_t> frame = noise.bytes(kColorFaceBytes);
  WarpColorFace(picture.pixels, picture.width, picture.height, picture.stride, frame.data(), s.a,
                s.b, s.tx, s.ty);
  return frame;
}

struct Gray {
  int32_t width, height;
  std::vector<uint8_t> bytes;

  Gray(int32_t w, int32_t h) : width(w), height(h), bytes(static_cast<size_t>(w * h)) {}
  Gray(Random& random, int32_t w, int32_t h) : width(w), height(h) {
    bytes = random.bytes(static_cast<size_t>(w * h));
  }
  uint8_t& at(int32_t x, int32_t y) { return bytes[static_cast<size_t>(y * width + x)]; }
  PictureView view() const { return {bytes.data(), width, height, width}; }
};

size_t frameIndex(int32_t row, int32_t column) { return static_cast<size_t>(row * 160 + column); }

// Rotated, shrunk or enlarged, with the picture anywhere around the frame.
Similarity randomSimilarity(Random& random, int32_t width, int32_t height) {
  const float angle = random.between(-3.2f, 3.2f);
  const float scale = std::exp(random.between(-4.0f, 3.0f));
  const float w = static_cast<float>(width);
  const float h = static_cast<float>(height);
  return {scale * std::cos(angle), scale * std::sin(angle), random.between(-w, 2.0f * w),
          random.between(-h, 2.0f * h)};
}

TEST(WarpGrayFace, AnyImageAndTransformMatchTheReference) {
  SeededRandom random;
  for (int i = 0; i < 60; ++i) {
    const Gray gray(random, random.integer(2, 300), random.integer(2, 300));
    const Similarity s = randomSimilarity(random, gray.width, gray.height);
    EXPECT_TRUE(reference::warped(gray.view(), 1, s) == warpedGray(gray.view(), s))
        << gray.width << " x " << gray.height << " by " << s.a << " " << s.b << " " << s.tx << " "
        << s.ty;
  }
}

TEST(WarpColorFace, AnyImageAndTransformMatchTheReference) {
  SeededRandom random;
  for (int i = 0; i < 40; ++i) {
    const Picture picture = randomPicture(random, random.integer(2, 300), random.integer(2, 300));
    const Similarity s = randomSimilarity(random, picture.width, picture.height);
    EXPECT_TRUE(reference::warped(picture.view(), 3, s) == warpedColor(picture.view(), s))
        << picture.width << " x " << picture.height << ", stride " << picture.stride << " by "
        << s.a << " " << s.b << " " << s.tx << " " << s.ty;
  }
}

TEST(WarpFaces, EnormousTransformsMatchTheReference) {
  SeededRandom random;
  const Picture picture = randomPicture(random, 40, 30);
  const Gray gray(random, 40, 30);
  for (float size : {1e4f, 2e7f, 1.3e9f, 1e12f, 1e25f, 3e38f}) {
    for (int i = 0; i < 4; ++i) {
      const Similarity s = {random.between(-1.0f, 1.0f) * size, random.between(-1.0f, 1.0f) * size,
                            random.between(-1.0f, 1.0f) * size, random.between(-1.0f, 1.0f) * size};
      EXPECT_TRUE(reference::warped(picture.view(), 3, s) == warpedColor(picture.view(), s))
          << size;
      EXPECT_TRUE(reference::warped(gray.view(), 1, s) == warpedGray(gray.view(), s)) << size;
    }
  }
}

TEST(WarpFaces, TheSmallestImageOfTwoByTwoPixelsWorks) {
  SeededRandom random;
  const Gray gray(random, 2, 2);
  const Picture picture = randomPicture(random, 2, 2, -9);
  for (const Similarity& s : {kIdentity, Similarity{0.01f, 0.004f, 0.1f, 0.2f}}) {
    EXPECT_TRUE(reference::warped(gray.view(), 1, s) == warpedGray(gray.view(), s));
    EXPECT_TRUE(reference::warped(picture.view(), 3, s) == warpedColor(picture.view(), s));
  }
}

TEST(WarpColorFace, EachChannelIsWarpedForItself) {
  SeededRandom random;
  Picture picture = randomPicture(random, 200, 150);
  const Similarity s = {0.9f, 0.3f, 12.25f, 3.5f};
  const std::vector<uint8_t> colour = warpedColor(picture.view(), s);
  for (int32_t channel = 0; channel < 3; ++channel) {
    Gray plane(200, 150);
    for (int32_t y = 0; y < 150; ++y) {
      for (int32_t x = 0; x < 200; ++x) plane.at(x, y) = picture.at(x, y, channel);
    }
    const std::vector<uint8_t> gray = warpedGray(plane.view(), s);
    for (size_t i = 0; i < gray.size(); ++i) {
      ASSERT_EQ(gray[i], colour[3 * i + static_cast<size_t>(channel)]) << i;
    }
  }
}

TEST(WarpFaces, TheIdentityCopiesTheTopLeftCornerOfALargerImage) {
  SeededRandom random;
  for (int32_t side : {161, 200}) {
    Gray gray(random, side, side);
    Picture picture = randomPicture(random, side, side);
    const std::vector<uint8_t> frame = warpedGray(gray.view(), kIdentity);
    const std::vector<uint8_t> colour = warpedColor(picture.view(), kIdentity);
    for (int32_t y = 0; y < 160; ++y) {
      for (int32_t x = 0; x < 160; ++x) {
        ASSERT_EQ(gray.at(x, y), frame[frameIndex(y, x)]);
        for (int32_t c = 0; c < 3; ++c) {
          ASSERT_EQ(picture.at(x, y, c), colour[3 * frameIndex(y, x) + static_cast<size_t>(c)]);
        }
      }
    }
  }
}

TEST(WarpGrayFace, OnAnImageOfTheFramesSizeTheLastColumnAndRowRepeatTheSecondLast) {
  SeededRandom random;
  Gray gray(random, 160, 160);
  const std::vector<uint8_t> frame = warpedGray(gray.view(), kIdentity);
  for (int32_t i = 0; i < 159; ++i) {
    EXPECT_EQ(gray.at(158, i), frame[frameIndex(i, 159)]);
    EXPECT_EQ(gray.at(i, 158), frame[frameIndex(159, i)]);
  }
  EXPECT_EQ(gray.at(158, 158), frame[frameIndex(159, 159)]);
}

TEST(WarpGrayFace, WholeNumbersInsideTheImageReadThePixelExactly) {
  SeededRandom random;
  Gray gray(random, 400, 400);
  const std::vector<uint8_t> moved = warpedGray(gray.view(), {1.0f, 0.0f, 31.0f, 77.0f});
  const std::vector<uint8_t> turned = warpedGray(gray.view(), {0.0f, 1.0f, 200.0f, 100.0f});
  const std::vector<uint8_t> doubled = warpedGray(gray.view(), {2.0f, 0.0f, 5.0f, 6.0f});
  for (int32_t i = 0; i < 160; ++i) {
    for (int32_t j = 0; j < 160; ++j) {
      ASSERT_EQ(gray.at(j + 31, i + 77), moved[frameIndex(i, j)]);
      ASSERT_EQ(gray.at(200 - i, j + 100), turned[frameIndex(i, j)]);
      ASSERT_EQ(gray.at(2 * j + 5, 2 * i + 6), doubled[frameIndex(i, j)]);
    }
  }
}

TEST(WarpGrayFace, HalfwayBetweenPixelsIsTheirMeanRoundedUp) {
  Gray gray(4, 4);
  for (size_t i = 0; i < 16; ++i) gray.bytes[i] = i % 2 == 0 ? 10 : 13;
  EXPECT_EQ(12, warpedGray(gray.view(), {1.0f, 0.0f, 0.5f, 0.0f})[0]);
}

TEST(WarpGrayFace, TheHalfIsAddedInSinglePrecision) {
  // v is 0.49999997. The float nearest to v + 0.5 is 1, although the exact sum is below 1.
  Gray gray(3, 3);
  gray.at(1, 0) = 1;
  ASSERT_EQ(1.0f, 0.49999997f + 0.5f);
  EXPECT_EQ(1, warpedGray(gray.view(), {1.0f, 0.0f, 0.49999997f, 0.0f})[0]);
}

TEST(WarpGrayFace, LeftOfTheImageTheFirstTwoColumnsAreExtrapolated) {
  Gray gray(6, 6);
  for (int32_t y = 0; y < 6; ++y) {
    gray.at(0, y) = 100;
    gray.at(1, y) = 60;
  }
  // Columns at -2.75, -1.75, -0.75, 0.25: truncation leaves the fraction -0.75 each time.
  const std::vector<uint8_t> frame = warpedGray(gray.view(), {1.0f, 0.0f, -2.75f, 0.0f});
  const uint8_t extrapolated = 130;  // 1.75 * 100 - 0.75 * 60
  for (int32_t j = 0; j < 3; ++j) EXPECT_EQ(extrapolated, frame[frameIndex(0, j)]) << j;
  EXPECT_EQ(90, frame[frameIndex(0, 3)]);
}

TEST(WarpGrayFace, AboveTheImageTheFirstTwoRowsAreExtrapolated) {
  Gray gray(6, 6);
  for (int32_t x = 0; x < 6; ++x) {
    gray.at(x, 0) = 100;
    gray.at(x, 1) = 60;
  }
  const std::vector<uint8_t> frame = warpedGray(gray.view(), {1.0f, 0.0f, 0.0f, -2.75f});
  for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(130, frame[frameIndex(i, 0)]) << i;
  EXPECT_EQ(90, frame[frameIndex(3, 0)]);
}

TEST(WarpGrayFace, RightOfAndBelowTheImageTheLastTwoBlendInASawtooth) {
  Gray gray(6, 6);
  for (int32_t i = 0; i < 6; ++i) gray.at(4, i) = 40;
  for (int32_t i = 0; i < 6; ++i) gray.at(5, i) = 80;
  // Columns from 5 in steps of 0.25: 40, 50, 60, 70, then the same again.
  const std::vector<uint8_t> frame = warpedGray(gray.view(), {0.25f, 0.0f, 5.0f, 1.0f});
  for (int32_t j = 0; j < 160; ++j) EXPECT_EQ(40 + j % 4 * 10, frame[frameIndex(0, j)]) << j;

  Gray turned(6, 6);
  for (int32_t x = 0; x < 6; ++x) {
    for (int32_t y = 0; y < 6; ++y) turned.at(x, y) = gray.at(y, x);
  }
  const std::vector<uint8_t> below = warpedGray(turned.view(), {0.25f, 0.0f, 1.0f, 5.0f});
  for (int32_t i = 0; i < 160; ++i) EXPECT_EQ(40 + i % 4 * 10, below[frameIndex(i, 0)]) << i;
}

TEST(WarpGrayFace, ResultsBeyondAByteWrap) {
  Gray gray(4, 4);
  const auto leftOf = [&gray](uint8_t first, uint8_t second) {
    for (int32_t y = 0; y < 4; ++y) {
      gray.at(0, y) = first;
      gray.at(1, y) = second;
    }
    return warpedGray(gray.view(), {1.0f, 0.0f, -0.5f, 0.0f})[0];
  };
  EXPECT_EQ(300 - 256, leftOf(200, 0)) << "a bright edge beside a dark column turns dark";
  EXPECT_EQ(256 - 49, leftOf(0, 100)) << "-50 and a half truncate to -49";
  EXPECT_EQ(0, leftOf(171, 1)) << "256 becomes 0";
  EXPECT_EQ(255, leftOf(1, 6)) << "a truncated -1 becomes 255";
  EXPECT_EQ(0, leftOf(0, 2)) << "-0.5 truncates to 0";
}

TEST(WarpFaces, ATransformWithANanOrInfinityGivesAFrameOfZeros) {
  SeededRandom random;
  Picture picture = randomPicture(random, 90, 70);
  const Gray gray(random, 90, 70);
  for (float bad : {kNaN, kInfinity, -kInfinity}) {
    for (int index = 0; index < 5; ++index) {
      Similarity s = {0.8f, 0.2f, 3.0f, 4.0f};
      float* fields[4] = {&s.a, &s.b, &s.tx, &s.ty};
      for (int field = 0; field < 4; ++field) {
        if (index == field || index == 4) *fields[field] = bad;
      }
      SCOPED_TRACE(::testing::Message() << bad << " at " << index);
      EXPECT_TRUE(warpedGray(gray.view(), s) == std::vector<uint8_t>(kGrayFaceBytes, 0));
      EXPECT_TRUE(warpedColor(picture.view(), s) == std::vector<uint8_t>(kColorFaceBytes, 0));
    }
  }
}

TEST(WarpFaces, EveryReadStaysInsideTheImage) {
  SeededRandom random;
  const int32_t sides[] = {2, 3, 5, 16, 33};
  for (const auto guard : {GuardedBuffer::Guard::kAfter, GuardedBuffer::Guard::kBefore}) {
    for (int i = 0; i < 40; ++i) {
      const int32_t width = sides[random.integer(0, 4)];
      const int32_t height = sides[random.integer(0, 4)];
      const Similarity s = randomSimilarity(random, width, height);
      const Picture picture = randomPicture(random, width, height, 3 * width);
      GuardedBuffer colour(picture.storage, guard);
      const PictureView colourView = {colour.data(), width, height, 3 * width};
      EXPECT_TRUE(reference::warped(picture.view(), 3, s) == warpedColor(colourView, s));

      const Gray gray(random, width, height);
      GuardedBuffer bytes(gray.bytes, guard);
      const PictureView grayView = {bytes.data(), width, height, width};
      EXPECT_TRUE(reference::warped(gray.view(), 1, s) == warpedGray(grayView, s));
    }
  }
}

TEST(WarpFaces, OnlyTheFrameIsWritten) {
  SeededRandom random;
  const Picture picture = randomPicture(random, 50, 50);
  const Gray gray(random, 50, 50);
  for (const auto guard : {GuardedBuffer::Guard::kAfter, GuardedBuffer::Guard::kBefore}) {
    GuardedBuffer grayFace(std::vector<uint8_t>(kGrayFaceBytes), guard);
    GuardedBuffer colorFace(std::vector<uint8_t>(kColorFaceBytes), guard);
    WarpGrayFace(gray.bytes.data(), 50, 50, 50, grayFace.data(), 0.5f, 0.1f, -3.0f, -4.0f);
    WarpColorFace(picture.pixels(), 50, 50, picture.stride, colorFace.data(), 0.5f, 0.1f, -3.0f,
                  -4.0f);
    const Similarity s = {0.5f, 0.1f, -3.0f, -4.0f};
    EXPECT_EQ(0, std::memcmp(reference::warped(gray.view(), 1, s).data(), grayFace.data(),
                             kGrayFaceBytes));
    EXPECT_EQ(0, std::memcmp(reference::warped(picture.view(), 3, s).data(), colorFace.data(),
                             kColorFaceBytes));
  }
}

}  // namespace
}  // namespace facefeature_test
