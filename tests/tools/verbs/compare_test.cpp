// "facefeature compare" with galleries and thresholds.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "base/csv.h"
#include "base/float_text.h"
#include "gallery/feature_file.h"
#include "model/library_loader.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::floatText;
using facefeature_tools::parseCsv;

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// The formula, as an independent copy.
float scoreOf(const FeatureVector& a, const FeatureVector& b) {
  float product = 0.0f;
  for (int i = 0; i < 500; ++i) product = product + a.values[i] * b.values[i];
  const float spread = product * 2.0f - (a.values[500] + b.values[500]);
  return spread / (a.values[501] * b.values[501]) + 1.0f;
}

class Compare : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
    a = writeRandomGallery(first, {"x", "y, z", "#1"}, random);
    b = writeRandomGallery(second, {"p", "q"}, random);
    facefeature_tools::writeFeatureFile(file, a[1]);
  }
  void TearDown() override { fs::remove_all(base); }

  int exitCodeOf(const std::vector<std::string>& arguments) const {
    return runProgram(arguments).exitCode;
  }

  void expectFailure(int exitCode, const std::string& start, const Outcome& outcome) const {
    EXPECT_EQ(exitCode, outcome.exitCode) << outcome.err;
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(0u, outcome.err.find(start)) << outcome.err;
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/compare";
  const std::string first = base + "/first.gallery";
  const std::string second = base + "/second.gallery";
  const std::string file = base + "/single.feature";
  std::vector<FeatureVector> a;
  std::vector<FeatureVector> b;
};

TEST_F(Compare, OfGalleriesIsATableOfAllPairs) {
  const Outcome outcome = runProgram({"compare", first, second});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ("", outcome.err);
  std::string wanted = "id_a,id_b,score\n";
  const std::string names[] = {"x", "\"y, z\"", "#1"};
  for (size_t i = 0; i < 3; ++i) {
    for (size_t k = 0; k < 2; ++k) {
      wanted += names[i] + "," + (k == 0 ? "p" : "q") + "," + floatText(scoreOf(a[i], b[k])) + "\n";
    }
  }
  EXPECT_EQ(wanted, outcome.out);
}

TEST_F(Compare, OfRowsAndFilesIsOneScore) {
  const std::string wanted = floatText(scoreOf(a[1], b[0])) + "\n";
  EXPECT_EQ(wanted, runProgram({"compare", first + "#y, z", second + "#p"}).out);
  EXPECT_EQ(wanted, runProgram({"compare", file, second + "#p"}).out);
  EXPECT_EQ(wanted, runProgram({"compare", second + "#p", file}).out);
  EXPECT_EQ(floatText(scoreOf(a[2], b[1])) + "\n",
            runProgram({"compare", first + "##1", second + "#q"}).out);
}

TEST_F(Compare, OfAFileWithAGalleryIsATableThatNamesTheFile) {
  EXPECT_EQ("id_a,id_b,score\n" + file + ",p," + floatText(scoreOf(a[1], b[0])) + "\n" + file +
                ",q," + floatText(scoreOf(a[1], b[1])) + "\n",
            runProgram({"compare", file, second}).out);
}

TEST_F(Compare, FileNamesMayHoldTheSignOfARow) {
  const std::string odd = base + "/odd#p.gallery";
  fs::copy_file(second, odd);
  EXPECT_EQ(runProgram({"compare", second, file}).out, runProgram({"compare", odd, file}).out);
  EXPECT_EQ(runProgram({"compare", second + "#q", file}).out,
            runProgram({"compare", odd + "#q", file}).out);
}

TEST_F(Compare, OfDifferentModelsExitsWith4AndNamesBoth) {
  writeRandomGallery(second, {"p"}, random, originOf(0xC5));
  for (const char* row : {"", "#p"}) {
    const Outcome outcome = runProgram({"compare", first, second + row});
    expectFailure(4,
                  "facefeature compare: " + first + ", " + second + ": are of different models, ",
                  outcome);
    EXPECT_TRUE(contains(outcome.err, "070707"));
    EXPECT_TRUE(contains(outcome.err, "c5c5c5"));
  }
  expectFailure(
      4, "facefeature compare: ", runProgram({"compare", first, second, "--threshold", "0"}));
}

TEST_F(Compare, OfRowsAndFilesThatAreNotThereExitsWith3) {
  expectFailure(3, "facefeature compare: " + first + ": has no feature with the id none. ",
                runProgram({"compare", first + "#none", second}));
  expectFailure(3, "facefeature compare: " + base + "/none#x: can't be opened: ",
                runProgram({"compare", base + "/none#x", second}));
  expectFailure(3, "facefeature compare: " + file + ": is not a gallery. ",
                runProgram({"compare", file + "#x", second}));
}

TEST_F(Compare, ThresholdIsAnsweredByTheExitCode) {
  const float score = scoreOf(a[1], b[0]);
  const float above = std::nextafter(score, std::numeric_limits<float>::infinity());
  const float below = std::nextafter(score, -std::numeric_limits<float>::infinity());
  const auto outcomeAt = [&](const std::string& threshold) {
    return runProgram({"compare", file, second + "#p", "--threshold=" + threshold});
  };
  for (const auto& [threshold, exitCode] :
       {std::pair(score, 0), std::pair(below, 0), std::pair(above, 1)}) {
    const Outcome outcome = outcomeAt(floatText(threshold));
    EXPECT_EQ(exitCode, outcome.exitCode);
    EXPECT_EQ(floatText(score) + "\n", outcome.out);
    EXPECT_EQ("", outcome.err);
  }
  EXPECT_EQ(0, outcomeAt("-inf").exitCode);
  EXPECT_EQ(1, outcomeAt("inf").exitCode);
  EXPECT_EQ(1, outcomeAt("1e9").exitCode);
}

TEST_F(Compare, NaNReachesNoThreshold) {
  FeatureVector none;
  for (float& value : none.values) value = std::numeric_limits<float>::quiet_NaN();
  facefeature_tools::writeFeatureFile(file, none);
  const Outcome outcome = runProgram({"compare", file, file, "--threshold=-inf"});
  EXPECT_EQ(1, outcome.exitCode);
  EXPECT_EQ("nan\n", outcome.out);
  EXPECT_TRUE(contains(outcome.err, ": warning: the score is not a number. "));
  const Outcome table = runProgram({"compare", file, second, "--threshold=-inf"});
  EXPECT_EQ(1, table.exitCode);
  EXPECT_EQ("id_a,id_b,score\n", table.out);
  EXPECT_TRUE(contains(table.err, ": warning: 2 of the scores are not a number. "));
  EXPECT_TRUE(contains(runProgram({"compare", file, second}).out, ",p,nan\n"));
}

TEST_F(Compare, ThresholdOfATablePrintsTheRowsThatReachIt) {
  std::vector<float> scores;
  for (const FeatureVector& one : a) {
    for (const FeatureVector& other : b) scores.push_back(scoreOf(one, other));
  }
  std::sort(scores.begin(), scores.end());
  const Outcome some =
      runProgram({"compare", first, second, "--threshold=" + floatText(scores[3])});
  EXPECT_EQ(0, some.exitCode);
  const auto rows = parseCsv(some.out);
  ASSERT_EQ(4u, rows.size());
  for (size_t i = 1; i < 4; ++i) EXPECT_GE(std::stof(rows[i].fields[2]), scores[3]);
  const Outcome no = runProgram({"compare", first, second, "--threshold=1e9"});
  EXPECT_EQ(1, no.exitCode);
  EXPECT_EQ("id_a,id_b,score\n", no.out);
}

TEST_F(Compare, ThresholdThatIsNotANumberIsWrongUsage) {
  for (const char* text : {"", "x", "nan", "0.5x", "1,5"}) {
    expectFailure(2, "facefeature compare: ",
                  runProgram({"compare", file, file, std::string("--threshold=") + text}));
  }
}

TEST_F(Compare, FailuresAreNeverMistakenForAnAnswer) {
  expectFailure(
      3, "facefeature compare: ", runProgram({"compare", file, base + "/none", "--threshold=0"}));
  // A program without its library exits with 1, unless 1 is a valid result.
  const std::string program = base + "/facefeature";
  std::error_code error;
  fs::create_hard_link(FACEFEATURE_PROGRAM, program, error);
  if (error) fs::copy_file(FACEFEATURE_PROGRAM, program);
  const std::string folder = privateTempFolder();
  EXPECT_EQ(1, runProgram({"compare", file, file}, folder, program).exitCode);
  expectFailure(5, "facefeature compare: ",
                runProgram({"compare", file, file, "--threshold=0"}, folder, program));
#if !defined(_WIN32)
  // Windows has no device that is always full.
  const std::string command = std::string(FACEFEATURE_PROGRAM) + " compare " + file + " " + file +
                              " --threshold=0 >/dev/full";
  EXPECT_EQ(5, runProgram({"-c", command}, folder, "/bin/bash").exitCode);
#endif
}

}  // namespace
}  // namespace facefeature_test
