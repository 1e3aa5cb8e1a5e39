#include "engine/build_patch_matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "geometry/gray_image.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/pictures.h"
#include "support/reference_geometry.h"
#include "support/sample_faces.h"
#include "support/scoped_patch_means.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using namespace facefeature;

// The 25 matrices of one call, freed with this object, and the scratch faces after the call.
class Built {
 public:
  Built(const Picture& picture, const LandmarkSet* landmarks, uint8_t fill = 0)
      : engine_(new FeatureEngine) {
    std::memset(engine_->grayFace, fill, sizeof engine_->grayFace);
    std::memset(engine_->colorFace, fill, sizeof engine_->colorFace);
    std::vector<uint8_t> gray(static_cast<size_t>(picture.width) *
                              static_cast<size_t>(picture.height));
    ConvertToGray(picture.pixels(), picture.width, picture.height, picture.stride, gray.data());
    list_.reset(BuildPatchMatrices(engine_.get(), picture.pixels(), picture.width, picture.height,
                                   picture.stride, gray.data(), landmarks));
  }
  ~Built() {
    for (Matrix* matrix : *list_) delete matrix;
  }
  Built(const Built&) = delete;
  Built& operator=(const Built&) = delete;

  size_t size() const { return list_->size(); }
  const Matrix& operator[](size_t patch) const { return *(*list_)[patch]; }
  const FeatureEngine& engine() const { return *engine_; }

 private:
  std::unique_ptr<FeatureEngine> engine_;
  std::unique_ptr<std::vector<Matrix*>> list_;
};

void expectMatrices(const std::vector<std::vector<float>>& wanted, const Built& got) {
  ASSERT_EQ(wanted.size(), got.size());
  for (size_t patch = 0; patch < wanted.size(); ++patch) {
    ASSERT_EQ(wanted[patch].size(), static_cast<size_t>(got[patch].size));
    EXPECT_TRUE(sameFloats(wanted[patch].data(), got[patch].buffer, wanted[patch].size()))
        << "patch " << patch;
  }
}

void expectLikeReference(const Picture& picture, FaceRecord& face) {
  const LandmarkSet* landmarks = face.set();
  const reference::PatchSet wanted =
      reference::patchMatrices(picture.view(), *landmarks, ScopedPatchMeans::all());
  const Built got(picture, landmarks);
  expectMatrices(wanted.matrices, got);
  EXPECT_EQ(0, std::memcmp(wanted.grayFace.data(), got.engine().grayFace, kGrayFaceBytes));
  EXPECT_EQ(0, std::memcmp(wanted.colorFace.data(), got.engine().colorFace, kColorFaceBytes));
}

// The patches of a face without a usable frame: each patch minus its mean, the margins zero.
void expectNegatedMeans(const Picture& picture, FaceRecord& face) {
  const Built got(picture, face.set(), 99);
  const std::vector<uint8_t> black(kColorFaceBytes, 0);
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    const float* means = ScopedPatchMeans::slot(patch);
    const std::vector<float> wanted = reference::sample(black, {0.0f, 0.0f}, patch, false, means);
    const Matrix& matrix = got[static_cast<size_t>(patch)];
    for (size_t row = 0; row < 2; ++row) {
      EXPECT_TRUE(sameFloats(wanted.data(), matrix.buffer + row * wanted.size(), wanted.size()))
          << "patch " << patch << ", row " << row;
    }
  }
  EXPECT_EQ(0, std::memcmp(black.data(), got.engine().grayFace, kGrayFaceBytes));
  EXPECT_EQ(0, std::memcmp(black.data(), got.engine().colorFace, kColorFaceBytes));
}

TEST(BuildPatchMatrices, FacesOfAllKindsMatchTheReference) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  for (int32_t kind = 0; kind < kFaceKinds; ++kind) {
    SCOPED_TRACE(nameOf(static_cast<FaceKind>(kind)));
    const int32_t width = random.integer(100, 500);
    const int32_t height = random.integer(100, 500);
    const Picture picture = randomPicture(random, width, height);
    FaceRecord face = faceOfKind(random, static_cast<FaceKind>(kind), width, height);
    expectLikeReference(picture, face);
  }
}

TEST(BuildPatchMatrices, PicturesOfAllSizesMatchTheReference) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  const int32_t sides[] = {2, 3, 17, 159, 160, 161, 400};
  for (int i = 0; i < 14; ++i) {
    const int32_t width = sides[i % 7];
    const int32_t height = sides[random.integer(0, 6)];
    const Picture picture = randomPicture(random, width, height);
    FaceRecord face = faceOfKind(random, FaceKind::kNoisy, width, height);
    SCOPED_TRACE(::testing::Message() << width << " x " << height << ", stride " << picture.stride);
    expectLikeReference(picture, face);
  }
}

TEST(BuildPatchMatrices, RealFacesMatchTheReference) {
  if (samplesFolder().empty()) GTEST_SKIP() << "no folder of sample faces beside the sources";
  SeededRandom random;
  const ScopedPatchMeans means(random);
  for (SampleFace& sample : sampleFaces(samplesFolder())) {
    SCOPED_TRACE(sample.name);
    const Picture picture = randomPicture(random, sample.width, sample.height);
    expectLikeReference(picture, sample.face);
  }
}

TEST(BuildPatchMatrices, EveryMatrixHasTwoRowsOfTheSamplesLengthAndOwnsItsStorage) {
  SeededRandom random;
  const Picture picture = randomPicture(random, 120, 100);
  FaceRecord face = faceOfKind(random, FaceKind::kUpright, 120, 100);
  const Built got(picture, face.set());
  ASSERT_EQ(25u, got.size());
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    const Matrix& matrix = got[static_cast<size_t>(patch)];
    const int32_t length = static_cast<int32_t>(reference::sampleLength(patch));
    EXPECT_EQ(2, matrix.rows);
    EXPECT_EQ(length, matrix.cols);
    EXPECT_EQ(2 * length, matrix.size);
    EXPECT_EQ(111, matrix.order);
    EXPECT_TRUE(matrix.ownsBuffer);
    EXPECT_NE(nullptr, matrix.buffer);
  }
}

TEST(BuildPatchMatrices, TheFacesKeepTheFramesOfTheLastPatchesOfTheirKinds) {
  SeededRandom random;
  const Picture picture = randomPicture(random, 300, 260);
  FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 300, 260);
  const reference::PatchSet wanted =
      reference::patchMatrices(picture.view(), *face.set(), ScopedPatchMeans::all());
  const Built got(picture, face.set(), 13);
  EXPECT_EQ(0, std::memcmp(wanted.frames[23].data(), got.engine().grayFace, kGrayFaceBytes));
  EXPECT_EQ(0, std::memcmp(wanted.frames[24].data(), got.engine().colorFace, kColorFaceBytes));
}

TEST(BuildPatchMatrices, NoStateOfAnEarlierFaceReachesTheNext) {
  SeededRandom random;
  const Picture picture = randomPicture(random, 200, 200);
  FaceRecord face = faceOfKind(random, FaceKind::kTurned, 200, 200);
  const Built first(picture, face.set(), 0);
  const Built second(picture, face.set(), 255);
  for (size_t patch = 0; patch < first.size(); ++patch) {
    EXPECT_TRUE(sameFloats(first[patch].buffer, second[patch].buffer,
                           static_cast<size_t>(first[patch].size)));
  }
}

TEST(BuildPatchMatrices, TheOrderOfEntriesMattersOnlyThroughTheReferenceLength) {
  SeededRandom random;
  const Picture picture = randomPicture(random, 200, 200);
  FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 200, 200);
  for (int i = 0; i < 4; ++i) {
    face.shuffle(random);
    expectLikeReference(picture, face);
  }
}

TEST(BuildPatchMatrices, TheDroppedLandmarksSetTheSizeAndNothingElse) {
  SeededRandom random;
  const Picture picture = randomPicture(random, 200, 200);
  FaceRecord face = faceOfKind(random, FaceKind::kTurned, 200, 200);
  const Built before(picture, face.set());
  face.withId(240).x -= 30.0f;
  const Built after(picture, face.set());
  EXPECT_FALSE(sameFloats(before[15].buffer, after[15].buffer, 2209));
  expectLikeReference(picture, face);
}

TEST(BuildPatchMatrices, FramesReachingOutsideThePictureOnAllSidesNeedNoSpecialCase) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  for (FaceKind kind : {FaceKind::kLeftOfPicture, FaceKind::kRightOfPicture,
                        FaceKind::kAbovePicture, FaceKind::kBelowPicture, FaceKind::kLarge}) {
    SCOPED_TRACE(nameOf(kind));
    const Picture picture = randomPicture(random, 150, 130, -480);
    FaceRecord face = faceOfKind(random, kind, 150, 130);
    expectLikeReference(picture, face);
  }
}

TEST(BuildPatchMatrices, CoincidentAnchorsGiveTheNegatedMeans) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  const Picture picture = randomPicture(random, 90, 110);
  for (int i = 0; i < 5; ++i) {
    FaceRecord face = faceOfKind(random, FaceKind::kCoincidentAnchors, 90, 110);
    expectNegatedMeans(picture, face);
  }
}

TEST(BuildPatchMatrices, AReferenceLengthThatIsNotANumberGivesTheNegatedMeans) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  const Picture picture = randomPicture(random, 90, 110);
  for (FaceKind kind : {FaceKind::kOnePoint, FaceKind::kNotANumber, FaceKind::kInfinite}) {
    SCOPED_TRACE(nameOf(kind));
    FaceRecord face = faceOfKind(random, kind, 90, 110);
    expectNegatedMeans(picture, face);
  }
  FaceRecord face = projectedFace({0.0f, 0.0f, 0.0f, 4.0f, 45.0f, 50.0f});
  face.withId(316).y = std::numeric_limits<float>::quiet_NaN();
  expectNegatedMeans(picture, face);
}

TEST(BuildPatchMatrices, AnInfiniteReferenceLengthGivesTheNegatedMeans) {
  SeededRandom random;
  const ScopedPatchMeans means(random);
  const Picture picture = randomPicture(random, 90, 110);
  FaceRecord face = faceOfKind(random, FaceKind::kEnormous, 90, 110);
  ASSERT_FALSE(std::isfinite(reference::headPose(*face.set()).referenceLength));
  expectNegatedMeans(picture, face);
}

TEST(BuildPatchMatrices, APatchIsAsLargeInTheFrameAsItsReferenceSpanSays) {
  // A white disc on black, as wide as the eye distance of the model: patches with a larger span
  // contain fewer dark pixels of it.
  const int32_t side = 600;
  Picture picture = blankPicture(side, side);
  const FacePose pose = {0.0f, 0.0f, 0.0f, 30.0f, 300.0f, 300.0f};
  FaceRecord face = projectedFace(pose);
  const Landmark middle = face.withId(200);
  const float radius = 0.5f * 30.0f * 6.2773f;
  for (int32_t y = 0; y < side; ++y) {
    for (int32_t x = 0; x < side; ++x) {
      const float dx = static_cast<float>(x) - middle.x;
      const float dy = static_cast<float>(y) - middle.y;
      if (dx * dx + dy * dy > radius * radius) continue;
      for (int32_t c = 0; c < 3; ++c) picture.at(x, y, c) = 255;
    }
  }
  const Built got(picture, face.set());
  for (int32_t patch : {11, 15, 23}) {  // spans of 33, 24 and 18, all centred on this landmark
    const float* pixels = got[static_cast<size_t>(patch)].buffer;
    const auto white = std::count(pixels + 23 * 47, pixels + 24 * 47, 255.0f);
    const int32_t span = reference::patchRow(patch).span;
    EXPECT_NEAR(static_cast<double>(span), static_cast<double>(white), 2.0) << "patch " << patch;
  }
}

TEST(BuildPatchMatrices, PictureAndRecordAreOnlyRead) {
  SeededRandom random;
  const Picture picture = randomPicture(random, 80, 90);
  const std::vector<uint8_t> pixels = picture.storage;
  FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 80, 90);
  const LandmarkSet* landmarks = face.set();
  std::vector<unsigned char> record(8 + 12 * face.entries.size());
  std::memcpy(record.data(), landmarks, record.size());
  const Built got(picture, landmarks);
  EXPECT_TRUE(pixels == picture.storage);
  EXPECT_EQ(0, std::memcmp(record.data(), landmarks, record.size()));
}

}  // namespace
}  // namespace facefeature_test
