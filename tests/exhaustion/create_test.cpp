// Memory that runs out while an engine is being created, at each of its ten thousand requests in
// turn.
//
// What a failed creation leaks: the engine's record, the nets that were already built, and what the
// net under construction had allocated (its layers, the matrices and lists of the layer being
// built, the pool and the sections of a text being parsed). Nobody owns them when the exception
// leaves, and code that frees them on the way would run in no other case. The three buffers of the
// model and the documents of the other nets belong to the module, and the next creation replaces
// them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "exhaustion/exhausted_host.h"
#include "support/model_folder.h"
#include "support/synthetic_folder.h"

namespace facefeature_test {
namespace {

constexpr int64_t kRecordBytes = 102600;  // two faces and 25 pointers: the first thing that leaks

class CreationWithoutMemory : public ExhaustedHost {
 protected:
  // The number of requests of a creation that succeeds, in a process whose documents are still
  // empty.
  std::vector<WatchedRequest> requestsOfACreation() {
    std::vector<WatchedRequest> requests(20000);
    FeatureEngine* engine = nullptr;
    int64_t count = 0;
    {
      const RequestWatch watch(requests.data(), static_cast<int64_t>(requests.size()));
      EXPECT_EQ(Ending::kDone, create(engine));
      count = FailingMemory::requests();
    }
    library.destroy(engine);
    EXPECT_LT(count, 20000);
    requests.resize(static_cast<size_t>(count));
    return requests;
  }

  // Fails each of these requests in turn in one process, which then creates an engine and a
  // feature.
  std::string faultOfAttempts(const std::vector<int64_t>& failingRequests, FailingFor length) {
    const int64_t files = openFiles();
    for (const int64_t failing : failingRequests) {
      FeatureEngine* engine = nullptr;
      const std::string at = " at request " + std::to_string(failing) + "\n";
      if (create(engine, MemorySource::kNew, failing, length) != Ending::kOutOfMemory) {
        return "no std::bad_alloc" + at;
      }
      if (!FailingMemory::hasFailed()) return "nothing failed" + at;
      if (openFiles() != files) return "a file stays open" + at;
    }
    return faultOfAnotherRound();
  }

  // In groups, each in its own child process: the leaks would otherwise add up to gigabytes.
  void expectGoodAttempts(const std::vector<int64_t>& failingRequests, size_t groupSize) {
    for (size_t first = 0; first < failingRequests.size(); first += groupSize) {
      const auto begin = failingRequests.begin() + static_cast<long>(first);
      const size_t size = std::min(groupSize, failingRequests.size() - first);
      const std::vector<int64_t> group(begin, begin + static_cast<long>(size));
      expectGoodEnd(inChild([&] { return faultOfAttempts(group, FailingFor::kOnce); }));
    }
  }
};

// The indices `first`, `first` + step and so on of the requests to fail.
std::vector<int64_t> everyOf(int64_t first, int64_t last, int64_t step) {
  std::vector<int64_t> failingRequests;
  for (int64_t failing = first; failing <= last; failing += step)
    failingRequests.push_back(failing);
  return failingRequests;
}

int64_t requestOfEngineRecord(const std::vector<WatchedRequest>& requests) {
  const auto record =
      std::find_if(requests.begin(), requests.end(),
                   [](const WatchedRequest& request) { return request.bytes == kRecordBytes; });
  EXPECT_NE(requests.end(), record);
  return record - requests.begin() + 1;
}

// The library's C++ code must call the host's operator new: if the symbol were bound inside the
// library, nothing would ever fail here.
TEST_F(CreationWithoutMemory, TheLibraryTakesItsMemoryFromTheHostsOperators) {
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  EXPECT_GT(requests.size(), 5000u);
  const auto isProjection = [](const WatchedRequest& asked) { return asked.bytes == 16000000; };
  EXPECT_EQ(2, std::count_if(requests.begin(), requests.end(), isProjection));
}

// Every request up to the end of the second net, then one in 61: all 25 nets allocate alike.
TEST_F(CreationWithoutMemory, AnyFailedRequestIsBadAllocAndTheNextCreationSucceeds) {
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  const int64_t count = static_cast<int64_t>(requests.size());
  const int64_t record = requestOfEngineRecord(requests);
  const int64_t twoNets = record + 2 * (count - record) / 25;
  expectGoodAttempts(everyOf(1, twoNets, 1), 90);
  expectGoodAttempts(everyOf(twoNets, count - 20, 61), 30);
  expectGoodAttempts(everyOf(count - 19, count, 1), 20);
}

// From this request on every request fails, including those made while the stack unwinds.
TEST_F(CreationWithoutMemory, APermanentFailureIsBadAllocToo) {
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  const int64_t count = static_cast<int64_t>(requests.size());
  const std::vector<int64_t> failingRequests = everyOf(1, count, 211);
  expectGoodEnd(inChild([&] { return faultOfAttempts(failingRequests, FailingFor::kGood); }));
}

// If the C library's memory is exhausted too, opening a file may be the first thing to fail.
TEST_F(CreationWithoutMemory, WithNoMemoryOfAnyKindItIsNullOrBadAlloc) {
  expectGoodEnd(inChild([&]() -> std::string {
    for (int64_t failing = 1; failing < 9000; failing += 97) {
      FeatureEngine* engine = nullptr;
      const Ending ending = create(engine, MemorySource::kHeap, failing, FailingFor::kGood);
      if (ending == Ending::kDone) return "an engine without memory\n";
    }
    return faultOfAnotherRound();
  }));
}

// Leaks of the attempts would add up; the module itself holds the same number of blocks throughout.
TEST_F(CreationWithoutMemory, BeforeTheEnginesRecordNothingIsLost) {
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  const int64_t record = requestOfEngineRecord(requests);
  const int64_t before = liveBlocks();
  for (int64_t failing = 1; failing <= record; ++failing) {
    FeatureEngine* engine = nullptr;
    ASSERT_EQ(Ending::kOutOfMemory, create(engine, MemorySource::kNew, failing)) << failing;
  }
  ASSERT_EQ("", faultOfAnotherRound());
  EXPECT_EQ(before, liveBlocks());
}

// The library is reloaded each time, so that no document holds memory before the attempt.
TEST_F(CreationWithoutMemory, AfterTheEnginesRecordNoMoreIsLostThanWasAllocated) {
  library.unload();
  library.load();
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  const int64_t count = static_cast<int64_t>(requests.size());
  for (const int64_t failing : everyOf(requestOfEngineRecord(requests), count, 331)) {
    SCOPED_TRACE(failing);
    const int64_t had =
        requests[static_cast<size_t>(failing - 1)].liveBlocks - requests[0].liveBlocks;
    expectGoodEnd(inChild([&]() -> std::string {
      library.unload();
      library.load();
      const int64_t before = liveBlocks();
      FeatureEngine* engine = nullptr;
      if (create(engine, MemorySource::kNew, failing) != Ending::kOutOfMemory)
        return "no failure\n";
      const int64_t lost = liveBlocks() - before;
      if (lost <= had) return "";
      return std::to_string(lost) + " blocks stand, of " + std::to_string(had) + "\n";
    }));
  }
}

// Opening a file takes a little of the C library's memory. A file that can't be opened is treated
// as missing, whatever the reason: an engine file gives null, a layer file its line and an engine
// without that file.
TEST_F(CreationWithoutMemory, AFileThatCannotBeOpenedForLackOfMemoryIsAMissingFile) {
  const std::vector<ModelFile>& files = modelFiles();
  for (size_t file = 0; file < files.size(); file += file < 30 ? 1 : 13) {
    SCOPED_TRACE(files[file].name);
    const bool isLayers = files[file].format == ModelFileFormat::kMatrix;
    FeatureEngine* engine = nullptr;
    ::testing::internal::CaptureStdout();
    const Ending ending = create(engine, MemorySource::kMalloc, static_cast<int64_t>(file) + 1);
    std::fflush(stdout);
    EXPECT_EQ(isLayers ? "load " + modelFolder() + "/" + files[file].name + " failed\n" : "",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(isLayers ? Ending::kDone : Ending::kNull, ending);
    library.destroy(engine);
  }
  EXPECT_EQ("", faultOfAnotherRound());
}

}  // namespace
}  // namespace facefeature_test
