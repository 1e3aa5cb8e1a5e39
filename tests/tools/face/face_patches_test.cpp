#include "face/face_patches.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <vector>

#include "engine/build_patch_matrices.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/scoped_patch_means.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature_tools::FacePatch;
using facefeature_tools::facePatches;
using facefeature_tools::makePhoto;
using facefeature_tools::Photo;

// With means of 0, as in a program that loads no model.
TEST(FacePatches, AreWhatTheLibraryPassesToItsNets) {
  SeededRandom random;
  const ScopedPatchMeans means(0.0f);
  for (int round = 0; round < 6; ++round) {
    Photo photo = makePhoto(static_cast<uint64_t>(random.integer(60, 300)),
                            static_cast<uint64_t>(random.integer(60, 300)));
    photo.pixels = random.bytes(photo.pixels.size());
    FaceRecord face = faceOfKind(random, round < 3 ? FaceKind::kNoisy : FaceKind::kLarge,
                                 photo.width, photo.height);
    const std::vector<FacePatch> got = facePatches(photo, face.entries);

    const auto engine = std::make_unique<FeatureEngine>();
    const std::unique_ptr<std::vector<facefeature::Matrix*>,
                          void (*)(std::vector<facefeature::Matrix*>*)>
        wanted(facefeature::BuildPatchMatrices(engine.get(), photo.pixels.data(), photo.width,
                                               photo.height, photo.stride(), nullptr, face.set()),
               facefeature::freePatchMatrices);
    ASSERT_EQ(wanted->size(), got.size());
    for (size_t patch = 0; patch < got.size(); ++patch) {
      const facefeature::Matrix& matrix = *(*wanted)[patch];
      ASSERT_EQ(static_cast<size_t>(matrix.cols), got[patch].direct.size());
      ASSERT_EQ(static_cast<size_t>(matrix.cols), got[patch].mirrored.size());
      EXPECT_TRUE(sameFloats(matrix.buffer, got[patch].direct.data(), got[patch].direct.size()))
          << "patch " << patch;
      EXPECT_TRUE(sameFloats(matrix.buffer + matrix.cols, got[patch].mirrored.data(),
                             got[patch].mirrored.size()))
          << "patch " << patch;
    }
  }
}

TEST(FacePatches, NameTheLandmarksThatTheyAreCentredOn) {
  const FaceRecord face = projectedFace({0.0f, 0.0f, 0.0f, 8.0f, 100.0f, 100.0f});
  const std::vector<FacePatch> patches = facePatches(makePhoto(200, 200), face.entries);
  EXPECT_EQ(2, patches[2].directId);
  EXPECT_EQ(5, patches[2].mirrorId);
  EXPECT_EQ(223, patches[6].directId);
  EXPECT_EQ(225, patches[6].mirrorId);
  EXPECT_EQ(45, patches[16].directId);
  EXPECT_EQ(300, patches[21].directId);
  EXPECT_EQ(302, patches[21].mirrorId);
  EXPECT_EQ(4, patches[0].columnMargin);
  EXPECT_EQ(6, patches[12].rowMargin);
}

TEST(FaceFrames, AreSquaresThatShrinkAroundTheFaceAsTheSpanGrows) {
  const FaceRecord face = projectedFace({0.0f, 0.0f, 0.0f, 10.0f, 300.0f, 300.0f});
  const auto frames = facefeature_tools::faceFrames(face.entries);
  std::vector<int32_t> spans;
  for (const auto& frame : frames) {
    spans.push_back(frame.span);
    // The eyes are 62.773 pixels apart here, and `span` pixels in the frame.
    const double side = 160.0 * 62.773 / frame.span;
    EXPECT_NEAR(side, frame.corners[1].x - frame.corners[0].x, 0.01 * side);
    EXPECT_NEAR(side, frame.corners[3].y - frame.corners[0].y, 0.01 * side);
    EXPECT_NEAR(300.0, (frame.corners[0].x + frame.corners[1].x) / 2.0, 0.02 * side);
  }
  EXPECT_EQ((std::vector<int32_t>{12, 15, 18, 21, 24, 27, 30, 33}), spans);
}

}  // namespace
}  // namespace facefeature_test
