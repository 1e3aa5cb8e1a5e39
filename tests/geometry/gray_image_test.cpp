#include "geometry/gray_image.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/guarded_buffer.h"
#include "support/pictures.h"
#include "support/reference_geometry.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConvertToGray;

std::vector<uint8_t> grayOf(const Picture& picture) {
  std::vector<uint8_t> gray(static_cast<size_t>(picture.width) *
                            static_cast<size_t>(picture.height));
  ConvertToGray(picture.pixels(), picture.width, picture.height, picture.stride, gray.data());
  return gray;
}

uint8_t grayOfPixel(uint8_t blue, uint8_t green, uint8_t red) {
  const uint8_t pixel[3] = {blue, green, red};
  uint8_t gray = 0;
  ConvertToGray(pixel, 1, 1, 3, &gray);
  return gray;
}

TEST(ConvertToGray, TheFirstByteIsBlueAndTheThirdRed) {
  EXPECT_EQ(29, grayOfPixel(255, 0, 0));
  EXPECT_EQ(149, grayOfPixel(0, 255, 0));
  EXPECT_EQ(76, grayOfPixel(0, 0, 255));
}

TEST(ConvertToGray, EqualChannelsKeepTheirValue) {
  for (int value = 0; value < 256; ++value) {
    const uint8_t byte = static_cast<uint8_t>(value);
    EXPECT_EQ(value, grayOfPixel(byte, byte, byte));
  }
}

TEST(ConvertToGray, FractionsAreCutOff) {
  // The weighted sums are 718, 907, 936 and 1053, in units of 1/1024.
  EXPECT_EQ(0, grayOfPixel(1, 1, 0));
  EXPECT_EQ(0, grayOfPixel(0, 1, 1));
  EXPECT_EQ(0, grayOfPixel(8, 0, 0));
  EXPECT_EQ(1, grayOfPixel(9, 0, 0));
}

TEST(ConvertToGray, PicturesOfAnyGeometryMatchTheReference) {
  SeededRandom random;
  for (int i = 0; i < 150; ++i) {
    const Picture picture = randomPicture(random, random.integer(1, 90), random.integer(1, 20));
    SCOPED_TRACE(::testing::Message()
                 << picture.width << " x " << picture.height << ", stride " << picture.stride);
    EXPECT_EQ(reference::grayOf(picture.view()), grayOf(picture));
  }
}

TEST(ConvertToGray, EveryWidthUpToThreeLanesAndMoreMatchesTheReference) {
  SeededRandom random;
  for (int32_t width = 1; width <= 140; ++width) {
    const Picture picture = randomPicture(random, width, 2, 3 * width);
    EXPECT_EQ(reference::grayOf(picture.view()), grayOf(picture)) << width;
  }
}

TEST(ConvertToGray, ABottomUpPictureIsReadFromItsTopRow) {
  Picture picture = blankPicture(2, 3, -8);
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 2; ++x) {
      for (int32_t c = 0; c < 3; ++c) picture.at(x, y, c) = static_cast<uint8_t>(10 * y + x);
    }
  }
  EXPECT_EQ((std::vector<uint8_t>{0, 1, 10, 11, 20, 21}), grayOf(picture));
}

TEST(ConvertToGray, AHeightBelowOneDoesNothing) {
  const std::vector<uint8_t> pixels(300, 200);
  std::vector<uint8_t> gray(100, 77);
  for (int32_t height : {0, -1, -100}) {
    ConvertToGray(pixels.data(), 10, height, 30, gray.data());
    EXPECT_EQ(std::vector<uint8_t>(100, 77), gray) << height;
  }
}

TEST(ConvertToGray, ReadsAndWritesOnlyThePixels) {
  SeededRandom random;
  for (const auto guard : {GuardedBuffer::Guard::kAfter, GuardedBuffer::Guard::kBefore}) {
    for (int32_t width = 1; width <= 70; ++width) {
      const Picture picture = randomPicture(random, width, 3, 3 * width + 5);
      GuardedBuffer pixels(picture.storage, guard);
      const size_t count = static_cast<size_t>(width) * 3;
      GuardedBuffer gray(std::vector<uint8_t>(count, 0), guard);
      ConvertToGray(pixels.data(), width, 3, picture.stride, gray.data());
      const std::vector<uint8_t> got(gray.data(), gray.data() + count);
      EXPECT_EQ(reference::grayOf(picture.view()), got) << width;
    }
  }
}

}  // namespace
}  // namespace facefeature_test
