// BuildPatchMatrices with the kernels that share frames and make gray values as they are read,
// against the plain way patch by patch over a whole gray image: all bytes of the result.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "geometry/gray_image.h"
#include "geometry/patch_matrices.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/guarded_picture.h"
#include "support/pictures.h"
#include "support/placed_floats.h"
#include "support/random.h"
#include "support/sample_faces.h"
#include "support/scoped_kernels.h"
#include "support/scoped_patch_means.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// What a call leaves: the matrices, and both faces of the engine.
struct Outcome {
  std::vector<std::vector<float>> matrices;
  std::vector<uint8_t> grayFace, colorFace;
};

class PatchMatricesForms : public ::testing::Test {
 protected:
  // The faces hold something else ahead of each call: a pixel that is read and was not warped
  // shows.
  Outcome built(const KernelSet& set, const uint8_t* pixels, const Picture& picture,
                const uint8_t* gray, FaceRecord& face) {
    const ScopedKernels active(set);
    const auto engine = std::make_unique<FeatureEngine>();
    const std::vector<uint8_t> before = random.bytes(kGrayFaceBytes + kColorFaceBytes);
    std::memcpy(engine->grayFace, before.data(), kGrayFaceBytes);
    std::memcpy(engine->colorFace, before.data() + kGrayFaceBytes, kColorFaceBytes);
    std::vector<Matrix*>* matrices = BuildPatchMatrices(
        engine.get(), pixels, picture.width, picture.height, picture.stride, gray, face.set());
    Outcome outcome;
    for (const Matrix* matrix : *matrices) {
      outcome.matrices.emplace_back(matrix->buffer, matrix->buffer + matrix->size);
    }
    freePatchMatrices(matrices);
    outcome.grayFace.assign(engine->grayFace, engine->grayFace + kGrayFaceBytes);
    outcome.colorFace.assign(engine->colorFace, engine->colorFace + kColorFaceBytes);
    return outcome;
  }

  void expectForms(const Picture& picture, FaceRecord& face) {
    SCOPED_TRACE(::testing::Message()
                 << picture.width << " x " << picture.height << ", stride " << picture.stride);
    std::vector<uint8_t> gray(static_cast<size_t>(picture.width) *
                              static_cast<size_t>(picture.height));
    ConvertToGray(picture.pixels(), picture.width, picture.height, picture.stride, gray.data());
    const Outcome wanted = built(kPlainKernels, picture.pixels(), picture, gray.data(), face);

    GuardedPicture pixels(picture, anyGuard());
    expectSame(wanted, built(kFastKernels, pixels.pixels(), picture, nullptr, face), "fast");
    GuardedBuffer guardedGray(gray, anyGuard());
    expectSame(wanted, built(kFastKernels, pixels.pixels(), picture, guardedGray.data(), face),
               "fast, with a gray image");
    if (random.chance(10)) {
      expectSame(wanted, built(kPlainKernels, pixels.pixels(), picture, nullptr, face),
                 "plain, without a gray image");
    }
  }

  // Every landmark at factor times its place, moved by (x, y).
  static void transform(FaceRecord& face, float factor, float x, float y) {
    for (Landmark& entry : face.entries) {
      entry.x *= factor;
      entry.y *= factor;
    }
    face.moveBy(x, y);
  }

  FaceKind anyKind() { return static_cast<FaceKind>(random.integer(0, kFaceKinds - 1)); }

  Random random = seededRandom();
  ::testing::ScopedTrace trace{__FILE__, __LINE__, random.trace()};
  const ScopedPatchMeans means{random};

 private:
  GuardedBuffer::Guard anyGuard() {
    return random.chance(50) ? GuardedBuffer::Guard::kBehind : GuardedBuffer::Guard::kAhead;
  }

  static void expectSame(const Outcome& wanted, const Outcome& got, const char* form) {
    SCOPED_TRACE(form);
    ASSERT_EQ(wanted.matrices.size(), got.matrices.size());
    for (size_t patch = 0; patch < wanted.matrices.size(); ++patch) {
      ASSERT_EQ(wanted.matrices[patch].size(), got.matrices[patch].size());
      ASSERT_TRUE(identicalFloats(wanted.matrices[patch].data(), got.matrices[patch].data(),
                                  wanted.matrices[patch].size()))
          << "patch " << patch;
    }
    ASSERT_TRUE(wanted.grayFace == got.grayFace);
    ASSERT_TRUE(wanted.colorFace == got.colorFace);
  }
};

TEST_F(PatchMatricesForms, EndOnTheSameBitsForFacesOfAllKinds) {
  for (int32_t round = 0; round < 8 * kFaceKinds && !HasFailure(); ++round) {
    const FaceKind kind = static_cast<FaceKind>(round % kFaceKinds);
    SCOPED_TRACE(nameOf(kind));
    const int32_t width = random.integer(80, 400), height = random.integer(80, 400);
    const Picture picture = randomPicture(random, width, height);
    FaceRecord face = faceOfKind(random, kind, width, height);
    expectForms(picture, face);
  }
}

TEST_F(PatchMatricesForms, EndOnTheSameBitsForPicturesFromTwoByTwoOn) {
  const int32_t sides[] = {2, 3, 4, 17, 159, 160, 161};
  for (const int32_t width : sides) {
    for (const int32_t height : sides) {
      if (HasFailure()) return;
      const Picture picture = randomPicture(random, width, height);
      const FaceKind kind = anyKind();
      SCOPED_TRACE(nameOf(kind));
      FaceRecord face = faceOfKind(random, kind, width, height);
      expectForms(picture, face);
    }
  }
}

TEST_F(PatchMatricesForms, EndOnTheSameBitsForEveryRowLength) {
  const int32_t width = 120, height = 90;
  for (const int32_t stride : {360, 361, 362, 363, 511, 5000, -360, -361, -5000}) {
    const Picture picture = randomPicture(random, width, height, stride);
    FaceRecord face = faceOfKind(random, FaceKind::kNoisy, width, height);
    expectForms(picture, face);
  }
}

TEST_F(PatchMatricesForms, EndOnTheSameBitsForCoordinatesUpToAndBeyondIntegers) {
  for (int32_t power = -20; power <= 60 && !HasFailure(); ++power) {
    const float factor = std::ldexp(random.between(1.0f, 2.0f), power);
    SCOPED_TRACE(factor);
    const Picture picture = randomPicture(random, 150, 130);
    FaceRecord large = faceOfKind(random, FaceKind::kNoisy, 150, 130);
    transform(large, factor, 0.0f, 0.0f);
    expectForms(picture, large);
    if (power % 2 != 0) continue;
    FaceRecord distant = faceOfKind(random, FaceKind::kTurned, 150, 130);
    transform(distant, random.chance(50) ? 1.0f : 1000.0f, factor * random.between(-1.0f, 1.0f),
              factor * random.between(-1.0f, 1.0f));
    expectForms(picture, distant);
  }
}

// The frames are ordinary, and single samples are centred far outside of them or nowhere.
TEST_F(PatchMatricesForms, EndOnTheSameBitsWhereSinglePointsLieAnywhere) {
  const float places[] = {1e9f,  -1e9f,   2147483520.0f, 2147483648.0f, -2147483648.0f, -3e9f,
                          1e20f, 0x1p24f, -0x1p23f,      3e38f,         -kInfinity,     kNaN};
  for (int32_t round = 0; round < 40 && !HasFailure(); ++round) {
    const Picture picture = randomPicture(random, 200, 180);
    FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 200, 180);
    const int32_t last = static_cast<int32_t>(face.entries.size()) - 1;
    for (int32_t i = 0; i < 6; ++i) {
      Landmark& entry = face.entries[static_cast<size_t>(random.integer(0, last))];
      (random.chance(50) ? entry.x : entry.y) = places[random.integer(0, round % 4 == 0 ? 11 : 7)];
    }
    expectForms(picture, face);
  }
}

TEST_F(PatchMatricesForms, EndOnTheSameBitsForTheFacesOfSamples) {
  if (samplesFolder().empty()) GTEST_SKIP() << "no folder of sample faces beside the sources";
  for (SampleFace& sample : sampleFaces(samplesFolder())) {
    SCOPED_TRACE(sample.name);
    const Picture picture = randomPicture(random, sample.width, sample.height);
    expectForms(picture, sample.face);
  }
}

}  // namespace
}  // namespace facefeature_test
