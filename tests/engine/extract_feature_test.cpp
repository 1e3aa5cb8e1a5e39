// Guarantees to the host other than the numbers: only the feature is written, and the same request
// gives the same bits under all circumstances.
#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "engine/feature_engine.h"
#include "support/bits.h"
#include "support/oracle_extraction.h"
#include "support/page_memory.h"
#include "support/reference_extract.h"
#include "support/seeded_random.h"
#include "support/tasks.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

// Threads that exist before any test runs: a sanitizer may have a thread. On Windows the test
// framework starts a thread with the first trace and keeps it.
size_t tasksAtStart() {
  SCOPED_TRACE("");
  return taskCount();
}

const size_t kTasksAtStart = tasksAtStart();

::testing::AssertionResult sameFeature(const std::vector<float>& wanted,
                                       const std::vector<float>& got) {
  return sameFloats(wanted.data(), got.data(), kFeatureFloats);
}

TEST(ExtractFeature, ANullEngineLeavesTheFeatureExactlyAsItWas) {
  SeededRandom random;
  Request request = randomRequest(random);
  EXPECT_EQ(std::vector<float>(kFeatureFloats, kUnwritten), extracted(nullptr, request));
  // Also if the request would otherwise be rejected.
  float feature[kFeatureFloats];
  std::memset(feature, 0x3C, sizeof feature);
  facefeature::ExtractFeature(nullptr, nullptr, 0, 0, 0, nullptr, feature);
  for (const float value : feature) EXPECT_BITS(0x3C3C3C3C, value);
}

TEST(ExtractFeature, ANullFeatureReturnsAtOnce) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  const OwnEngine engine;
  std::memset(engine->grayFace, 0xA5, sizeof engine->grayFace);
  std::memset(engine->colorFace, 0x5A, sizeof engine->colorFace);
  const FeatureEngine before = *engine.get();
  facefeature::ExtractFeature(engine.get(), request.picture.pixels(), request.picture.width,
                              request.picture.height, request.picture.stride, request.face.set(),
                              nullptr);
  facefeature::ExtractFeature(nullptr, nullptr, 0, 0, 0, nullptr, nullptr);
  EXPECT_EQ(0, std::memcmp(&before, engine.get(), sizeof before));
}

TEST(ExtractFeature, WritesThe502FloatsAndNothingOfTheRequest) {
  haveModel();
  SeededRandom random;
  const OwnEngine engine;
  Request request = randomRequest(random);
  const std::vector<uint8_t> picture = request.picture.storage;
  const LandmarkSet* set = request.face.set();
  const size_t bytes = 8 + sizeof(Landmark) * request.face.entries.size();
  std::vector<uint8_t> record(bytes);
  std::memcpy(record.data(), set, bytes);
  const std::vector<float> wanted = extracted(engine.get(), request);
  for (const float value : wanted) EXPECT_FALSE(std::isnan(value) || value == kUnwritten);

  // At every offset within a wide register.
  set = request.face.set();
  for (size_t shift = 1; shift < 9; ++shift) {
    std::vector<float> feature(kFeatureFloats + 16, kUnwritten);
    facefeature::ExtractFeature(engine.get(), request.picture.pixels(), request.picture.width,
                                request.picture.height, request.picture.stride, set,
                                feature.data() + shift);
    EXPECT_TRUE(sameFloats(wanted.data(), feature.data() + shift, kFeatureFloats));
    for (size_t i = 0; i < feature.size(); ++i) {
      if (i < shift || i >= shift + kFeatureFloats) {
        EXPECT_EQ(kUnwritten, feature[i]);
      }
    }
  }
  EXPECT_EQ(picture, request.picture.storage);
  EXPECT_EQ(0, std::memcmp(record.data(), set, bytes));
}

TEST(ExtractFeature, NoStateOfOneRunReachesTheNext) {
  haveModel();
  SeededRandom random;
  const OwnEngine engine;
  std::vector<Request> requests;
  for (const FaceKind kind :
       {FaceKind::kNoisy, FaceKind::kInfinite, FaceKind::kOnePoint, FaceKind::kTurned}) {
    requests.push_back(randomRequest(random, kind));
  }
  std::vector<std::vector<float>> wanted;
  for (Request& request : requests) {
    const OwnEngine fresh;
    wanted.push_back(extracted(fresh.get(), request));
  }
  for (int round = 0; round < 12; ++round) {
    const size_t which = static_cast<size_t>(random.integer(0, 3));
    // The frames are scratch: their content is overwritten before it is read.
    std::memset(engine->grayFace, 0xFF, sizeof engine->grayFace);
    std::memset(engine->colorFace, 0xFF, sizeof engine->colorFace);
    EXPECT_TRUE(sameFeature(wanted[which], extracted(engine.get(), requests[which])));
  }
}

TEST(ExtractFeature, ARejectedRequestDoesNotAffectTheNext) {
  haveModel();
  SeededRandom random;
  const OwnEngine engine;
  Request request = randomRequest(random);
  const std::vector<float> wanted = extracted(engine.get(), request);
  Request rejected = request;
  rejected.face.entries.clear();
  EXPECT_TRUE(std::isnan(extracted(engine.get(), rejected)[0]));
  EXPECT_TRUE(sameFeature(wanted, extracted(engine.get(), request)));
}

TEST(ExtractFeature, AnyNumberOfThreadsGivesTheSameBits) {
  haveModel();
  SeededRandom random;
  const int threads = omp_get_max_threads();
  const OwnEngine engine;
  Request request = randomRequest(random);
  const std::vector<float> wanted =
      extractedByOracle(modelNumbers(), request.picture.view(), *request.face.set()).feature;
  for (const int count : {40, 1, 25, 2, 7}) {
    omp_set_num_threads(count);
    EXPECT_TRUE(sameFeature(wanted, extracted(engine.get(), request))) << count << " threads";
    EXPECT_EQ(count, omp_get_max_threads());
  }
  omp_set_num_threads(threads);
  // A host that calls from its own parallel region gets one thread and the same bits.
  std::vector<float> nested;
#pragma omp parallel num_threads(2)
#pragma omp single
  nested = extracted(engine.get(), request);
  EXPECT_TRUE(sameFeature(wanted, nested));
}

TEST(ExtractFeature, EnginesOfSeveralHostThreadsRunConcurrently) {
  haveModel();
  SeededRandom random;
  constexpr size_t kHosts = 3;
  std::vector<Request> requests;
  std::vector<std::vector<float>> wanted;
  const OwnEngine engines[kHosts];
  for (size_t host = 0; host < kHosts; ++host) {
    requests.push_back(randomRequest(random));
    wanted.push_back(extracted(engines[host].get(), requests[host]));
  }
  std::vector<std::vector<float>> got(kHosts * 3);
  std::vector<std::thread> hosts;
  for (size_t host = 0; host < kHosts; ++host) {
    hosts.emplace_back([&, host] {
      for (size_t round = 0; round < 3; ++round) {
        got[host * 3 + round] = extracted(engines[host].get(), requests[host]);
      }
    });
  }
  for (std::thread& host : hosts) host.join();
  for (size_t i = 0; i < got.size(); ++i) EXPECT_TRUE(sameFeature(wanted[i / 3], got[i]));
}

TEST(ExtractFeature, TheLastDestructionEndsTheWorkerThreads) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  const int threads = omp_get_max_threads();
  for (int round = 0; round < 2; ++round) {
    OwnEngine engine;
    OwnEngine other;
    omp_set_num_threads(6);
    extracted(engine.get(), request);
    EXPECT_GE(taskCount(), kTasksAtStart + 5);
    engine.destroy();
    other.destroy();
    EXPECT_EQ(kTasksAtStart, taskCountOnceItFallsTo(kTasksAtStart));
    omp_set_num_threads(threads);
  }
}

TEST(ExtractFeature, RowLengthsDoNotMatterAndABottomUpPictureIsWalked) {
  haveModel();
  SeededRandom random;
  const OwnEngine engine;
  const Picture dense = randomPicture(random, 131, 97, 3 * 131);
  FaceRecord face = faceOfKind(random, FaceKind::kNoisy, 131, 97);
  const std::vector<float> wanted = extracted(engine.get(), dense, face);
  for (const int32_t stride : {3 * 131 + 1, 3 * 131 + 3000, -3 * 131, -3 * 131 - 5}) {
    Picture picture = randomPicture(random, 131, 97, stride);
    for (int32_t y = 0; y < 97; ++y) {
      std::memcpy(&picture.at(0, y, 0), dense.pixels() + std::ptrdiff_t{y} * dense.stride, 3 * 131);
    }
    EXPECT_TRUE(sameFeature(wanted, extracted(engine.get(), picture, face))) << "stride " << stride;
  }
}

TEST(ExtractFeature, RowsMayBeFartherApartThan31BitsCount) {
  // Reserves address space only: just the pages of the three rows are ever touched.
  constexpr int32_t kStride = 1 << 30;
  const PageMemory space(2 * static_cast<size_t>(kStride) + PageMemory::pageSize());
  for (const size_t row : {0, 1, 2}) space.open(row * kStride, PageMemory::pageSize());
  haveModel();
  SeededRandom random;
  const OwnEngine engine;
  const Picture dense = randomPicture(random, 4, 3, 12);
  FaceRecord face = faceOfKind(random, FaceKind::kUpright, 4, 3);
  const std::vector<float> wanted = extracted(engine.get(), dense, face);
  uint8_t* const bytes = space.start();
  for (const int32_t stride : {kStride, -kStride}) {
    uint8_t* top = stride > 0 ? bytes : bytes + 2 * static_cast<std::ptrdiff_t>(kStride);
    for (std::ptrdiff_t y = 0; y < 3; ++y)
      std::memcpy(top + y * stride, &dense.storage[static_cast<size_t>(y) * 12], 12);
    std::vector<float> got(kFeatureFloats, kUnwritten);
    facefeature::ExtractFeature(engine.get(), top, 4, 3, stride, face.set(), got.data());
    EXPECT_TRUE(sameFeature(wanted, got)) << "stride " << stride;
  }
}

TEST(ExtractFeature, TheReservedWordOfTheRecordIsNotRead) {
  haveModel();
  SeededRandom random;
  const OwnEngine engine;
  Request request = randomRequest(random);
  const std::vector<float> wanted = extracted(engine.get(), request);
  LandmarkSet* set = const_cast<LandmarkSet*>(request.face.set());
  set->reserved = 0;
  std::vector<float> got(kFeatureFloats, kUnwritten);
  facefeature::ExtractFeature(engine.get(), request.picture.pixels(), request.picture.width,
                              request.picture.height, request.picture.stride, set, got.data());
  EXPECT_TRUE(sameFeature(wanted, got));
}

TEST(ExtractFeature, TheModelFolderMayBeDeletedOnceTheEngineExists) {
  haveModel();
  SeededRandom random;
  const OwnEngine engine;
  Request request = randomRequest(random);
  const std::vector<float> wanted = extracted(engine.get(), request);
  const OwnEngine unused;
  const std::string aside = modelFolder() + "-aside";
  std::filesystem::rename(modelFolder(), aside);
  const std::vector<float> got = extracted(unused.get(), request);
  std::filesystem::rename(aside, modelFolder());
  EXPECT_TRUE(sameFeature(wanted, got));
}

// A file with a matrix of zeros, in the shape of the original file.
std::string zerosFor(const std::string& name) {
  const ModelFile& file = modelFile(name);
  std::string bytes;
  appendNumber(bytes, file.rows);
  appendNumber(bytes, file.cols);
  bytes.append(static_cast<size_t>(file.rows) * static_cast<size_t>(file.cols) * 4, '\0');
  return bytes;
}

TEST(ExtractFeature, ANetThatOutputsZerosMakesTheWholeFeatureNotANumber) {
  haveModel();
  SeededRandom random;
  const SpoiltFile first("5-7-1", zerosFor("5-7-1"));
  const SpoiltFile second("5-7-2", zerosFor("5-7-2"));
  const SpoiltFile biases("5-7-3", zerosFor("5-7-3"));
  const OwnEngine engine;
  Request request = randomRequest(random);
  for (const float value : extracted(engine.get(), request)) ASSERT_TRUE(std::isnan(value));
}

TEST(ExtractFeature, ALayerWithoutItsBiasesFileAddsNone) {
  haveModel();
  SeededRandom random;
  reference::ModelNumbers numbers = modelNumbers();
  numbers.nets[0].banks[0].biases = {};
  numbers.nets[11].banks[3].biases = {};
  numbers.nets[24].flatBiases = {};
  Request request = randomRequest(random);
  const reference::Extraction wanted =
      extractedByOracle(numbers, request.picture.view(), *request.face.set());

  const SpoiltFile ofConvolution("1-1-2");
  const SpoiltFile ofLast("4-12-2");
  const SpoiltFile ofFlat("5-25-3");
  ::testing::internal::CaptureStdout();
  const OwnEngine engine;
  EXPECT_NE("", ::testing::internal::GetCapturedStdout());
  EXPECT_TRUE(sameFeature(wanted.feature, extracted(engine.get(), request)));
}

TEST(ExtractFeatureDeathTest, ALayerWithoutItsWeightsFileTerminatesTheProcess) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  for (const char* name : {"5-3-1", "2-25-1"}) {
    const SpoiltFile missing(name);
    const auto extract = [&] {
      const OwnEngine engine;
      if (engine.get() != nullptr) extracted(engine.get(), request);
    };
    EXPECT_DEATH(extract(), "") << name;
  }
}

}  // namespace
}  // namespace facefeature_test
