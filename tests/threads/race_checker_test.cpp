// The race checker itself. Its silence about the library means something only if it sees the order
// that the OpenMP runtime imposes, detects what is unordered, and the library is built for it.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "engine/build_patch_matrices.h"
#include "engine/feature_engine.h"
#include "geometry/patch_table.h"
#include "net/conv_net.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"
#include "threads/concurrent_run.h"
#include "threads/race_checker.h"

namespace facefeature_test {
namespace {

// The exit status with which the checker ends a process at its first report.
constexpr int kRaceFound = 66;

constexpr char kNoChecker[] = "this build has no checker of races; the preset tsan has";

// Ends the process with success.
void writeFromAllIterations() {
  int32_t last = 0;
#pragma omp parallel for num_threads(2) schedule(static)
  for (int32_t i = 0; i < 1000; ++i) last = i;
  std::exit(last < 0 ? 1 : 0);
}

TEST(RaceCheckerDeathTest, SeesIterationsThatWriteToOneVariable) {
  if (!kChecksRaces) GTEST_SKIP() << kNoChecker;
  EXPECT_EXIT(writeFromAllIterations(), ::testing::ExitedWithCode(kRaceFound), "data race");
}

// As in the loop over the nets, where millions of other accesses separate these two. A checker that
// has forgotten where the first one came from reports nothing.
void countTheNetsOfALoop() {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  const OwnEngine engine;
  std::vector<facefeature::Matrix*>* const patches = facefeature::BuildPatchMatrices(
      engine.get(), request.picture.pixels(), request.picture.width, request.picture.height,
      request.picture.stride, nullptr, request.face.set());
  int32_t count = 0;
#pragma omp parallel for num_threads(2) schedule(static)
  for (int32_t i = 0; i < facefeature::kPatchCount; ++i) {
    engine->nets[i]->forward(*patches);
    ++count;
  }
  std::exit(count < 0 ? 1 : 0);
}

TEST(RaceCheckerDeathTest, RemembersAcrossAWholeNet) {
  if (!kChecksRaces) GTEST_SKIP() << kNoChecker;
  EXPECT_EXIT(countTheNetsOfALoop(), ::testing::ExitedWithCode(kRaceFound), "data race");
}

// Accesses ordered by the end of a parallel loop do not race. A checker that the runtime does not
// inform would report every loop.
TEST(RaceChecker, KnowsThatALoopEndsBeforeWhatFollows) {
  int32_t indices[8] = {};
  for (int32_t round = 0; round < 100; ++round) {
#pragma omp parallel for num_threads(4) schedule(static)
    for (int32_t i = 0; i < 8; ++i) indices[i] += i;
    for (int32_t& index : indices) ++index;
  }
  EXPECT_EQ(100, indices[0]);
  EXPECT_EQ(800, indices[7]);
}

void extractTwiceAtOnceWithOneEngine() {
  haveModel();
  SeededRandom random;
  const Request request = randomRequest(random);
  const OwnEngine engine;
  runConcurrently(2, [&](size_t) {
    Request own = request;
    extracted(engine.get(), own);
  });
  std::exit(0);
}

// The table in the header forbids it.
TEST(RaceCheckerDeathTest, SeesTwoExtractionsWithOneEngine) {
  if (!kChecksRaces) GTEST_SKIP() << kNoChecker;
  EXPECT_EXIT(extractTwiceAtOnceWithOneEngine(), ::testing::ExitedWithCode(kRaceFound),
              "data race(.|\n)*facefeature::");
}

}  // namespace
}  // namespace facefeature_test
