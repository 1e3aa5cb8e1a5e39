// A host that forks, and the engines and threads of its children.
#include <gtest/gtest.h>

#include <string>

#include "host/linked_model.h"
#include "host/probe_run.h"

namespace facefeature_test {
namespace {

const Steps kCreate = {"create", "a"};
const Steps kExtract = {"extract", "a", "face"};
const Steps kDestroy = {"destroy", "a"};

TEST(Forking, BeforeTheFirstExtractionBothSidesExtract) {
  const LinkedModel model;
  const std::string line = "a " + goodFeature() + "\n";
  EXPECT_EQ("a made\nthreads 1\n" + line + line + "child 0\n" + line + line,
            outputOf(runProbe(model,
                              joined({{"load"},
                                      kCreate,
                                      {"threads", "fork"},
                                      kExtract,
                                      kExtract,
                                      kDestroy,
                                      {"unload", "join"},
                                      kExtract,
                                      kExtract,
                                      kDestroy,
                                      {"unload"}}),
                              withThreads(4))));
}

TEST(Forking, EveryOneOfSeveralChildrenExtracts) {
  const LinkedModel model;
  const std::string line = "a " + goodFeature() + "\n";
  const Steps child = joined({{"fork"}, kExtract, {"join"}});
  EXPECT_EQ(
      "a made\n" + line + "child 0\n" + line + "child 0\n" + line + "child 0\n" + line,
      outputOf(runProbe(model, joined({{"load"}, kCreate, child, child, child, kExtract, kDestroy}),
                        withThreads(4, leaksAllowed()))));
}

// The destruction ends the worker threads, so a child has none to wait for.
TEST(Forking, AfterTheLastDestructionAChildBeginsAnew) {
  const LinkedModel model;
  const std::string once = "a made\na " + goodFeature() + "\n";
  const Steps round = joined({kCreate, kExtract, kDestroy});
  EXPECT_EQ(once + once + "child 0\n" + once,
            outputOf(runProbe(
                model, joined({{"load"}, round, {"fork"}, round, {"join"}, round, {"unload"}}),
                withThreads(4))));
}

// The child's engine is the most recent, and the runtime still waits for the parent's worker
// threads.
TEST(Forking, AnEngineOfAChildCanBeDestroyedAfterItsParentsExtraction) {
  const LinkedModel model;
  const std::string feature = "a " + goodFeature() + "\n";
  EXPECT_EQ("a made\n" + feature + "b made\nchild 0\nb made\n",
            outputOf(runProbe(model,
                              joined({{"load"},
                                      kCreate,
                                      kExtract,
                                      {"fork"},
                                      {"create", "b"},
                                      {"destroy", "b"},
                                      kDestroy,
                                      {"join"},
                                      {"create", "b"},
                                      {"destroy", "b"},
                                      kDestroy,
                                      {"unload"}}),
                              withThreads(2, leaksAllowed()))));
}

// The runtime would wait for the parent's worker threads, which do not exist in a child. So would a
// leak checker in the child.
TEST(Fork, AfterAnExtractionAChildCanStillDestroyTheEngine) {
  const LinkedModel model;
  const std::string feature = goodFeature();
  EXPECT_EQ("a made\na " + feature + "\nchild 0\na " + feature + "\n",
            outputOf(runProbe(model,
                              joined({{"load"},
                                      kCreate,
                                      kExtract,
                                      {"fork"},
                                      kDestroy,
                                      {"join"},
                                      kExtract,
                                      kDestroy,
                                      {"unload"}}),
                              withThreads(2, leaksAllowed()))));
}

}  // namespace
}  // namespace facefeature_test
