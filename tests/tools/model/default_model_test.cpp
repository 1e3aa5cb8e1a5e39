// The model that the program uses if the user does not name one.
#include "model/default_model.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/environment.h"
#include "support/seeded_random.h"
#include "tools/model/synthetic_folder.h"
#include "tools/photo/encoded_pictures.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::shippedModelFolder;

const std::string kRepository = FACEFEATURE_SOURCE_DIR;
const std::string kPortraits = kRepository + "/models/portraits";

// A temporary folder without a model, and a photograph.
class DefaultModel : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(temporary);
    SeededRandom random;
    const Bytes ppm = encodePpm(512, 600, random.bytes(3 * 512 * 600));
    writeText(photo, std::string(ppm.begin(), ppm.end()));
  }
  void TearDown() override { fs::remove_all(base); }

  Outcome run(const std::vector<std::string>& arguments) const {
    return runProgram(arguments, temporary);
  }

  std::string fingerprint(const std::vector<std::string>& folder) const {
    std::vector<std::string> arguments = {"model", "fingerprint"};
    arguments.insert(arguments.end(), folder.begin(), folder.end());
    const Outcome outcome = run(arguments);
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
    EXPECT_EQ("", outcome.err);
    return outcome.out;
  }

  // Without --model. The feature is empty if the program failed.
  std::string extracted(const std::vector<std::string>& model = {}) const {
    std::vector<std::string> arguments = {"extract", photo, landmarks, "-o", feature};
    arguments.insert(arguments.end(), model.begin(), model.end());
    fs::remove(feature);
    const Outcome outcome = run(arguments);
    EXPECT_EQ(0, outcome.exitCode);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ("", outcome.err);
    return contentOf(feature);
  }

  const std::string base = privateTempFolder() + kSeparator + "default model";
  const std::string temporary = base + kSeparator + "temporary";
  const std::string usual = temporary + kSeparator + "~kwplugintmp~";
  const std::string photo = base + "/face.ppm";
  const std::string landmarks = kRepository + "/tools/demo/landmarks/grace_hopper.json";
  const std::string feature = base + "/face.feature";
};

TEST_F(DefaultModel, ShippedModelIsBesideTheProgramOrInTheShareFolderOfItsPrefix) {
  const std::string program = base + kSeparator + "bin";
  fs::create_directories(program);
  EXPECT_EQ("", shippedModelFolder(program));
  const fs::path shared = fs::path(base) / "share" / "facefeature" / "models" / "portraits";
  fs::create_directories(shared);
  EXPECT_EQ(shared.string(), shippedModelFolder(program));
  const fs::path beside = fs::path(program) / "models" / "portraits";
  fs::create_directories(beside);
  EXPECT_EQ(beside.string(), shippedModelFolder(program));
}

TEST_F(DefaultModel, OfABuildIsTheCompleteModelOfTheRepository) {
  const Outcome outcome = run({"model", "check"});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ("", outcome.out);
  EXPECT_NE(std::string::npos, outcome.err.find("portraits: all 303 files are ")) << outcome.err;
  const std::string digits = fingerprint({kPortraits});
  EXPECT_EQ(digits, fingerprint({}));
  const std::string card = contentOf(kPortraits + "/MODEL.md");
  EXPECT_NE(std::string::npos, card.find("`" + digits.substr(0, 64) + "`")) << digits;
}

TEST_F(DefaultModel, GivesTheFeatureOfTheModelThatIsNamedAndLeavesNothing) {
  const std::string named = extracted({"--model", kPortraits});
  EXPECT_EQ(2008u, named.size());
  EXPECT_EQ(named, extracted());
  EXPECT_TRUE(fs::is_empty(temporary));
}

TEST_F(DefaultModel, IsTheFolderInTheTemporaryFolderIfThereIsOne) {
  fs::rename(linkedFolder("default model/linked"), usual);
  EXPECT_EQ(fingerprint({syntheticFolder()}), fingerprint({}));
  EXPECT_EQ(extracted({"--model", syntheticFolder()}), extracted());
  fs::remove(usual + "/6-0");
  const Outcome outcome = run({"model", "check"});
  EXPECT_EQ(4, outcome.exitCode);
  EXPECT_EQ(
      0u, outcome.err.find("facefeature model check: " + usual + kSeparator + "6-0: is missing\n"))
      << outcome.err;
}

TEST_F(DefaultModel, WithoutAShippedOneIsTheFolderThatTheLibraryReads) {
  const fs::path program = fs::path(base) / fs::path(FACEFEATURE_PROGRAM).filename();
  fs::copy_file(FACEFEATURE_PROGRAM, program);
  for (const std::vector<std::string>& verb :
       {std::vector<std::string>{"extract", photo, landmarks, "-o", feature},
        {"model", "check"},
        {"model", "fingerprint"}}) {
    const Outcome outcome = runProgram(verb, temporary, program.string());
    EXPECT_EQ(4, outcome.exitCode);
    EXPECT_EQ("", outcome.out);
    EXPECT_NE(std::string::npos, outcome.err.find(": " + usual)) << outcome.err;
  }
  EXPECT_TRUE(fs::is_empty(temporary));
  EXPECT_FALSE(fs::exists(feature));
}

#if !defined(_WIN32)
// On Windows, links need rights that a test may not have.
TEST_F(DefaultModel, DanglingLinkInTheTemporaryFolderIsNotSkipped) {
  fs::create_symlink(base + "/nowhere", usual);
  const Outcome outcome = run({"extract", photo, landmarks, "-o", feature});
  EXPECT_EQ(4, outcome.exitCode);
  EXPECT_EQ(0u, outcome.err.find("facefeature extract: " + usual + ": can't be read as a folder: "))
      << outcome.err;
}

// Lists are extracted on POSIX systems only.
TEST_F(DefaultModel, IsThatOfAListToo) {
  writeText(base + "/list.csv", "a," + photo + "," + landmarks + "\n");
  const std::string gallery = base + "/a.gallery";
  EXPECT_EQ(0, run({"extract", "--list", base + "/list.csv", "-o", gallery}).exitCode);
  const Outcome score = run({"compare", gallery + "#a", gallery + "#a"});
  EXPECT_EQ(0, score.exitCode) << score.err;
  const std::string digits = fingerprint({kPortraits});
  const Outcome info = run({"gallery", "info", gallery});
  EXPECT_NE(std::string::npos, info.out.find(digits.substr(0, 64))) << info.out;
  EXPECT_TRUE(fs::is_empty(temporary));
}
#endif

}  // namespace
}  // namespace facefeature_test
