// How the program handles a rotation in the Exif data of a photograph.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "face/landmark_file.h"
#include "photo/photo_orientation.h"
#include "support/faces.h"
#include "support/seeded_random.h"
#include "tools/model/synthetic_folder.h"
#include "tools/photo/encoded_pictures.h"
#include "tools/photo/exif_pictures.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kWidth = 240;
constexpr uint32_t kHeight = 160;

class ExifRule : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
    SeededRandom random;
    jpeg = encodeJpeg(kWidth, kHeight, random.bytes(3 * kWidth * kHeight));
    write(base + "/plain.jpg", jpeg);
    write(base + "/turned.jpg", withExif(jpeg, 6, false));
    writeText(base + "/stored.json", landmarksFor(kWidth, kHeight));
    writeText(base + "/seen.json", landmarksFor(kHeight, kWidth));
  }
  void TearDown() override { fs::remove_all(base); }

  static void write(const std::string& path, const Bytes& bytes) {
    writeText(path, std::string(bytes.begin(), bytes.end()));
  }

  static std::string landmarksFor(uint32_t width, uint32_t height) {
    const FacePose pose = {0.0f,
                           0.0f,
                           0.0f,
                           5.0f,
                           static_cast<float>(width) / 2.0f,
                           static_cast<float>(height) / 2.0f};
    return facefeature_tools::landmarkText("face.jpg", static_cast<int32_t>(width),
                                           static_cast<int32_t>(height),
                                           projectedFace(pose).entries);
  }

  // Stores the bytes of the feature in `feature`.
  Outcome extract(const std::string& photo, const std::string& landmarks,
                  const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {
        "extract",         base + "/" + photo, base + "/" + landmarks, "-o",
        base + "/feature", "--model",          syntheticFolder()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    fs::remove(base + "/feature");
    const Outcome outcome = runProgram(arguments);
    feature = contentOf(base + "/feature");
    return outcome;
  }

  const std::string base = privateTempFolder() + "/exif";
  Bytes jpeg;
  std::string feature;
};

TEST_F(ExifRule, IgnoresATurnByDefaultAndReportsIt) {
  EXPECT_EQ("", extract("plain.jpg", "stored.json").err);
  const std::string plain = feature;
  for (const std::vector<std::string>& more :
       {std::vector<std::string>{}, std::vector<std::string>{"--exif", "ignore"}}) {
    const Outcome outcome = extract("turned.jpg", "stored.json", more);
    EXPECT_EQ(0, outcome.exitCode);
    EXPECT_EQ(facefeature_tools::exifIsRead(),
              outcome.err.find("/turned.jpg: warning: its Exif data give orientation 6, ") !=
                  std::string::npos)
        << outcome.err;
    EXPECT_EQ(plain, feature);
  }
}

TEST_F(ExifRule, AppliesATurnBeforeTheLandmarks) {
  if (!facefeature_tools::exifIsRead()) GTEST_SKIP() << "built without a reader of Exif data";
  // A quarter turn clockwise: the new first row is the old first column, from bottom to top.
  const Bytes stored = decodedSamples(jpeg, JCS_RGB);
  Bytes seen;
  for (uint32_t y = 0; y < kWidth; ++y) {
    for (uint32_t x = 0; x < kHeight; ++x) {
      const uint8_t* source = &stored[3 * ((kHeight - 1 - x) * kWidth + y)];
      for (int channel = 0; channel < 3; ++channel) seen.push_back(source[channel]);
    }
  }
  write(base + "/seen.ppm", encodePpm(kHeight, kWidth, seen));
  EXPECT_EQ("", extract("seen.ppm", "seen.json").err);
  const std::string wanted = feature;
  const Outcome outcome = extract("turned.jpg", "seen.json", {"--exif", "apply"});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ("", outcome.err);
  EXPECT_EQ(wanted, feature);
}

TEST_F(ExifRule, ApplyingNoTurnChangesNothing) {
  if (!facefeature_tools::exifIsRead()) GTEST_SKIP() << "built without a reader of Exif data";
  EXPECT_EQ(0, extract("plain.jpg", "stored.json").exitCode);
  const std::string plain = feature;
  const Outcome outcome = extract("plain.jpg", "stored.json", {"--exif", "apply"});
  EXPECT_EQ("", outcome.err);
  EXPECT_EQ(plain, feature);
}

TEST_F(ExifRule, LandmarksForTheTurnedPictureRaiseAWarningIfItIsNotTurned) {
  const Outcome outcome = extract("turned.jpg", "seen.json");
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_NE(std::string::npos, outcome.err.find("are for a picture of 160 x 240 pixels, but "))
      << outcome.err;
}

TEST_F(ExifRule, AnUnknownRuleIsWrongUsage) {
  EXPECT_EQ(2, extract("plain.jpg", "stored.json", {"--exif", "sometimes"}).exitCode);
  EXPECT_EQ("", feature);
}

TEST_F(ExifRule, ApplyWithoutAReaderIsWrongUsage) {
  if (facefeature_tools::exifIsRead()) GTEST_SKIP() << "built with a reader of Exif data";
  EXPECT_EQ(2, extract("plain.jpg", "stored.json", {"--exif", "apply"}).exitCode);
}

}  // namespace
}  // namespace facefeature_test
