// Everything that the public header allows to run concurrently, on threads of the host.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <vector>

#include "engine/feature_engine.h"
#include "facefeature/batch.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"
#include "threads/concurrent_run.h"
#include "threads/race_checker.h"

namespace facefeature_test {
namespace {

FeatureVector asFeature(const std::vector<float>& values) {
  FeatureVector feature;
  std::memcpy(feature.values, values.data(), sizeof feature.values);
  return feature;
}

// Some faces, and the feature of each from an engine that works alone.
struct Faces {
  explicit Faces(size_t count) {
    haveModelForThreads();
    SeededRandom random;
    const OwnEngine alone;
    for (size_t i = 0; i < count; ++i) {
      requests.push_back(randomRequest(random));
      wanted.push_back(extracted(alone.get(), requests.back()));
      features.push_back(asFeature(wanted.back()));
    }
  }

  // Whether this engine gives the same feature for face i. The request is copied, since packing a
  // record writes to it and threads share these.
  bool isMadeBy(FeatureEngine* engine, size_t i) const {
    Request own = requests[i];
    return sameFloats(wanted[i].data(), extracted(engine, own).data(), 502);
  }

  std::vector<Request> requests;
  std::vector<std::vector<float>> wanted;
  std::vector<FeatureVector> features;
};

TEST(ConcurrentCalls, EnginesOfManyThreadsGiveTheBitsOfOneThatWorksAlone) {
  const Faces faces(3);
  constexpr size_t kThreads = 8, kRounds = 4;
  const std::vector<OwnEngine> engines(kThreads);
  std::atomic<int> wrong{0};
  runConcurrently(kThreads, [&](size_t t) {
    for (size_t round = 0; round < kRounds; ++round) {
      if (!faces.isMadeBy(engines[t].get(), (t + round) % 3)) ++wrong;
    }
  });
  EXPECT_EQ(0, wrong);
}

TEST(ConcurrentCalls, ComparisonsOfTheSameFeaturesAreIndependent) {
  const Faces faces(2);
  const float wanted = facefeature::CompareFeatures(&faces.features[0], &faces.features[1]);
  std::atomic<int> wrong{0};
  runConcurrently(16, [&](size_t t) {
    const FeatureVector& a = faces.features[t % 2];
    const FeatureVector& b = faces.features[1 - t % 2];
    for (int round = 0; round < 200; ++round) {
      if (!sameBits(wanted, facefeature::CompareFeatures(&a, &b))) ++wrong;
    }
  });
  EXPECT_EQ(0, wrong);
}

// One thread creates and destroys engines and extracts in between; the others keep comparing.
TEST(ConcurrentCalls, ComparisonsRunBesideCreationsExtractionsAndDestructions) {
  const Faces faces(2);
  const float wanted = facefeature::CompareFeatures(&faces.features[0], &faces.features[1]);
  std::atomic<bool> atWork{true};
  std::atomic<int> wrong{0};
  runConcurrently(5, [&](size_t t) {
    if (t == 0) {
      for (int round = 0; round < 3; ++round) {
        const OwnEngine engine;
        if (!faces.isMadeBy(engine.get(), 0)) ++wrong;
      }
      atWork = false;
    }
    do {
      if (!sameBits(wanted, facefeature::CompareFeatures(&faces.features[0], &faces.features[1]))) {
        ++wrong;
      }
    } while (atWork);
  });
  EXPECT_EQ(0, wrong);
}

TEST(ConcurrentCalls, AnEngineMayBeCalledByAnotherThreadEachTime) {
  const Faces faces(2);
  std::unique_ptr<OwnEngine> engine;
  bool good = true;
  for (int life = 0; life < 2; ++life) {
    runOnOtherThread([&] { engine = std::make_unique<OwnEngine>(); });
    for (size_t i = 0; i < 2; ++i) {
      runOnOtherThread([&] { good = good && faces.isMadeBy(engine->get(), i); });
    }
    runOnOtherThread([&] { engine.reset(); });
  }
  EXPECT_TRUE(good);
}

TEST(ConcurrentCalls, BatchesOfManyThreadsGiveTheBitsOfOneEngine) {
  const Faces faces(3);
  constexpr size_t kThreads = 4;
  std::vector<FaceBatch*> batches(kThreads);
  for (FaceBatch*& batch : batches) ASSERT_EQ(kFaceBatchDone, CreateFaceBatch(&batch));
  std::atomic<int> wrong{0};
  runConcurrently(kThreads, [&](size_t t) {
    FeatureVector features[3];
    for (int round = 0; round < 2; ++round) {
      for (int32_t i = 0; i < 3; ++i) {
        Request own = faces.requests[(t + static_cast<size_t>(i)) % 3];
        if (PutFaceInBatch(batches[t], i, own.picture.pixels(), own.picture.width,
                           own.picture.height, own.picture.stride, own.face.set())) {
          ++wrong;
        }
      }
      if (ExtractFaceBatch(batches[t], 3, features) != kFaceBatchDone) ++wrong;
      for (size_t i = 0; i < 3; ++i) {
        if (!sameFloats(faces.wanted[(t + i) % 3].data(), features[i].values, 502)) ++wrong;
      }
    }
  });
  EXPECT_EQ(0, wrong);
  for (FaceBatch* batch : batches) DestroyFaceBatch(batch);
}

// The table in the header, enforced by one lock: extractions share it, creations and destructions
// hold it exclusively. Without a checker the last engine is destroyed occasionally, and with it the
// model.
TEST(ConcurrentCalls, EnginesAreCreatedAndDestroyedByThreadsThatKeepToTheTable) {
  const Faces faces(3);
  constexpr size_t kThreads = 6, kRounds = 3;
  std::shared_mutex creation;
  // In MinGW's thread library (winpthreads 10) a lock does not separate threads that are the first
  // to use it and arrive together: a destruction then ran beside an extraction.
  creation.lock();
  creation.unlock();
  std::atomic<int> wrong{0};
  runConcurrently(kThreads, [&](size_t t) {
    for (size_t round = 0; round < kRounds; ++round) {
      std::unique_ptr<OwnEngine> engine;
      {
        const std::unique_lock<std::shared_mutex> alone(creation);
        engine = std::make_unique<OwnEngine>();
      }
      {
        const std::shared_lock<std::shared_mutex> shared(creation);
        if (!faces.isMadeBy(engine->get(), (t + round) % 3)) ++wrong;
      }
      const std::unique_lock<std::shared_mutex> alone(creation);
      engine.reset();
    }
  });
  EXPECT_EQ(0, wrong);
}

// One engine for all threads, guarded by a lock of the host.
TEST(ConcurrentCalls, ThreadsTakeTurnsWithOneEngine) {
  const Faces faces(3);
  const OwnEngine engine;
  std::mutex turn;
  std::atomic<int> wrong{0};
  runConcurrently(4, [&](size_t t) {
    for (size_t round = 0; round < 3; ++round) {
      const std::lock_guard<std::mutex> lock(turn);
      if (!faces.isMadeBy(engine.get(), (t + round) % 3)) ++wrong;
    }
  });
  EXPECT_EQ(0, wrong);
}

// Only the workers of the thread that destroys the engine end; those of other threads remain.
TEST(ConcurrentCalls, TheLastDestructionOnAnotherThreadLeavesThisOneAbleToExtract) {
  const Faces faces(2);
  auto engine = std::make_unique<OwnEngine>();
  EXPECT_TRUE(faces.isMadeBy(engine->get(), 0));
  runOnOtherThread([&] { engine.reset(); });
  engine = std::make_unique<OwnEngine>();
  EXPECT_TRUE(faces.isMadeBy(engine->get(), 1));
}

// Ends the process with success.
void extractOnManyThreadsAndDestroyOnOne() {
  haveModel();
  SeededRandom random;
  const Request request = randomRequest(random);
  constexpr size_t kThreads = 4;
  std::vector<OwnEngine> engines(kThreads);
  runConcurrently(kThreads, [&](size_t t) {
    Request own = request;
    extracted(engines[t].get(), own);
  });
  runOnOtherThread([&] {
    for (OwnEngine& engine : engines) engine.destroy();
  });
  std::exit(0);
}

TEST(ConcurrentCallsDeathTest, TheLastDestructionMayComeFromAThreadThatNeverExtracted) {
  EXPECT_EXIT(extractOnManyThreadsAndDestroyOnOne(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace facefeature_test
