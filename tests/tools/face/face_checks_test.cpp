#include "face/face_checks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "support/faces.h"
#include "support/sample_faces.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature_tools::faceWarnings;
using facefeature_tools::kLargestResidual;
using facefeature_tools::LandmarkFile;

constexpr int32_t kWidth = 600;
constexpr int32_t kHeight = 500;

LandmarkFile fileOf(std::vector<Landmark> landmarks, int32_t width, int32_t height) {
  LandmarkFile file;
  file.width = width;
  file.height = height;
  file.landmarks = std::move(landmarks);
  return file;
}

LandmarkFile goodFile() {
  return fileOf(projectedFace({10.0f, -5.0f, 8.0f, 12.0f, 300.0f, 250.0f}).entries, kWidth,
                kHeight);
}

// Good faces: those of photographs, if available.
std::vector<LandmarkFile> goodFaces() {
  std::vector<LandmarkFile> files = {goodFile()};
  const std::string demo = std::string(FACEFEATURE_SOURCE_DIR) + "/tools/demo/landmarks";
  for (const auto& entry : std::filesystem::directory_iterator(demo)) {
    files.push_back(facefeature_tools::readLandmarkFile(entry.path().string()));
  }
  const std::string folder = samplesFolder();
  if (folder.empty()) {
    std::puts("no folder of samples: only the landmarks of the repository are looked at");
    return files;
  }
  for (const SampleFace& sample : sampleFaces(folder)) {
    files.push_back(fileOf(sample.face.entries, sample.width, sample.height));
  }
  return files;
}

std::vector<std::string> warningsAbout(const LandmarkFile& file) {
  return faceWarnings(file, "face.jpg", static_cast<int32_t>(*file.width),
                      static_cast<int32_t>(*file.height));
}

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// Expects exactly one warning, with this start.
void expectWarning(const std::string& start, const LandmarkFile& file) {
  const std::vector<std::string> warnings = warningsAbout(file);
  ASSERT_EQ(1u, warnings.size()) << "wanted: " << start;
  EXPECT_TRUE(startsWith(warnings[0], start)) << warnings[0];
}

// Expects a warning with this start, possibly among others.
void expectAmongWarnings(const std::string& start, const LandmarkFile& file) {
  const std::vector<std::string> warnings = warningsAbout(file);
  EXPECT_TRUE(
      std::any_of(warnings.begin(), warnings.end(),
                  [&start](const std::string& warning) { return startsWith(warning, start); }))
      << "missing: " << start;
}

Landmark& withId(LandmarkFile& file, int32_t id) {
  return *std::find_if(file.landmarks.begin(), file.landmarks.end(),
                       [id](const Landmark& landmark) { return landmark.id == id; });
}

void exchange(LandmarkFile& file, int32_t a, int32_t b) {
  Landmark& first = withId(file, a);
  Landmark& second = withId(file, b);
  std::swap(first.x, second.x);
  std::swap(first.y, second.y);
}

const std::vector<std::pair<int32_t, int32_t>> kPairs = {
    {0, 1},     {2, 5},     {3, 4},     {12, 13},   {43, 44},  {221, 227},
    {222, 226}, {223, 225}, {240, 241}, {300, 302}, {315, 316}};

TEST(FaceChecks, GoodFacesRaiseNoWarning) {
  for (const LandmarkFile& file : goodFaces()) {
    for (const std::string& warning : warningsAbout(file)) ADD_FAILURE() << warning;
  }
}

TEST(FaceChecks, HeadsInAnyPoseAndPositionRaiseNoWarningUnlessTheyAreUpsideDown) {
  SeededRandom random;
  for (int round = 0; round < 200; ++round) {
    const FacePose pose = {random.between(-45.0f, 45.0f),  random.between(-25.0f, 25.0f),
                           random.between(-80.0f, 80.0f),  random.between(1.0f, 15.0f),
                           random.between(250.0f, 350.0f), random.between(220.0f, 280.0f)};
    const LandmarkFile file = fileOf(projectedFace(pose).entries, kWidth, kHeight);
    for (const std::string& warning : warningsAbout(file)) ADD_FAILURE() << warning;
  }
}

TEST(FaceChecks, APictureOfAnotherSizeIsNamedWithBothSizes) {
  LandmarkFile file = goodFile();
  EXPECT_EQ(
      std::vector<std::string>{
          "the landmarks are for a picture of 600 x 500 pixels, but face.jpg has 601 x 500. Use "
          "the landmarks of this file; the orientation in its Exif data is applied only with "
          "--exif apply."},
      faceWarnings(file, "face.jpg", 601, 500));
  EXPECT_EQ(1u, faceWarnings(file, "face.jpg", 600, 499).size());
  file.width.reset();
  EXPECT_TRUE(faceWarnings(file, "face.jpg", 601, 500).empty());
  file.height.reset();
  EXPECT_TRUE(faceWarnings(file, "face.jpg", 601, 501).empty());
}

TEST(FaceChecks, PointsOutsideOfThePictureAreCountedAndNamed) {
  for (const auto& [x, y] : std::vector<std::pair<float, float>>{
           {-0.6f, 100.0f}, {599.6f, 100.0f}, {100.0f, -0.6f}, {100.0f, 499.6f}}) {
    LandmarkFile file = goodFile();
    withId(file, 9).x = x;
    withId(file, 9).y = y;
    expectAmongWarnings("1 of 29 landmarks are outside the picture (id 9). ", file);
  }
  LandmarkFile file = goodFile();
  for (Landmark& landmark : file.landmarks) landmark.x += 1000.0f;
  expectWarning("29 of 29 landmarks are outside the picture (id 0, 1, 2, 3, 4, ...). ", file);
}

TEST(FaceChecks, ThePixelsAtTheEdgeAreInside) {
  LandmarkFile file = goodFile();
  for (const auto& [x, y] : std::vector<std::pair<float, float>>{
           {-0.5f, 100.0f}, {599.5f, 100.0f}, {100.0f, -0.5f}, {100.0f, 499.5f}}) {
    withId(file, 9).x = x;
    withId(file, 9).y = y;
    for (const std::string& warning : warningsAbout(file)) {
      EXPECT_FALSE(startsWith(warning, "1 of 29")) << warning;
    }
  }
}

TEST(FaceChecks, AMirroredFaceIsDetected) {
  const std::string mirrored = "the face is mirrored: left and right ";
  for (LandmarkFile file : goodFaces()) {
    LandmarkFile exchanged = file;
    for (const auto& [a, b] : kPairs) exchange(exchanged, a, b);
    expectWarning(mirrored, exchanged);
    for (Landmark& landmark : file.landmarks) {
      landmark.x = static_cast<float>(*file.width - 1) - landmark.x;
    }
    expectWarning(mirrored, file);
  }
}

TEST(FaceChecks, CoordinatesThatRunUpAreDetected) {
  for (LandmarkFile file : goodFaces()) {
    for (Landmark& landmark : file.landmarks) {
      landmark.y = static_cast<float>(*file.height - 1) - landmark.y;
    }
    expectWarning("the face is mirrored: y seems to run up ", file);
  }
}

TEST(FaceChecks, AHeadUpsideDownIsDetected) {
  for (LandmarkFile file : goodFaces()) {
    for (Landmark& landmark : file.landmarks) {
      landmark.x = static_cast<float>(*file.width - 1) - landmark.x;
      landmark.y = static_cast<float>(*file.height - 1) - landmark.y;
    }
    expectWarning("the head is upside down, rotated by ", file);
  }
}

TEST(FaceChecks, OneExchangedPairIsDetected) {
  for (const LandmarkFile& file : goodFaces()) {
    for (const auto& [a, b] : kPairs) {
      LandmarkFile exchanged = file;
      exchange(exchanged, a, b);
      SCOPED_TRACE(a);
      EXPECT_FALSE(warningsAbout(exchanged).empty());
    }
  }
}

TEST(FaceChecks, AStretchedCoordinateIsDetected) {
  for (const LandmarkFile& good : goodFaces()) {
    LandmarkFile wide = good;
    for (Landmark& landmark : wide.landmarks) landmark.x *= 1.5f;
    wide.width = *good.width * 3 / 2;
    expectWarning("the landmarks are ", wide);
    LandmarkFile high = good;
    for (Landmark& landmark : high.landmarks) landmark.y *= 1.5f;
    high.height = *good.height * 3 / 2;
    expectWarning("the landmarks are ", high);
  }
}

TEST(FaceChecks, LandmarksThatDetermineNoHeadAreDetected) {
  const std::string none = "no head can be fitted ";
  LandmarkFile file = goodFile();
  for (Landmark& landmark : file.landmarks) landmark.x = landmark.y = 100.0f;
  expectWarning(none, file);
  file = goodFile();
  for (Landmark& landmark : file.landmarks) landmark.y = landmark.x;
  expectAmongWarnings(none, file);
  file = goodFile();
  for (Landmark& landmark : file.landmarks) landmark.x *= 1e36f;
  expectAmongWarnings(none, file);
}

TEST(FaceChecks, AnIncompleteRecordRaisesAWarning) {
  LandmarkFile file = goodFile();
  file.warning = "id 9 is missing";
  expectWarning("not a full record of 29 landmarks: id 9 is missing. ", file);
}

// The threshold is between the residuals of good and of bad landmarks, with a margin on both sides.
// docs/landmarks.md gives the figures.
TEST(FaceChecks, TheLargestResidualLeavesRoomForAnOpenMouth) {
  LandmarkFile file = goodFile();
  // Moves the jaw and the lower lip down by a third of the eye distance.
  for (const int32_t id : {11, 314}) withId(file, id).y += 12.0f * 2.0f;
  EXPECT_TRUE(warningsAbout(file).empty());
  EXPECT_LT(kLargestResidual, 0.85);
}

}  // namespace
}  // namespace facefeature_test
