// The pictures of facefeature draw, checked by counting pixels.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "draw/face_picture.h"
#include "face/face_patches.h"
#include "face/landmark_file.h"
#include "photo/photo.h"
#include "support/faces.h"
#include "tools/photo/encoded_pictures.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

using facefeature_tools::Photo;
using facefeature_tools::readPhoto;

constexpr int32_t kWidth = 1800;  // of every picture of a face

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

struct Rgb {
  int red, green, blue;
};

// Number of pixels of about this colour, from row `top` down.
int64_t pixelsLike(const Photo& photo, Rgb colour, int32_t top = 0) {
  int64_t count = 0;
  for (size_t i = static_cast<size_t>(top) * static_cast<size_t>(photo.stride());
       i < photo.pixels.size(); i += 3) {
    const bool like = std::abs(photo.pixels[i] - colour.blue) <= 1 &&
                      std::abs(photo.pixels[i + 1] - colour.green) <= 1 &&
                      std::abs(photo.pixels[i + 2] - colour.red) <= 1;
    if (like) ++count;
  }
  return count;
}

class Draw : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!facefeature_tools::facesCanBeDrawn()) GTEST_SKIP() << "built without a drawing library";
    fs::remove_all(base);
    fs::create_directories(base);
    writePhoto(600, 500);
    writeLandmarks(projectedFace({8.0f, 3.0f, 5.0f, 6.0f, 300.0f, 250.0f}).entries);
  }
  void TearDown() override { fs::remove_all(base); }

  void writePhoto(int32_t width, int32_t height) const {
    Bytes rgb;
    for (int32_t i = 0; i < width * height; ++i) rgb.insert(rgb.end(), {200, 120, 60});
    const Bytes ppm = encodePpm(static_cast<uint32_t>(width), static_cast<uint32_t>(height), rgb);
    writeText(photo, std::string(ppm.begin(), ppm.end()));
  }

  void writeLandmarks(const std::vector<Landmark>& entries) const {
    writeText(landmarks, facefeature_tools::landmarkText("face.ppm", 600, 500, entries));
  }

  Outcome draw() const { return runProgram({"draw", photo, landmarks, "-o", picture}); }

  // The picture, which must have been written without messages.
  Photo drawn() const {
    const Outcome outcome = draw();
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("", outcome.err);
    return readPhoto(picture);
  }

  const std::string base = privateTempFolder() + "/draw";
  const std::string photo = base + "/face.ppm";
  const std::string landmarks = base + "/face.json";
  const std::string picture = base + "/face.png";
};

TEST_F(Draw, ShowsEachPatchDirectAndMirroredWithTwoPixelsForOne) {
  const Photo got = drawn();
  EXPECT_EQ(kWidth, got.width);
  int64_t colour = 0, gray = 0;
  const auto entries = facefeature_tools::readLandmarkFile(landmarks).landmarks;
  for (const auto& patch : facefeature_tools::facePatches(readPhoto(photo), entries)) {
    const int64_t pixels =
        2 * 4 * int64_t{patch.side - 2 * patch.columnMargin} * (patch.side - 2 * patch.rowMargin);
    (patch.planes == 3 ? colour : gray) += pixels;
  }
  // The sheet is the last 640 rows, except for the rim of 24. (117 60 + 601 120 + 306 200) >> 10 is
  // 137. Edges of letters may happen to have that gray.
  const int32_t sheet = got.height - 664;
  EXPECT_EQ(colour, pixelsLike(got, {200, 120, 60}, sheet));
  EXPECT_NEAR(static_cast<double>(gray),
              static_cast<double>(pixelsLike(got, {137, 137, 137}, sheet)),
              0.002 * static_cast<double>(gray));
}

TEST_F(Draw, ColoursTheSidesByTheirIds) {
  const Photo got = drawn();
  const int32_t middle = got.width / 2;
  // In the upright face of the close-up, which is the right half, left comes before right.
  double leftSum = 0.0, rightSum = 0.0;
  int64_t left = 0, right = 0;
  for (int32_t y = 100; y < 840; ++y) {
    for (int32_t x = middle; x < got.width; ++x) {
      const uint8_t* p = got.pixels.data() + int64_t{y} * got.stride() + 3 * x;
      if (p[0] == 255 && std::abs(p[1] - 217) <= 1 && std::abs(p[2] - 89) <= 1) {
        leftSum += x;
        ++left;
      }
      if (std::abs(p[0] - 64) <= 1 && std::abs(p[1] - 158) <= 1 && p[2] == 255) {
        rightSum += x;
        ++right;
      }
    }
  }
  ASSERT_GT(left, 500);
  ASSERT_GT(right, 500);
  EXPECT_LT(leftSum / static_cast<double>(left) + 100.0, rightSum / static_cast<double>(right));
}

TEST_F(Draw, WritesTheWarningsOnThePicture) {
  const int32_t height = drawn().height;
  std::vector<Landmark> entries = facefeature_tools::readLandmarkFile(landmarks).landmarks;
  for (Landmark& landmark : entries) landmark.x = 599.0f - landmark.x;
  writeLandmarks(entries);
  const Outcome outcome = draw();
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, ": warning: the face is mirrored: ")) << outcome.err;
  EXPECT_GT(readPhoto(picture).height, height);
}

TEST_F(Draw, AnyLandmarksThatAFileMayContainAreDrawn) {
  std::vector<Landmark> good = facefeature_tools::readLandmarkFile(landmarks).landmarks;
  std::vector<Landmark> same = good, far = good, anchors = good, huge = good;
  for (Landmark& landmark : same) landmark.x = landmark.y = 100.0f;
  for (Landmark& landmark : far) landmark.x += 1e7f;
  for (Landmark& landmark : huge) landmark.y *= 1e35f;
  for (Landmark& landmark : anchors) {
    if (landmark.id == 6) landmark = {6, 250.0f, 250.0f};
    if (landmark.id == 10) landmark = {10, 250.0f, 250.0f};
  }
  for (const std::vector<Landmark>& entries : {same, far, huge, anchors}) {
    writeLandmarks(entries);
    fs::remove(picture);
    const Outcome outcome = draw();
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
    EXPECT_TRUE(contains(outcome.err, ": warning: ")) << outcome.err;
    EXPECT_EQ(kWidth, readPhoto(picture).width);
  }
}

TEST_F(Draw, SmallAndLongPhotographsAreDrawn) {
  for (const auto& [width, height] : {std::pair<int32_t, int32_t>{2, 2}, {3000, 3}, {3, 3000}}) {
    writePhoto(width, height);
    EXPECT_EQ(0, draw().exitCode);
    EXPECT_EQ(kWidth, readPhoto(picture).width);
  }
  writePhoto(32768, 2);
  const Outcome outcome = draw();
  EXPECT_EQ(3, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, ": is too large to be drawn, 32768 x 2 pixels. "));
}

TEST_F(Draw, TheModelPointsNeedNoPhotograph) {
  const Outcome outcome = runProgram({"draw", "--model-points", "-o", picture});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ("", outcome.err);
  // Each point has a disc of about 60 pixels in the colour of its side, plus its number.
  const Photo got = readPhoto(picture);
  for (const Rgb& colour : {Rgb{89, 217, 255}, Rgb{255, 242, 140}, Rgb{255, 158, 64}}) {
    EXPECT_GT(pixelsLike(got, colour), 7 * 60);
  }
}

TEST_F(Draw, WrongUsageExitsWith2AndABadPathWith1) {
  EXPECT_EQ(2, runProgram({"draw", photo, landmarks}).exitCode);
  EXPECT_EQ(2, runProgram({"draw", "-o", picture}).exitCode);
  EXPECT_EQ(2, runProgram({"draw", photo, "--model-points", "-o", picture}).exitCode);
  EXPECT_EQ(2, runProgram({"draw", photo, landmarks, "--face", "1", "-o", picture}).exitCode);
  EXPECT_EQ(2, runProgram({"draw", photo, landmarks, "-o", base + "/a.jpg"}).exitCode);
  EXPECT_EQ(3, runProgram({"draw", base + "/none", landmarks, "-o", picture}).exitCode);
  EXPECT_EQ(1, runProgram({"draw", photo, landmarks, "-o", base + "/none/a.png"}).exitCode);
  EXPECT_FALSE(fs::exists(picture));
}

}  // namespace
}  // namespace facefeature_test
