// The calls that allocate nothing, and the loading of the library.
#include <cmath>
#include <csignal>
#include <cstdint>
#include <string>

#include "exhaustion/exhausted_host.h"

namespace facefeature_test {
namespace {

class WithoutMemory : public ExhaustedHost {};

// A host whose memory has run out frees some.
TEST_F(WithoutMemory, AnEngineCanBeDestroyed) {
  FeatureEngine* engine = library.create();
  const int64_t blocks = liveBlocks();
  expectGoodEnd(inChild([&]() -> std::string {
    {
      const FailingMemory memory(MemorySource::kHeap, 1, FailingFor::kGood);
      library.destroy(engine);
    }
    if (liveBlocks() >= blocks) return "nothing was freed\n";
    return faultOfAnotherRound();
  }));
  library.destroy(engine);
}

TEST_F(WithoutMemory, AnEngineWithWorkerThreadsCanBeDestroyed) {
  expectGoodEnd(inChild([&]() -> std::string {
    FeatureEngine* const engine = library.create();
    extract(engine);
    {
      const FailingMemory memory(MemorySource::kHeap, 1, FailingFor::kGood);
      library.destroy(engine);
    }
    return faultOfAnotherRound();
  }));
}

TEST_F(WithoutMemory, FeaturesCanBeCompared) {
  const float score = library.compare(&goodFeature, &goodFeature);
  const FailingMemory memory(MemorySource::kHeap, 1, FailingFor::kGood);
  EXPECT_EQ(score, library.compare(&goodFeature, &goodFeature));
  EXPECT_FALSE(FailingMemory::hasFailed());
}

TEST_F(WithoutMemory, ARequestIsStillRejected) {
  FeatureEngine* const engine = library.create();
  {
    const FailingMemory memory(MemorySource::kHeap, 1, FailingFor::kGood);
    library.extract(engine, nullptr, 100, 100, 300, request.landmarks(), feature.values);
    EXPECT_FALSE(FailingMemory::hasFailed());
  }
  for (const float value : feature.values) EXPECT_TRUE(std::isnan(value));
  library.destroy(engine);
}

// Loading builds the names of the model folders, and no caller is there to catch an exception.
TEST_F(WithoutMemory, LoadingTheLibraryTerminatesTheProcess) {
  library.unload();
  for (int64_t failing = 1; failing <= 2; ++failing) {
    const ChildEnd end = inChild([&] {
      const FailingMemory memory(MemorySource::kNew, failing, FailingFor::kOnce);
      library.load();
      return "loaded\n";
    });
    EXPECT_EQ(SIGABRT, end.signal) << end.err;
    EXPECT_NE(std::string::npos, end.err.find("std::bad_alloc")) << end.err;
  }
  library.load();
}

}  // namespace
}  // namespace facefeature_test
