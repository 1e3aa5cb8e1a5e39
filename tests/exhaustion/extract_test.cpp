// Memory that runs out during an extraction. Before the parallel loop the exception leaves the
// call. No exception may leave the loop: inside it, and in the runtime that starts it, the process
// ends.
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "exhaustion/exhausted_host.h"

namespace facefeature_test {
namespace {

class ExtractionWithoutMemory : public ExhaustedHost {
 protected:
  void SetUp() override {
    ExhaustedHost::SetUp();
    engine = library.create();
    ASSERT_NE(nullptr, engine);
  }
  void TearDown() override {
    library.destroy(engine);
    ExhaustedHost::TearDown();
  }

  // One attempt in a child, after the given number of successful extractions. A std::bad_alloc
  // leaves the feature unchanged, leaks nothing, and the engine stays usable; returns "done" if
  // nothing failed.
  ChildEnd attempt(MemorySource source, int64_t failing, FailingFor length = FailingFor::kOnce,
                   int32_t goodOnes = 0) {
    return inChild([&]() -> std::string {
      for (int32_t i = 0; i < goodOnes; ++i) extract(engine);
      const int64_t blocks = liveBlocks();
      const Ending ending = extract(engine, source, failing, length);
      if (!FailingMemory::hasFailed()) return "done";
      if (ending == Ending::kDone) return "no std::bad_alloc\n";
      if (!featureIsClear()) return "the feature was written\n";
      if (liveBlocks() != blocks) return "memory was lost\n";
      return faultOfAnotherExtraction(engine);
    });
  }

  // Fails each request before the loop in turn, then one in `step` of those inside it. The two
  // counts are lower bounds for the number of requests of each kind.
  void expectBadAllocAndThenTheEnd(FailingFor length, int32_t goodOnes, int64_t step,
                                   int64_t leastAhead, int64_t leastWithin) {
    int64_t failing = 1;
    ChildEnd end = attempt(MemorySource::kNew, failing, length, goodOnes);
    while (end.signal == 0 && end.err != "done") {
      ASSERT_NO_FATAL_FAILURE(expectGoodEnd(end)) << failing;
      end = attempt(MemorySource::kNew, ++failing, length, goodOnes);
    }
    EXPECT_GT(failing, leastAhead);
    int64_t ends = 0;
    while (end.err != "done") {
      ASSERT_EQ(SIGABRT, end.signal) << failing << " " << end.err;
      // A second thread that fails as well may cut off the first one's message.
      ASSERT_NE(std::string::npos, end.err.find("terminate called")) << failing << " " << end.err;
      failing += ends++ < 30 ? 1 : step;
      end = attempt(MemorySource::kNew, failing, length, goodOnes);
    }
    EXPECT_GT(ends, leastWithin);
  }

  FeatureEngine* engine = nullptr;
};

TEST_F(ExtractionWithoutMemory, BeforeTheNetsItIsBadAllocAndInThemTheProcessTerminates) {
  expectBadAllocAndThenTheEnd(FailingFor::kOnce, 0, 41, 50, 40);
}

TEST_F(ExtractionWithoutMemory, TheSameHoldsInALaterExtractionWhenTheNetsHaveTheirStorage) {
  expectBadAllocAndThenTheEnd(FailingFor::kOnce, 1, 1, 50, 40);
}

TEST_F(ExtractionWithoutMemory, TheSameHoldsForAPermanentFailure) {
  expectBadAllocAndThenTheEnd(FailingFor::kGood, 0, 61, 50, 35);
}

// The photograph is read in place. The only requests are those for the work of the 25 patches:
// about 1.2 MB for the nets' input and, at the first extraction, the nets' own storage.
TEST_F(ExtractionWithoutMemory, RequestsAreTheSameForEveryPicture) {
  constexpr int32_t kWidth = 4000;
  constexpr int32_t kHeight = 3000;
  const std::vector<uint8_t> large(size_t{3} * kWidth * kHeight, uint8_t{90});
  expectGoodEnd(inChild([&]() -> std::string {
    std::vector<WatchedRequest> small(5000), big(5000);
    extract(engine);
    size_t smallCount = 0, bigCount = 0;
    {
      const RequestWatch watch(small.data(), 5000);
      extract(engine);
      smallCount = static_cast<size_t>(FailingMemory::requests());
    }
    {
      const RequestWatch watch(big.data(), 5000);
      const FailingMemory memory(MemorySource::kNew);
      library.extract(engine, large.data(), kWidth, kHeight, 3 * kWidth, request.landmarks(),
                      feature.values);
      bigCount = static_cast<size_t>(FailingMemory::requests());
    }
    if (smallCount == 0 || smallCount != bigCount) return "another number of requests\n";
    int64_t smallBytes = 0, bigBytes = 0;
    for (const WatchedRequest& asked : small) smallBytes += asked.bytes;
    for (const WatchedRequest& asked : big) bigBytes += asked.bytes;
    if (smallBytes != bigBytes) return "another number of bytes\n";
    return bigBytes < 40000000 ? "" : std::to_string(bigBytes) + " bytes\n";
  }));
}

// std::stable_sort asks for a buffer that would help it, and works without.
TEST_F(ExtractionWithoutMemory, OptionalMemoryIsNotMissed) {
  expectGoodEnd(inChild([&]() -> std::string {
    if (extract(engine, MemorySource::kQuietNew, 1, FailingFor::kGood) != Ending::kDone) {
      return "it was missed\n";
    }
    if (!FailingMemory::hasFailed()) return "nobody asked\n";
    return std::memcmp(&feature, &goodFeature, sizeof feature) == 0 ? "" : "another feature\n";
  }));
}

// The OpenMP runtime prints a message and calls exit(1).
TEST_F(ExtractionWithoutMemory, TheLoopThatCannotBeStartedTerminatesTheProcess) {
  int64_t failing = 1;
  ChildEnd end = attempt(MemorySource::kMalloc, failing);
  while (end.err != "done") {
    EXPECT_EQ(1, end.exitStatus) << failing << " " << end.err;
    EXPECT_NE(std::string::npos, end.err.find("libgomp: ")) << failing << " " << end.err;
    end = attempt(MemorySource::kMalloc, ++failing);
  }
  EXPECT_GT(failing, 1);
}

TEST_F(ExtractionWithoutMemory, AThreadThatCannotBeStartedTerminatesTheProcess) {
  const ChildEnd end = attempt(MemorySource::kThread, 1);
  if (end.err == "done") GTEST_SKIP() << "an extraction starts no threads here";
  EXPECT_EQ(1, end.exitStatus);
  EXPECT_NE(std::string::npos, end.err.find("libgomp: Thread creation failed")) << end.err;
}

}  // namespace
}  // namespace facefeature_test
