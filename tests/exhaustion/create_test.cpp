// Memory that runs out while an engine is made, at each of the ten thousand places in turn.
//
// What a failed creation keeps for good: the engine's record, the nets that were built and what the
// net under construction had (its layers, the matrices and lists of the layer that was being made,
// the pool and the sections of a text that was being parsed). They are in nobody's hands when the
// exception leaves; freeing them on the way would be code that runs only then. The three buffers of
// the model and the documents of the other nets are the module's, and the next creation replaces
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

constexpr int64_t kRecordBytes = 102600;  // two faces and 25 pointers: the first of what is lost

class CreationWithoutMemory : public ExhaustedHost {
 protected:
  // The requests of a creation that goes well, in a process whose documents are still empty.
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

  // Fails at each of these requests in one process, which makes an engine and a feature in the end.
  std::string faultOfAttempts(const std::vector<int64_t>& places, FailingFor length) {
    const int64_t files = openFiles();
    for (const int64_t place : places) {
      FeatureEngine* engine = nullptr;
      const std::string at = " at request " + std::to_string(place) + "\n";
      if (create(engine, MemorySource::kNew, place, length) != Ending::kOutOfMemory) {
        return "no std::bad_alloc" + at;
      }
      if (!FailingMemory::hasFailed()) return "nothing failed" + at;
      if (openFiles() != files) return "a file stays open" + at;
    }
    return faultOfAnotherRound();
  }

  // In groups, each in a child: what the attempts lose would add up to gigabytes.
  void expectGoodAttempts(const std::vector<int64_t>& places, size_t groupSize) {
    for (size_t first = 0; first < places.size(); first += groupSize) {
      const auto begin = places.begin() + static_cast<long>(first);
      const size_t size = std::min(groupSize, places.size() - first);
      const std::vector<int64_t> group(begin, begin + static_cast<long>(size));
      expectGoodEnd(inChild([&] { return faultOfAttempts(group, FailingFor::kOnce); }));
    }
  }
};

// The places of the requests whose number is `first`, `first` + step and so on.
std::vector<int64_t> everyOf(int64_t first, int64_t last, int64_t step) {
  std::vector<int64_t> places;
  for (int64_t place = first; place <= last; place += step) places.push_back(place);
  return places;
}

int64_t placeOfTheRecord(const std::vector<WatchedRequest>& requests) {
  const auto record =
      std::find_if(requests.begin(), requests.end(),
                   [](const WatchedRequest& request) { return request.bytes == kRecordBytes; });
  EXPECT_NE(requests.end(), record);
  return record - requests.begin() + 1;
}

// The C++ of the library asks the operators of its host: were they bound within it, nothing would
// ever fail here.
TEST_F(CreationWithoutMemory, TheLibraryTakesItsMemoryFromTheHostsOperators) {
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  EXPECT_GT(requests.size(), 5000u);
  const auto isProjection = [](const WatchedRequest& asked) { return asked.bytes == 16000000; };
  EXPECT_EQ(2, std::count_if(requests.begin(), requests.end(), isProjection));
}

// Every request as far as the end of the second net, then one in 61: the 25 nets ask alike.
TEST_F(CreationWithoutMemory, AnyFailedRequestLeavesItAsBadAllocAndTheNextOneIsGood) {
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  const int64_t count = static_cast<int64_t>(requests.size());
  const int64_t record = placeOfTheRecord(requests);
  const int64_t twoNets = record + 2 * (count - record) / 25;
  expectGoodAttempts(everyOf(1, twoNets, 1), 90);
  expectGoodAttempts(everyOf(twoNets, count - 20, 61), 30);
  expectGoodAttempts(everyOf(count - 19, count, 1), 20);
}

// Nothing more is to be had from there on, not even for what is done on the way out.
TEST_F(CreationWithoutMemory, AFailureThatLastsLeavesItAsBadAllocToo) {
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  const int64_t count = static_cast<int64_t>(requests.size());
  const std::vector<int64_t> places = everyOf(1, count, 211);
  expectGoodEnd(inChild([&] { return faultOfAttempts(places, FailingFor::kGood); }));
}

// With the C library's memory gone as well, a file may be what can't be opened first.
TEST_F(CreationWithoutMemory, WithNoMemoryOfAnyKindItIsNullOrBadAlloc) {
  expectGoodEnd(inChild([&]() -> std::string {
    for (int64_t place = 1; place < 9000; place += 97) {
      FeatureEngine* engine = nullptr;
      const Ending ending = create(engine, MemorySource::kHeap, place, FailingFor::kGood);
      if (ending == Ending::kDone) return "an engine without memory\n";
    }
    return faultOfAnotherRound();
  }));
}

// What each attempt loses would add up; what the module holds is as many blocks before and after.
TEST_F(CreationWithoutMemory, AheadOfTheEnginesRecordNothingIsLost) {
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  const int64_t record = placeOfTheRecord(requests);
  const int64_t before = standingBlocks();
  for (int64_t place = 1; place <= record; ++place) {
    FeatureEngine* engine = nullptr;
    ASSERT_EQ(Ending::kOutOfMemory, create(engine, MemorySource::kNew, place)) << place;
  }
  ASSERT_EQ("", faultOfAnotherRound());
  EXPECT_EQ(before, standingBlocks());
}

// The library is loaded anew each time, so that no document holds anything ahead of the attempt.
TEST_F(CreationWithoutMemory, BehindItNoMoreIsLostThanHadBeenAllocated) {
  library.unload();
  library.load();
  const std::vector<WatchedRequest> requests = requestsOfACreation();
  const int64_t count = static_cast<int64_t>(requests.size());
  for (const int64_t place : everyOf(placeOfTheRecord(requests), count, 331)) {
    SCOPED_TRACE(place);
    const int64_t had =
        requests[static_cast<size_t>(place - 1)].standingBlocks - requests[0].standingBlocks;
    expectGoodEnd(inChild([&]() -> std::string {
      library.unload();
      library.load();
      const int64_t before = standingBlocks();
      FeatureEngine* engine = nullptr;
      if (create(engine, MemorySource::kNew, place) != Ending::kOutOfMemory) return "no failure\n";
      const int64_t lost = standingBlocks() - before;
      if (lost <= had) return "";
      return std::to_string(lost) + " blocks stand, of " + std::to_string(had) + "\n";
    }));
  }
}

// To open a file takes a little of the C library's memory, and one that can't be opened is missing,
// whatever the reason: the engine's own gives null, a layer's its line and an engine without it.
TEST_F(CreationWithoutMemory, AFileThatCannotBeOpenedForWantOfItIsAMissingFile) {
  const std::vector<ModelFile>& files = modelFiles();
  for (size_t place = 0; place < files.size(); place += place < 30 ? 1 : 13) {
    SCOPED_TRACE(files[place].name);
    const bool isLayers = files[place].form == ModelFileForm::kMatrix;
    FeatureEngine* engine = nullptr;
    ::testing::internal::CaptureStdout();
    const Ending ending = create(engine, MemorySource::kMalloc, static_cast<int64_t>(place) + 1);
    std::fflush(stdout);
    EXPECT_EQ(isLayers ? "load " + modelFolder() + "/" + files[place].name + " failed\n" : "",
              ::testing::internal::GetCapturedStdout());
    EXPECT_EQ(isLayers ? Ending::kDone : Ending::kNull, ending);
    library.destroy(engine);
  }
  EXPECT_EQ("", faultOfAnotherRound());
}

}  // namespace
}  // namespace facefeature_test
