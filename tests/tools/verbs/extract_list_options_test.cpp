// Options of a single extraction that apply to all photographs of a list.
#include "base/csv.h"
#include "face/face_finder.h"
#include "gallery/feature_file.h"
#include "photo/photo.h"
#include "photo/photo_orientation.h"
#include "support/bits.h"
#include "support/sample_faces.h"
#include "support/seeded_random.h"
#include "tools/model/synthetic_folder.h"
#include "tools/photo/exif_pictures.h"
#include "tools/photo/photo_files.h"
#include "tools/verbs/batch_fixture.h"

namespace facefeature_test {
namespace {

using facefeature_tools::Gallery;

constexpr uint32_t kWidth = 240;
constexpr uint32_t kHeight = 160;

class BatchOptions : public Batch {
 protected:
  // Expects that the only row of the gallery is the feature of this single extraction.
  void expectRowOf(std::vector<std::string> single) const {
    const std::string path = base + "/single";
    single.insert(single.begin(), "extract");
    single.insert(single.end(), {"-o", path, "--model", syntheticFolder()});
    const Outcome outcome = runProgram(single, temporary);
    ASSERT_EQ(0, outcome.exitCode) << outcome.err;
    const Gallery opened(gallery);
    ASSERT_EQ(1u, opened.count());
    const FeatureVector wanted = facefeature_tools::readFeatureFile(path);
    EXPECT_TRUE(sameFloats(wanted.values, opened.feature(0).values, kFeatureFloats));
  }

  // With the real library, whose features differ between pictures.
  Outcome extractReally(const std::vector<std::string>& more) const {
    std::vector<std::string> all = {"extract", "--list",         list, "-o", gallery,
                                    "--model", syntheticFolder()};
    all.insert(all.end(), more.begin(), more.end());
    return runProgram(all, temporary);
  }
};

TEST_F(BatchOptions, ExifRuleHoldsForAllPhotographs) {
  if (!facefeature_tools::exifIsRead()) GTEST_SKIP() << "built without a reader of Exif data";
  SeededRandom random;
  const Bytes turned =
      withExif(encodeJpeg(kWidth, kHeight, random.bytes(3 * kWidth * kHeight)), 6, false);
  writeText(base + "/turned.jpg", std::string(turned.begin(), turned.end()));
  const std::vector<Landmark> points =
      projectedFace({0.0f, 0.0f, 0.0f, 5.0f, kHeight / 2.0f, kWidth / 2.0f}).entries;
  writeText(base + "/seen.json",
            facefeature_tools::landmarkText("turned.jpg", kHeight, kWidth, points));
  writeText(list, "t,turned.jpg,seen.json\n");

  const Outcome applied = extractReally({"--exif", "apply"});
  EXPECT_EQ(0, applied.exitCode);
  EXPECT_FALSE(contains(applied.err, "warning")) << applied.err;
  expectRowOf({base + "/turned.jpg", base + "/seen.json", "--exif", "apply"});

  for (const std::vector<std::string>& more :
       {std::vector<std::string>{}, std::vector<std::string>{"--exif", "ignore"}}) {
    const Outcome ignored = extractReally(more);
    EXPECT_EQ(0, ignored.exitCode);
    EXPECT_TRUE(contains(ignored.err, "its Exif data give orientation 6, ")) << ignored.err;
    expectRowOf({base + "/turned.jpg", base + "/seen.json"});
  }
}

TEST_F(BatchOptions, ApplyWithoutAReaderEndsTheRunBeforeItBegins) {
  if (facefeature_tools::exifIsRead()) GTEST_SKIP() << "built with a reader of Exif data";
  writeList({kOrdinary});
  EXPECT_EQ(2, extract({"--exif", "apply"}).exitCode);
  EXPECT_FALSE(std::filesystem::exists(gallery));
}

TEST_F(BatchOptions, FaceNumberHoldsForPhotographsWithoutLandmarks) {
  if (!facefeature_tools::facesCanBeFound()) GTEST_SKIP() << "built without a detector";
  const std::string folder = samplesFolder();
  if (folder.empty()) GTEST_SKIP() << "no folder of samples";
  const std::string people = base + "/people.ppm";
  const facefeature_tools::Photo face = facefeature_tools::readPhoto(folder + "/ride_2.jpg");
  // The same face twice: the detector returns two boxes of nearly the same size.
  writePpm(people, sideBySide(face, face));
  writeText(list, "p,people.ppm\n");
  for (const char* number : {"1", "2"}) {
    const Outcome outcome = extractReally({"--face", number});
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
    expectRowOf({people, "--face", number});
  }
  const Outcome third = extractReally({"--face", "3", "--report", report});
  EXPECT_EQ(3, third.exitCode);
  const auto rows = facefeature_tools::parseCsv(contentOf(report));
  ASSERT_EQ(2u, rows.size());
  EXPECT_TRUE(contains(rows[1].fields[3], "has no face 3, only 2 were found. "));
}

}  // namespace
}  // namespace facefeature_test
