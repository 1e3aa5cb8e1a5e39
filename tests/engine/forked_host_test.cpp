// A host that forks after creating its engine and before using it.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>

#include "engine/feature_engine.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

TEST(ExtractFeatureDeathTest, AHostMayForkBetweenCreationAndItsFirstExtraction) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  const auto forkAndExtract = [&] {
    const OwnEngine engine;
    const pid_t child = fork();
    if (child == 0) {
      alarm(60);
      _exit(std::isnan(extracted(engine.get(), request)[501]) ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    const bool good = WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
                      !std::isnan(extracted(engine.get(), request)[501]);
    _exit(good ? 0 : 1);
  };
  EXPECT_EXIT(forkAndExtract(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace facefeature_test
