#include "photo/thumbnail.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

Photo randomPhoto(Random& random, int32_t width, int32_t height) {
  Photo photo = makePhoto(static_cast<uint64_t>(width), static_cast<uint64_t>(height));
  for (uint8_t& byte : photo.pixels) byte = static_cast<uint8_t>(random.integer(0, 255));
  return photo;
}

// The mean of a photograph over a rectangle with fractional coordinates, sampled finely.
double sampledMean(const Photo& photo, double left, double right, double top, double bottom,
                   size_t channel) {
  constexpr int kSamples = 120;
  double sum = 0.0;
  for (int j = 0; j < kSamples; ++j) {
    const auto y = static_cast<size_t>(top + (bottom - top) * (j + 0.5) / kSamples);
    for (int i = 0; i < kSamples; ++i) {
      const auto x = static_cast<size_t>(left + (right - left) * (i + 0.5) / kSamples);
      sum += photo.pixels[y * static_cast<size_t>(photo.stride()) + 3 * x + channel];
    }
  }
  return sum / (kSamples * kSamples);
}

TEST(Thumbnail, PixelsAreMeansOfTheAreasThatTheyCover) {
  SeededRandom random;
  for (const auto& [width, height, side] : {std::array<int32_t, 3>{23, 17, 7}, {9, 40, 13}}) {
    const Photo photo = randomPhoto(random, width, height);
    const Photo small = reducedPhoto(photo, side);
    EXPECT_EQ(side, std::max(small.width, small.height));
    const double across = static_cast<double>(width) / small.width;
    const double down = static_cast<double>(height) / small.height;
    for (int32_t y = 0; y < small.height; ++y) {
      for (int32_t x = 0; x < small.width; ++x) {
        for (size_t channel = 0; channel < 3; ++channel) {
          const double wanted =
              sampledMean(photo, x * across, (x + 1) * across, y * down, (y + 1) * down, channel);
          const size_t at = static_cast<size_t>(y * small.stride() + 3 * x) + channel;
          EXPECT_NEAR(wanted, small.pixels[at], 3.0);
        }
      }
    }
  }
}

TEST(Thumbnail, SmallPhotographStaysAsItIsAndAThinOneKeepsAPixel) {
  SeededRandom random;
  const Photo photo = randomPhoto(random, 12, 5);
  EXPECT_EQ(photo.pixels, reducedPhoto(photo, 12).pixels);
  const Photo thin = reducedPhoto(randomPhoto(random, 300, 1), 10);
  EXPECT_EQ(10, thin.width);
  EXPECT_EQ(1, thin.height);
}

TEST(Thumbnail, JpegDecodesToNearlyTheSamePixels) {
  Photo photo = makePhoto(40, 24);
  for (size_t i = 0; i < photo.pixels.size(); ++i) {
    photo.pixels[i] = static_cast<uint8_t>(40 + i % 3 * 60 + i / 120);
  }
  const Photo decoded = decodePhoto(encodeJpeg(photo, 95));
  ASSERT_EQ(photo.width, decoded.width);
  ASSERT_EQ(photo.height, decoded.height);
  for (size_t i = 0; i < photo.pixels.size(); ++i) {
    EXPECT_NEAR(photo.pixels[i], decoded.pixels[i], 6) << i;
  }
}

}  // namespace
}  // namespace facefeature_test
