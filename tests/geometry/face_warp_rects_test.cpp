// Warps of a part of the frame, and warps that compute gray values as they read them: their bytes
// equal those of a warp of the whole frame.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "geometry/face_warp.h"
#include "geometry/gray_image.h"
#include "support/guarded_picture.h"
#include "support/pictures.h"
#include "support/reference_patches.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::FrameRect;
using facefeature::kCanonicalSide;
using facefeature::kWholeFrame;
using reference::Similarity;

FrameRect randomRect(Random& random) {
  if (random.chance(10)) return kWholeFrame;
  const int32_t left = random.integer(0, kCanonicalSide), top = random.integer(0, kCanonicalSide);
  // The rectangle may be empty.
  return {left, top, random.integer(left, kCanonicalSide), random.integer(top, kCanonicalSide)};
}

// From ordinary transforms to those with positions outside the range of integers or floats.
Similarity randomSimilarity(Random& random, int32_t width, int32_t height) {
  Similarity t;
  const float size =
      random.chance(80) ? random.between(0.01f, 4.0f) : std::ldexp(1.0f, random.integer(-30, 40));
  t.a = size * random.between(-1.0f, 1.0f);
  t.b = random.chance(20) ? 0.0f : size * random.between(-1.0f, 1.0f);
  const float reach = random.chance(70) ? 1.5f : std::ldexp(1.0f, random.integer(2, 32));
  t.tx = static_cast<float>(width) * reach * random.between(-1.0f, 1.0f);
  t.ty = static_cast<float>(height) * reach * random.between(-1.0f, 1.0f);
  if (random.chance(15)) {
    float* const numbers[] = {&t.a, &t.b, &t.tx, &t.ty};
    *numbers[random.integer(0, 3)] = random.special();
  }
  return t;
}

int32_t randomSide(Random& random) {
  return random.chance(30) ? random.integer(2, 5) : random.integer(2, 220);
}

// The expected frame inside the rectangle, the previous content outside of it.
void expectPart(const std::vector<uint8_t>& wanted, const std::vector<uint8_t>& before,
                const std::vector<uint8_t>& got, const FrameRect& rect, int32_t channels) {
  for (size_t i = 0; i < got.size(); ++i) {
    const int32_t pixel = static_cast<int32_t>(i) / channels;
    const int32_t x = pixel % kCanonicalSide, y = pixel / kCanonicalSide;
    const bool inside = x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
    ASSERT_EQ(inside ? wanted[i] : before[i], got[i])
        << "byte " << i << ", column " << x << ", row " << y << (inside ? "" : ", outside");
  }
}

class WarpRects : public ::testing::Test {
 protected:
  // Fills each byte with a value that a warp is unlikely to write there.
  std::vector<uint8_t> anyFace(int32_t channels) {
    return random.bytes(static_cast<size_t>(25600 * channels));
  }

  GuardedBuffer::Guard anyGuard() {
    return random.chance(50) ? GuardedBuffer::Guard::kAfter : GuardedBuffer::Guard::kBefore;
  }

  // Runs all three operations on one picture, transform and rectangle.
  void expectParts(int32_t width, int32_t height) {
    const Picture picture = randomPicture(random, width, height);
    const Similarity t = randomSimilarity(random, width, height);
    const FrameRect rect = randomRect(random);
    SCOPED_TRACE(::testing::Message()
                 << width << " x " << height << ", stride " << picture.stride << ", transform "
                 << t.a << ", " << t.b << ", " << t.tx << ", " << t.ty << ", columns " << rect.left
                 << " to " << rect.right << ", rows " << rect.top << " to " << rect.bottom);
    expectColor(picture, t, rect);
    expectGray(picture, t, rect);
  }

  SeededRandom random;

 private:
  void expectColor(const Picture& picture, const Similarity& t, const FrameRect& rect) {
    const std::vector<uint8_t> wanted = reference::warped(picture.view(), 3, t);
    const std::vector<uint8_t> before = anyFace(3);
    std::vector<uint8_t> face = before;
    GuardedPicture pixels(picture, anyGuard());
    facefeature::WarpColorRect(pixels.pixels(), picture.width, picture.height, picture.stride,
                               face.data(), rect, t.a, t.b, t.tx, t.ty);
    expectPart(wanted, before, face, rect, 3);
  }

  void expectGray(const Picture& picture, const Similarity& t, const FrameRect& rect) {
    const std::vector<uint8_t> gray = reference::grayOf(picture.view());
    const std::vector<uint8_t> wanted =
        reference::warped({gray.data(), picture.width, picture.height, picture.width}, 1, t);
    const std::vector<uint8_t> before = anyFace(1);

    std::vector<uint8_t> face = before;
    GuardedBuffer bytes(gray, anyGuard());
    facefeature::WarpGrayRect(bytes.data(), picture.width, picture.height, picture.width,
                              face.data(), rect, t.a, t.b, t.tx, t.ty);
    expectPart(wanted, before, face, rect, 1);

    face = before;
    GuardedPicture pixels(picture, anyGuard());
    facefeature::WarpGrayRectFromColor(pixels.pixels(), picture.width, picture.height,
                                       picture.stride, face.data(), rect, t.a, t.b, t.tx, t.ty);
    expectPart(wanted, before, face, rect, 1);
  }
};

TEST_F(WarpRects, HaveTheBytesOfTheWholeFrameAndLeaveTheRest) {
  for (int round = 0; round < 250 && !HasFailure(); ++round) {
    expectParts(randomSide(random), randomSide(random));
  }
}

TEST_F(WarpRects, OfTheSmallestPictureHaveTheBytesOfTheWholeFrame) {
  for (int round = 0; round < 60 && !HasFailure(); ++round) expectParts(2, 2);
}

TEST_F(WarpRects, OfGrayRowsThatLieApartOrUpsideDownHaveTheBytesOfTheWholeFrame) {
  for (int round = 0; round < 30; ++round) {
    const int32_t width = randomSide(random), height = randomSide(random);
    const int32_t step = width + random.integer(0, 50);
    const Similarity t = randomSimilarity(random, width, height);
    const FrameRect rect = randomRect(random);
    std::vector<uint8_t> bytes = random.bytes(static_cast<size_t>(step * (height - 1) + width));
    const bool bottomUp = random.chance(50);
    const int32_t stride = bottomUp ? -step : step;
    const std::ptrdiff_t top = bottomUp ? std::ptrdiff_t{step} * (height - 1) : 0;
    const std::vector<uint8_t> wanted =
        reference::warped({bytes.data() + top, width, height, stride}, 1, t);
    const std::vector<uint8_t> before = anyFace(1);
    std::vector<uint8_t> face = before;
    GuardedBuffer guarded(bytes, anyGuard());
    facefeature::WarpGrayRect(guarded.data() + top, width, height, stride, face.data(), rect, t.a,
                              t.b, t.tx, t.ty);
    expectPart(wanted, before, face, rect, 1);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace facefeature_test
