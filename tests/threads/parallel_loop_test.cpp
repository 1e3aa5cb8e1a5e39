// The loop over the nets, in teams of every size.
#include <gtest/gtest.h>
#include <omp.h>

#include <vector>

#include "engine/feature_engine.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"
#include "threads/concurrent_run.h"
#include "threads/race_checker.h"

namespace facefeature_test {
namespace {

// One, fewer than nets, one for each net, more than nets.
const std::vector<int> kTeams = {1, 2, 7, 25, 40};

TEST(TeamSize, ChangesNoBit) {
  haveModelForThreads();
  SeededRandom random;
  Request request = randomRequest(random);
  const OwnEngine engine;
  omp_set_num_threads(1);
  const std::vector<float> wanted = extracted(engine.get(), request);
  for (const int team : kTeams) {
    omp_set_num_threads(team);
    for (int round = 0; round < 3; ++round) {
      EXPECT_TRUE(sameFloats(wanted.data(), extracted(engine.get(), request).data(), 502))
          << team << " threads, round " << round;
    }
    EXPECT_EQ(team, omp_get_max_threads()) << "the host's setting was changed";
  }
}

// The setting belongs to each host thread, and the teams work side by side.
TEST(TeamSize, MayDifferBetweenThreadsOfTheHost) {
  haveModelForThreads();
  SeededRandom random;
  const Request request = randomRequest(random);
  const std::vector<OwnEngine> engines(kTeams.size());
  Request first = request;
  const std::vector<float> wanted = extracted(engines[0].get(), first);
  std::vector<std::vector<float>> got(kTeams.size());
  runConcurrently(kTeams.size(), [&](size_t t) {
    Request own = request;
    omp_set_num_threads(kTeams[t]);
    for (int round = 0; round < 2; ++round) got[t] = extracted(engines[t].get(), own);
  });
  for (size_t t = 0; t < kTeams.size(); ++t) {
    EXPECT_TRUE(sameFloats(wanted.data(), got[t].data(), 502)) << kTeams[t] << " threads";
  }
}

// An extraction inside a parallel loop of the host: its nets run on the calling thread.
TEST(TeamSize, InsideAParallelLoopOfTheHostIsOneAndChangesNoBit) {
  haveModelForThreads();
  SeededRandom random;
  const Request request = randomRequest(random);
  constexpr int kEngines = 4;
  const std::vector<OwnEngine> engines(kEngines);
  Request first = request;
  const std::vector<float> wanted = extracted(engines[0].get(), first);
  std::vector<std::vector<float>> got(kEngines);
#pragma omp parallel for num_threads(kEngines) schedule(static)
  for (int i = 0; i < kEngines; ++i) {
    Request own = request;
    const size_t index = static_cast<size_t>(i);
    got[index] = extracted(engines[index].get(), own);
  }
  for (const std::vector<float>& feature : got) {
    EXPECT_TRUE(sameFloats(wanted.data(), feature.data(), 502));
  }
}

}  // namespace
}  // namespace facefeature_test
