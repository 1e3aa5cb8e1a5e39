// "facefeature gallery add", remove, compact and verify.
#include <gtest/gtest.h>

#include <filesystem>

#include "base/file_lock.h"
#include "gallery/feature_file.h"
#include "model/model_fingerprint.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/gallery/version1_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::Gallery;

class GalleryChangeVerbs : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
    features = writeRandomGallery(gallery, {"a/1.jpg", "a/2.jpg", "b/1.jpg"}, random);
  }
  void TearDown() override { fs::remove_all(base); }

  std::string ids() const { return runProgram({"gallery", "info", "--ids", gallery}).out; }

  void expectDone(const std::vector<std::string>& arguments) {
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
    EXPECT_EQ("", outcome.err);
    EXPECT_FALSE(fs::exists(gallery + ".lock"));
  }

  void expectRefused(int exitCode, const std::string& words,
                     const std::vector<std::string>& arguments) {
    const std::string before = contentOf(gallery);
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(exitCode, outcome.exitCode) << outcome.err;
    EXPECT_NE(std::string::npos, outcome.err.find(words)) << outcome.err;
    EXPECT_EQ(before, contentOf(gallery));
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/gallery_change_verbs";
  const std::string gallery = base + "/g.gallery";
  std::vector<FeatureVector> features;
};

TEST_F(GalleryChangeVerbs, AddTakesFeatureFilesAndGalleries) {
  const FeatureVector single = randomFeature(random);
  const std::string file = base + "/single.feature";
  facefeature_tools::writeFeatureFile(file, single);
  const auto others = writeRandomGallery(base + "/other", {"x", "y"}, random);
  expectDone({"gallery", "add", gallery, base + "/other", file});
  EXPECT_EQ("a/1.jpg\na/2.jpg\nb/1.jpg\nx\ny\n" + file + "\n", ids());
  const Gallery opened(gallery);
  EXPECT_TRUE(sameFloats(others[1].values, opened.feature(4).values, 502));
  EXPECT_TRUE(sameFloats(single.values, opened.feature(5).values, 502));
  EXPECT_EQ(gallery + ": ok\n", runProgram({"gallery", "verify", gallery}).out);
  expectDone({"gallery", "add", gallery, file, "--id", "renamed"});
  EXPECT_EQ("renamed\n", runProgram({"gallery", "info", "--ids", "--match", "re*", gallery}).out);
}

TEST_F(GalleryChangeVerbs, AddSkipsPhotographsWithoutAFeatureIfAsked) {
  // A photograph that is cut short gives no feature, with or without a detector.
  const std::string broken = base + "/broken.ppm", file = base + "/single.feature";
  writeText(broken, "P6\n64 64\n255\nabc");
  facefeature_tools::writeFeatureFile(file, randomFeature(random));
  const std::string model = base + "/model";
  ASSERT_EQ(0, runProgram({"model", "synth", model}).exitCode);
  // The feature file does not say which model it is of, so the gallery's must be the photograph's.
  fs::remove(gallery);
  facefeature_tools::GalleryOrigin origin = originOf(7);
  origin.model = facefeature_tools::modelFingerprint(model);
  writeRandomGallery(gallery, {"a"}, random, origin);
  expectRefused(3, broken, {"gallery", "add", gallery, broken, file, "--model", model});
  const Outcome outcome =
      runProgram({"gallery", "add", gallery, broken, file, "--skip", "--model", model});
  EXPECT_EQ(3, outcome.exitCode);
  EXPECT_NE(std::string::npos, outcome.err.find(broken)) << outcome.err;
  EXPECT_EQ("a\n" + file + "\n", ids());
  EXPECT_EQ(3,
            runProgram({"gallery", "add", gallery, broken, "--skip", "--model", model}).exitCode);
  EXPECT_EQ("a\n" + file + "\n", ids());
}

TEST_F(GalleryChangeVerbs, AddRefusesAnIdThatIsThereUnlessItReplaces) {
  const FeatureVector single = randomFeature(random);
  const std::string file = base + "/single.feature";
  facefeature_tools::writeFeatureFile(file, single);
  expectRefused(3, "has the id a/2.jpg already",
                {"gallery", "add", gallery, file, "--id", "a/2.jpg"});
  expectDone({"gallery", "add", gallery, file, "--id", "a/2.jpg", "--replace"});
  EXPECT_EQ("a/1.jpg\nb/1.jpg\na/2.jpg\n", ids());
  EXPECT_TRUE(sameFloats(single.values, Gallery(gallery).feature(2).values, 502));
  expectRefused(3, "this id is given twice", {"gallery", "add", gallery, file, file});
  expectRefused(2, "names one feature", {"gallery", "add", gallery, file, file, "--id", "x"});
}

TEST_F(GalleryChangeVerbs, AddRefusesAnotherModel) {
  writeRandomGallery(base + "/other", {"x"}, random, originOf(8));
  expectRefused(4, "are of different models", {"gallery", "add", gallery, base + "/other"});
}

TEST_F(GalleryChangeVerbs, AddMakesAGalleryThatDoesNotExist) {
  const std::string fresh = base + "/fresh.gallery";
  expectDone({"gallery", "add", fresh, gallery + "#a/2.jpg"});
  EXPECT_EQ("a/2.jpg", Gallery(fresh).id(0));
  facefeature_tools::writeFeatureFile(base + "/f", features[0]);
  expectRefused(3, "do not record the model",
                {"gallery", "add", base + "/fresh2.gallery", base + "/f"});
}

TEST_F(GalleryChangeVerbs, AddAndRemoveMakeVersion2OfVersion1) {
  writeText(gallery, version1Bytes({"a", "b", "c"}, features));
  EXPECT_EQ(gallery + ": ok, without digests\n", runProgram({"gallery", "verify", gallery}).out);
  expectDone({"gallery", "remove", gallery, "b"});
  EXPECT_EQ("a\nc\n", ids());
  EXPECT_EQ(2u, Gallery(gallery).version());
}

TEST_F(GalleryChangeVerbs, RemoveTakesIdsAndAPattern) {
  expectDone({"gallery", "remove", gallery, "--match", "a/*"});
  EXPECT_EQ("b/1.jpg\n", ids());
  EXPECT_NE(std::string::npos,
            runProgram({"gallery", "info", gallery}).out.find("segments: 2\nremoved: 2\n"));
  expectRefused(3, "has no feature with the id a/1.jpg", {"gallery", "remove", gallery, "a/1.jpg"});
  expectRefused(3, "has no id that matches a/*", {"gallery", "remove", gallery, "--match", "a/*"});
  expectRefused(2, "no id is given", {"gallery", "remove", gallery});
  expectDone({"gallery", "remove", gallery, "b/1.jpg"});
  EXPECT_EQ("", ids());
}

TEST_F(GalleryChangeVerbs, CompactGivesTheBytesOfAnUnchangedGallery) {
  const std::string before = contentOf(gallery);
  expectDone({"gallery", "add", gallery, gallery + "#a/1.jpg", "--id", "again"});
  expectDone({"gallery", "remove", gallery, "again"});
  EXPECT_NE(before, contentOf(gallery));
  expectDone({"gallery", "compact", gallery});
  EXPECT_EQ(before, contentOf(gallery));
}

TEST_F(GalleryChangeVerbs, VerifyNamesWhatIsDamagedAndExitsWith3) {
  std::string bytes = contentOf(gallery);
  bytes[14000] = static_cast<char>(~bytes[14000]);
  const std::string other = base + "/damaged";
  writeText(other, bytes);
  const Outcome outcome = runProgram({"gallery", "verify", other, gallery});
  EXPECT_EQ(3, outcome.exitCode);
  EXPECT_EQ(gallery + ": ok\n", outcome.out);
  EXPECT_NE(std::string::npos, outcome.err.find(other + ": bytes 12288 to ")) << outcome.err;
}

TEST_F(GalleryChangeVerbs, ASecondWriterIsRefusedAndReadersAreNot) {
  const facefeature_tools::FileLock lock(gallery);
  const Outcome outcome = runProgram({"gallery", "remove", gallery, "b/1.jpg"});
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_NE(std::string::npos, outcome.err.find(": is being changed by ")) << outcome.err;
  EXPECT_EQ(0, runProgram({"gallery", "info", gallery}).exitCode);
}

}  // namespace
}  // namespace facefeature_test
