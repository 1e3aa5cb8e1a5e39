// Compares every plan, with and without a gray image, with the plain plan over a whole gray image:
// all bytes of the patches and of the scratch faces.
#include "geometry/patch_plan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "engine/model_state.h"
#include "geometry/face_warp.h"
#include "geometry/fill_patches.h"
#include "geometry/gray_image.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/guarded_picture.h"
#include "support/pictures.h"
#include "support/placed_floats.h"
#include "support/sample_faces.h"
#include "support/scoped_patch_means.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Everything that a call writes.
struct Outcome {
  std::vector<std::vector<float>> patches;
  std::vector<uint8_t> grayFace, colorFace;
};

class PatchPlans : public ::testing::Test {
 protected:
  // The scratch faces start with different bytes in each call, so that reading a pixel that was not
  // warped is detected.
  Outcome filled(PatchPlan plan, const uint8_t* pixels, const Picture& picture, const uint8_t* gray,
                 FaceRecord& face) {
    Outcome outcome;
    outcome.grayFace = random.bytes(kGrayFaceBytes);
    outcome.colorFace = random.bytes(kColorFaceBytes);
    float* patches[kPatchCount];
    for (int32_t patch = 0; patch < kPatchCount; ++patch) {
      outcome.patches.emplace_back(2 * static_cast<size_t>(sampleLength(patch)), -1e30f);
      patches[patch] = outcome.patches.back().data();
    }
    fillPatches({pixels, picture.width, picture.height, picture.stride, gray}, face.set(), plan,
                patchMeans, {outcome.grayFace.data(), outcome.colorFace.data()}, patches);
    return outcome;
  }

  void expectPlans(const Picture& picture, FaceRecord& face) {
    SCOPED_TRACE(::testing::Message()
                 << picture.width << " x " << picture.height << ", stride " << picture.stride);
    std::vector<uint8_t> gray(static_cast<size_t>(picture.width) *
                              static_cast<size_t>(picture.height));
    ConvertToGray(picture.pixels(), picture.width, picture.height, picture.stride, gray.data());
    const Outcome wanted =
        filled(PatchPlan::kPatchByPatch, picture.pixels(), picture, gray.data(), face);

    GuardedPicture pixels(picture, anyGuard());
    GuardedBuffer guardedGray(gray, anyGuard());
    for (const PatchPlan plan : kPatchPlans) {
      // The plain plan takes much longer without a gray image.
      if (plan == PatchPlan::kPatchByPatch && !random.chance(10)) continue;
      SCOPED_TRACE(::testing::Message() << "plan " << static_cast<int>(plan));
      expectSame(wanted, filled(plan, pixels.pixels(), picture, nullptr, face), "no gray image");
      expectSame(wanted, filled(plan, pixels.pixels(), picture, guardedGray.data(), face),
                 "a gray image");
    }
  }

  // Every landmark, scaled by factor and moved by (x, y).
  static void transform(FaceRecord& face, float factor, float x, float y) {
    for (Landmark& entry : face.entries) {
      entry.x *= factor;
      entry.y *= factor;
    }
    face.moveBy(x, y);
  }

  FaceKind anyKind() { return static_cast<FaceKind>(random.integer(0, kFaceKinds - 1)); }

  SeededRandom random;
  const ScopedPatchMeans means{random};

 private:
  GuardedBuffer::Guard anyGuard() {
    return random.chance(50) ? GuardedBuffer::Guard::kAfter : GuardedBuffer::Guard::kBefore;
  }

  static void expectSame(const Outcome& wanted, const Outcome& got, const char* input) {
    SCOPED_TRACE(input);
    ASSERT_EQ(wanted.patches.size(), got.patches.size());
    for (size_t patch = 0; patch < wanted.patches.size(); ++patch) {
      ASSERT_EQ(wanted.patches[patch].size(), got.patches[patch].size());
      ASSERT_TRUE(identicalFloats(wanted.patches[patch].data(), got.patches[patch].data(),
                                  wanted.patches[patch].size()))
          << "patch " << patch;
    }
    ASSERT_TRUE(wanted.grayFace == got.grayFace);
    ASSERT_TRUE(wanted.colorFace == got.colorFace);
  }
};

TEST_F(PatchPlans, AreBitIdenticalForFacesOfAllKinds) {
  for (int32_t round = 0; round < 8 * kFaceKinds && !HasFailure(); ++round) {
    const FaceKind kind = static_cast<FaceKind>(round % kFaceKinds);
    SCOPED_TRACE(nameOf(kind));
    const int32_t width = random.integer(80, 400), height = random.integer(80, 400);
    const Picture picture = randomPicture(random, width, height);
    FaceRecord face = faceOfKind(random, kind, width, height);
    expectPlans(picture, face);
  }
}

TEST_F(PatchPlans, AreBitIdenticalForPicturesFromTwoByTwoOn) {
  const int32_t sides[] = {2, 3, 4, 17, 159, 160, 161};
  for (const int32_t width : sides) {
    for (const int32_t height : sides) {
      if (HasFailure()) return;
      const Picture picture = randomPicture(random, width, height);
      const FaceKind kind = anyKind();
      SCOPED_TRACE(nameOf(kind));
      FaceRecord face = faceOfKind(random, kind, width, height);
      expectPlans(picture, face);
    }
  }
}

TEST_F(PatchPlans, AreBitIdenticalForEveryRowLength) {
  const int32_t width = 120, height = 90;
  for (const int32_t stride : {360, 361, 362, 363, 511, 5000, -360, -361, -5000}) {
    const Picture picture = randomPicture(random, width, height, stride);
    FaceRecord face = faceOfKind(random, FaceKind::kNoisy, width, height);
    expectPlans(picture, face);
  }
}

TEST_F(PatchPlans, AreBitIdenticalForCoordinatesUpToAndBeyondIntegers) {
  for (int32_t power = -20; power <= 60 && !HasFailure(); ++power) {
    const float factor = std::ldexp(random.between(1.0f, 2.0f), power);
    SCOPED_TRACE(factor);
    const Picture picture = randomPicture(random, 150, 130);
    FaceRecord large = faceOfKind(random, FaceKind::kNoisy, 150, 130);
    transform(large, factor, 0.0f, 0.0f);
    expectPlans(picture, large);
    if (power % 2 != 0) continue;
    FaceRecord distant = faceOfKind(random, FaceKind::kTurned, 150, 130);
    transform(distant, random.chance(50) ? 1.0f : 1000.0f, factor * random.between(-1.0f, 1.0f),
              factor * random.between(-1.0f, 1.0f));
    expectPlans(picture, distant);
  }
}

// The frames are ordinary, but single samples are centred far outside of them or at NaN.
TEST_F(PatchPlans, AreBitIdenticalForSinglePointsAnywhere) {
  const float coordinates[] = {1e9f,  -1e9f,   2147483520.0f, 2147483648.0f, -2147483648.0f, -3e9f,
                               1e20f, 0x1p24f, -0x1p23f,      3e38f,         -kInfinity,     kNaN};
  for (int32_t round = 0; round < 40 && !HasFailure(); ++round) {
    const Picture picture = randomPicture(random, 200, 180);
    FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 200, 180);
    const int32_t last = static_cast<int32_t>(face.entries.size()) - 1;
    for (int32_t i = 0; i < 6; ++i) {
      Landmark& entry = face.entries[static_cast<size_t>(random.integer(0, last))];
      (random.chance(50) ? entry.x : entry.y) =
          coordinates[random.integer(0, round % 4 == 0 ? 11 : 7)];
    }
    expectPlans(picture, face);
  }
}

TEST_F(PatchPlans, AreBitIdenticalForTheFacesOfSamples) {
  if (samplesFolder().empty()) GTEST_SKIP() << "no folder of sample faces beside the sources";
  for (SampleFace& sample : sampleFaces(samplesFolder())) {
    SCOPED_TRACE(sample.name);
    const Picture picture = randomPicture(random, sample.width, sample.height);
    expectPlans(picture, sample.face);
  }
}

}  // namespace
}  // namespace facefeature_test
