// The whole life of the library under valgrind's memcheck: no branch, no address and no printed bit
// of a feature or a score depends on uninitialised memory, and nothing outside of a block is read.
// This covers code that the sanitizers can't see: linked packages and the C library.
//
// Memcheck's processor has AVX2 and no AVX-512. No suppression is needed, not even for the OpenMP
// runtime.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/child_process.h"
#include "host/linked_model.h"
#include "host/probe_run.h"

namespace facefeature_test {
namespace {

constexpr int kErrorFound = 99;

class Memcheck : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::string(FACEFEATURE_VALGRIND).empty()) {
      GTEST_SKIP() << "valgrind was not found when this build was configured";
    }
    if (!std::string(FACEFEATURE_SANITIZE).empty()) {
      GTEST_SKIP() << "a program with a sanitizer can't run under valgrind";
    }
  }

  static ChildResult checked(const Steps& steps) {
    const LinkedModel model;
    // Idle threads sleep: valgrind runs one thread at a time, and others would wait for a busy one.
    // Short blocks: valgrind 3.19 fails on 60 instructions that keep all AVX registers busy.
    const Environment environment = {{"TMPDIR", model.temporaryFolder()},
                                     {"OMP_NUM_THREADS", "3"},
                                     {"OMP_WAIT_POLICY", "passive"}};
    return runChild(
        FACEFEATURE_VALGRIND,
        joined({{"--quiet", "--tool=memcheck", "--track-origins=yes", "--vex-guest-max-insns=20",
                 "--error-exitcode=" + std::to_string(kErrorFound), FACEFEATURE_HOST_PROBE,
                 FACEFEATURE_LIBRARY},
                steps}),
        environment);
  }
};

// The probe prints every bit of both features and of the score; printing branches on each.
TEST_F(Memcheck, NoUninitialisedMemoryIsRead) {
  const ChildResult result =
      checked({"load",    "create",  "a",          "create",  "b", "extract",     "a",     "face",
               "extract", "b",       "other-face", "extract", "b", "one-too-few", "score", "a",
               "a",       "destroy", "a",          "destroy", "b", "unload"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_TRUE(result.err.empty()) << result.err;
  const std::vector<std::string> lines = linesOf(result.out);
  ASSERT_EQ(6u, lines.size()) << result.out.substr(0, 200);
  EXPECT_EQ(0u, lines[2].find("a feature "));
  EXPECT_EQ(0u, lines[3].find("b feature "));
  EXPECT_EQ("b nan", lines[4]);
  EXPECT_EQ(0u, lines[5].find("score "));
}

// Whether a report begins in the code that prints a feature, under either name: the one function
// may be inlined into the other.
bool isReportedAtThePrinting(const std::string& reports) {
  for (const std::string& line : linesOf(reports)) {
    if (line.find(" at 0x") == std::string::npos) continue;
    if (line.find("described") != std::string::npos) return true;
    if (line.find("extractVariant") != std::string::npos) return true;
  }
  return false;
}

// That the checker says nothing means something: it follows what nobody wrote from the photograph
// through nets and projection to the printed feature.
TEST_F(Memcheck, DetectsAFeatureOfAnUninitialisedPhotograph) {
  const ChildResult result = checked(
      {"load", "create", "a", "extract", "a", "unwritten-photograph", "destroy", "a", "unload"});
  EXPECT_EQ(kErrorFound, result.exitStatus);
  EXPECT_NE(std::string::npos, result.err.find("uninitialised value"));
  EXPECT_TRUE(isReportedAtThePrinting(result.err)) << result.err;
}

}  // namespace
}  // namespace facefeature_test
