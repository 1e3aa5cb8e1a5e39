// Runs the built program as a shell does. Data go to standard output, messages to standard error,
// and the exit codes let scripts distinguish the cases.
#include <gtest/gtest.h>
#include <signal.h>
#if !defined(_WIN32)
#include <unistd.h>
#endif

#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "face/face_finder.h"
#include "gallery/feature_file.h"
#include "support/bits.h"
#include "support/environment.h"
#include "support/seeded_random.h"
#include "tools/model/synthetic_folder.h"
#include "tools/photo/encoded_pictures.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

#if defined(_WIN32)
constexpr char kLibraryName[] = "facefeature.dll";
#else
constexpr char kLibraryName[] = "libfacefeature.so.1";
#endif

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// A picture of noise with the landmarks of a real face. The library treats it like any face.
class CommandLine : public ::testing::Test {
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

  Outcome extract(const std::string& model) const {
    return run({"extract", photo, landmarks, "-o", feature, "--model", model});
  }

  // A failed run prints the reason on standard error only, starting with the verb, and writes no
  // feature.
  void expectFailure(int exitCode, const std::string& start, const Outcome& outcome) const {
    EXPECT_EQ(exitCode, outcome.exitCode) << outcome.err;
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(0u, outcome.err.find(start)) << outcome.err;
    EXPECT_FALSE(fs::exists(feature));
    EXPECT_TRUE(fs::is_empty(temporary));
  }

  const std::string base = privateTempFolder() + "/command";
  const std::string temporary = base + "/temporary";
  const std::string photo = base + "/face.ppm";
  const std::string landmarks =
      std::string(FACEFEATURE_SOURCE_DIR) + "/tools/demo/landmarks/grace_hopper.json";
  const std::string feature = base + "/face.feature";
};

TEST_F(CommandLine, WrongUsageExitsWith2AndNamesTheError) {
  expectFailure(2, "facefeature: ", run({}));
  expectFailure(2, "facefeature: unknown: frobnicate. ", run({"frobnicate"}));
  expectFailure(2, "facefeature model: ", run({"model"}));
  expectFailure(2, "facefeature model synth: DIR is required. ", run({"model", "synth"}));
  expectFailure(2,
                "facefeature model synth: ", run({"model", "synth", base + "/m", "--seed", "x"}));
  expectFailure(2, "facefeature model synth: ", run({"model", "synth", base + "/m", "--seed=-1"}));
  expectFailure(2, "facefeature model check: unknown: b. ", run({"model", "check", "a", "b"}));
  if (!facefeature_tools::facesCanBeFound()) {
    expectFailure(2, "facefeature extract: LANDMARKS is required. ", run({"extract", "a"}));
  }
  expectFailure(2, "facefeature extract: --output is required. ", run({"extract", "a", "b"}));
  expectFailure(2, "facefeature compare: B is required. ", run({"compare", "a"}));
  EXPECT_FALSE(fs::exists(base + "/m"));
}

TEST_F(CommandLine, HelpGoesToStandardOutput) {
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"},
                                                    {"model", "--help"},
                                                    {"extract", "--help"},
                                                    {"compare", "-h"},
                                                    {"model", "synth", "--help"},
                                                    {"--version"}}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(0, outcome.exitCode);
    EXPECT_NE("", outcome.out);
    EXPECT_EQ("", outcome.err);
  }
}

TEST_F(CommandLine, ModelSynthReportsThatNothingWasTrained) {
  const Outcome outcome = run({"model", "synth", base + "/made/here", "--seed", "3"});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_TRUE(contains(outcome.err, "NOT trained"));
  EXPECT_TRUE(contains(outcome.err, "say nothing about people"));
  EXPECT_EQ(0, run({"model", "check", base + "/made/here"}).exitCode);
}

TEST_F(CommandLine, ModelSynthWritesSeed1ByDefault) {
  EXPECT_EQ(0, run({"model", "synth", base + "/made"}).exitCode);
  EXPECT_EQ(contentOf(syntheticFolder() + "/6-1"), contentOf(base + "/made/6-1"));
}

TEST_F(CommandLine, ModelSynthLeavesOtherFoldersAlone) {
  writeText(base + "/note", "mine");
  expectFailure(2, "facefeature model synth: " + base + ": ", run({"model", "synth", base}));
  expectFailure(
      1, "facefeature model synth: " + base + "/note: ", run({"model", "synth", base + "/note"}));
}

TEST_F(CommandLine, ModelCheckNamesEveryWrongFile) {
  const std::string model = linkedFolder("command/model");
  const Outcome good = run({"model", "check", model});
  EXPECT_EQ(0, good.exitCode);
  EXPECT_EQ("", good.out);
  fs::remove(model + "/3-7-2");
  fs::remove(model + "/6-2");
  writeText(model + "/6-2", "short");
  const Outcome bad = run({"model", "check", model});
  EXPECT_EQ("facefeature model check: " + model + kSeparator +
                "6-2: has 5 bytes, 15999995 bytes too few\n" + "facefeature model check: " + model +
                kSeparator + "3-7-2: is missing\n" + "facefeature model check: " + model +
                ": 2 of 303 files are wrong. Copy the model again from its source.\n",
            bad.err);
  expectFailure(4, "facefeature model check: ", bad);
}

TEST_F(CommandLine, ModelCheckOfNoFolderIsAMissingModel) {
  expectFailure(4, "facefeature model check: " + base + "/none: can't be read as a folder: ",
                run({"model", "check", base + "/none"}));
}

TEST_F(CommandLine, ExtractWritesAFeatureAndPrintsNothing) {
  const Outcome outcome = extract(syntheticFolder());
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_EQ("", outcome.err);
  EXPECT_EQ(2008u, fs::file_size(feature));
  EXPECT_TRUE(fs::is_empty(temporary));
}

TEST_F(CommandLine, ExtractGivesTheSameBytesWhereverTheModelIs) {
  EXPECT_EQ(0, extract(syntheticFolder()).exitCode);
  const std::string first = contentOf(feature);

  const std::string named = linkedFolder("command/~kwplugintmp~");
  fs::remove(feature);
  EXPECT_EQ(0, extract(named).exitCode);
  EXPECT_EQ(first, contentOf(feature));

  fs::remove(feature);
  EXPECT_EQ(0, runProgram({"extract", photo, landmarks, "-o", feature}, base).exitCode);
  EXPECT_EQ(first, contentOf(feature));
}

TEST_F(CommandLine, ExtractReadsAllThreeFormats) {
  const std::string jpeg = base + "/face.jpg";
  const std::string png = base + "/face.png";
  const Bytes rgb(3 * 512 * 600, 100);
  const Bytes jpegBytes = encodeJpeg(512, 600, rgb);
  const Bytes pngBytes = encodePng(512, 600, 8, SPNG_COLOR_TYPE_TRUECOLOR, rgb);
  writeText(jpeg, std::string(jpegBytes.begin(), jpegBytes.end()));
  writeText(png, std::string(pngBytes.begin(), pngBytes.end()));
  for (const std::string& picture : {jpeg, png}) {
    const Outcome outcome =
        run({"extract", picture, landmarks, "-o", feature, "--model", syntheticFolder()});
    EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  }
}

TEST_F(CommandLine, ExtractWithoutACompleteModelExitsWith4BeforeTheLibraryIsCalled) {
  const std::string here = "facefeature extract: ";
  expectFailure(4, here + base + "/none: can't be read as a folder: ", extract(base + "/none"));

  const std::string model = linkedFolder("command/model");
  for (const char* name : {"0-7-0", "6-1", "2-3-1", "5-25-3"}) {
    fs::rename(model + "/" + name, model + "/hidden");
    const Outcome outcome = extract(model);
    expectFailure(4,
                  here + model + ": the model is missing or incomplete: " + name + " is missing. ",
                  outcome);
    fs::rename(model + "/hidden", model + "/" + name);
  }
  fs::remove(model + "/6-0");
  writeText(model + "/6-0", std::string(31999, '\0'));
  expectFailure(4,
                here + model +
                    ": the model is missing or incomplete: 6-0 has 31999 bytes, 1 byte "
                    "too few. ",
                extract(model));
}

TEST_F(CommandLine, ExtractFromAnEmptyFolderNamesTheFirstTenAndCountsTheRest) {
  fs::create_directories(base + "/empty");
  const Outcome outcome = extract(base + "/empty");
  expectFailure(4, "facefeature extract: " + base + "/empty: ", outcome);
  EXPECT_TRUE(contains(outcome.err, "0-10-0 is missing; and 293 more files. "));
}

TEST_F(CommandLine, ExtractOfABadInputExitsWith3) {
  const std::string here = "facefeature extract: ";
  const auto with = [this](const std::string& picture, const std::string& points) {
    return run({"extract", picture, points, "-o", feature, "--model", syntheticFolder()});
  };
  const std::string none = base + "/none";
  expectFailure(3, here + none + ": can't be opened: ", with(none, landmarks));
  expectFailure(3, here + none + ": can't be opened: ", with(photo, none));
  expectFailure(3, here + landmarks + ": is not a JPEG, PNG or ", with(landmarks, landmarks));
  expectFailure(3, here + photo + ": is not JSON (", with(photo, photo));
  fs::resize_file(photo, 1000);
  expectFailure(3, here + photo + ": is damaged or cut short (PPM: ", with(photo, landmarks));
  writeText(photo, "P6 1 2 255 abcdef");
  expectFailure(3, here + photo + ": has only 1 x 2 pixels. ", with(photo, landmarks));
}

TEST_F(CommandLine, ExtractWarnsOfLandmarksForAnotherPicture) {
  const Bytes ppm = encodePpm(600, 512, Bytes(3 * 512 * 600, 90));
  writeText(photo, std::string(ppm.begin(), ppm.end()));
  const Outcome outcome = extract(syntheticFolder());
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_TRUE(contains(outcome.err,
                       ": warning: the landmarks are for a picture of 512 x 600 pixels, "
                       "but " +
                           photo + " has 600 x 512. "));
}

TEST_F(CommandLine, ExtractThatCannotWriteItsFeatureNamesTheFile) {
  const std::string nowhere = base + "/none/face.feature";
  expectFailure(1, "facefeature extract: " + nowhere + ": can't be created: ",
                run({"extract", photo, landmarks, "-o", nowhere, "--model", syntheticFolder()}));
}

#if !defined(_WIN32)
// On Windows, a process cannot send Ctrl-C to only one other process.
TEST_F(CommandLine, ExtractInterruptedWhileItReadsTheModelLeavesNothing) {
  // The link exists only while the library reads 58 MB. A run that finishes earlier is repeated.
  bool interrupted = false;
  for (int tries = 0; tries < 50 && !interrupted; ++tries) {
    StartedProgram program(
        {"extract", photo, landmarks, "-o", feature, "--model", syntheticFolder()}, temporary);
    while (program.runs() && fs::is_empty(temporary)) usleep(200);
    kill(program.process(), SIGINT);
    interrupted = program.outcome().signal == SIGINT;
    EXPECT_TRUE(fs::is_empty(temporary));
    if (interrupted) {
      EXPECT_FALSE(fs::exists(feature));
    }
  }
  EXPECT_TRUE(interrupted);
  EXPECT_TRUE(fs::exists(syntheticFolder() + "/6-2"));
}
#endif

TEST_F(CommandLine, CompareOfAFaceWithItselfIsNear1) {
  EXPECT_EQ(0, extract(syntheticFolder()).exitCode);
  const Outcome outcome = run({"compare", feature, feature});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ("", outcome.err);
  EXPECT_NEAR(1.0, std::atof(outcome.out.c_str()), 0.15);
}

TEST_F(CommandLine, ComparePrintsTheScoreWithAllItsDigitsAndALineEnd) {
  SeededRandom random;
  const std::string other = base + "/other.feature";
  for (int round = 0; round < 5; ++round) {
    FeatureVector a;
    FeatureVector b;
    for (float& value : a.values) value = random.normal();
    for (float& value : b.values) value = random.normal();
    facefeature_tools::writeFeatureFile(feature, a);
    facefeature_tools::writeFeatureFile(other, b);
    float product = 0.0f;
    for (int i = 0; i < 500; ++i) product = product + a.values[i] * b.values[i];
    const float spread = product * 2.0f - (a.values[500] + b.values[500]);
    const float score = spread / (a.values[501] * b.values[501]) + 1.0f;

    const Outcome outcome = run({"compare", feature, other});
    EXPECT_EQ(0, outcome.exitCode);
    EXPECT_EQ("", outcome.err);
    ASSERT_FALSE(outcome.out.empty());
    EXPECT_EQ(outcome.out.size() - 1, outcome.out.find('\n'));
    EXPECT_SAME_FLOAT(score, std::strtof(outcome.out.c_str(), nullptr));
    EXPECT_EQ(outcome.out, run({"compare", other, feature}).out);
  }
}

TEST_F(CommandLine, CompareOfAFeatureOfNoFacePrintsNanWithAWarning) {
  FeatureVector none;
  for (float& value : none.values) value = std::numeric_limits<float>::quiet_NaN();
  facefeature_tools::writeFeatureFile(feature, none);
  const Outcome outcome = run({"compare", feature, feature});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_EQ("nan\n", outcome.out);
  EXPECT_TRUE(contains(outcome.err, ": warning: the score is not a number. "));
}

TEST_F(CommandLine, CompareOfABadFeatureExitsWith3) {
  const std::string other = base + "/other.feature";
  facefeature_tools::writeFeatureFile(other, FeatureVector());
  const std::string shortFile = base + "/short.feature";
  writeText(shortFile, std::string(2007, '\0'));
  const std::string start = "facefeature compare: ";
  expectFailure(3, start + shortFile + ": has 2007 bytes, but ",
                run({"compare", shortFile, other}));
  expectFailure(3, start + shortFile + ": has 2007 bytes, but ",
                run({"compare", other, shortFile}));
  expectFailure(3, start + feature + ": can't be opened: ", run({"compare", other, feature}));
}

// The program in a different folder than its library.
class ProgramElsewhere : public CommandLine {
 protected:
  void SetUp() override {
    CommandLine::SetUp();
    fs::create_directories(base + "/bin");
    fs::copy_file(FACEFEATURE_PROGRAM, program);
    facefeature_tools::writeFeatureFile(feature, FeatureVector());
  }

  Outcome compare() const { return runProgram({"compare", feature, feature}, temporary, program); }

  const std::string program = base + "/bin/" + fs::path(FACEFEATURE_PROGRAM).filename().string();
  const fs::path library = fs::path(FACEFEATURE_PROGRAM).parent_path() / kLibraryName;
};

TEST_F(ProgramElsewhere, WithoutALibraryReportsWhereItBelongs) {
  const Outcome outcome = compare();
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_TRUE(contains(outcome.err, std::string(kLibraryName) + ": can't be loaded: "));
}

#if !defined(_WIN32)
// On Windows, libraries are beside the programs.
TEST_F(ProgramElsewhere, FindsTheLibraryInTheFolderLibBesideItsOwn) {
  fs::create_directories(base + "/lib");
  fs::copy_file(library, base + "/lib/" + kLibraryName);
  EXPECT_EQ("nan\n", compare().out);
}

TEST_F(ProgramElsewhere, BrokenLibraryOfItsOwnIsNotSkipped) {
  fs::create_directories(base + "/lib");
  fs::copy_file(library, base + "/lib/" + kLibraryName);
  writeText(base + "/bin/" + kLibraryName, "no library");
  const Outcome outcome = compare();
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_TRUE(contains(
      outcome.err, fs::path(base + "/bin").append(kLibraryName).string() + ": can't be loaded: "));
}
#else
TEST_F(ProgramElsewhere, BrokenLibraryOfItsOwnIsNotSkipped) {
  const fs::path broken = fs::path(program).parent_path() / kLibraryName;
  writeText(broken.string(), "no library");
  const Outcome outcome = compare();
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_TRUE(contains(outcome.err, std::string(kLibraryName) + ": can't be loaded: "));
}

TEST_F(ProgramElsewhere, FindsTheLibraryBesideItself) {
  fs::copy_file(library, fs::path(program).parent_path() / kLibraryName);
  EXPECT_EQ("nan\n", compare().out);
}
#endif

}  // namespace
}  // namespace facefeature_test
