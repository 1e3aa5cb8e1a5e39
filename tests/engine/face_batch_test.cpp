// The functions of the batch library: the bits of ExtractFeature for any number of faces, and a
// status for everything that can go wrong.
#include "engine/face_batch.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "engine/loaded_model.h"
#include "support/bits.h"
#include "support/scoped_kernels.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace facefeature_test {
namespace {

using facefeature::KernelSet;

struct Destroy {
  void operator()(FaceBatch* batch) const { DestroyFaceBatch(batch); }
};
using OwnBatch = std::unique_ptr<FaceBatch, Destroy>;

OwnBatch newBatch() {
  haveModel();
  FaceBatch* batch = nullptr;
  EXPECT_EQ(kFaceBatchDone, CreateFaceBatch(&batch));
  return OwnBatch(batch);
}

int32_t put(FaceBatch* batch, int32_t index, Request& request) {
  const Picture& picture = request.picture;
  return PutFaceInBatch(batch, index, picture.pixels(), picture.width, picture.height,
                        picture.stride, request.face.set());
}

std::vector<FeatureVector> unwritten(size_t count) {
  FeatureVector feature;
  for (float& value : feature.values) value = kUnwritten;
  return std::vector<FeatureVector>(count, feature);
}

bool isNaN(const FeatureVector& feature) {
  for (const float value : feature.values) {
    if (!std::isnan(value)) return false;
  }
  return true;
}

class BatchOfFaces : public ::testing::Test {
 protected:
  void SetUp() override { batch = newBatch(); }

  // Requests of every kind, hostile ones too, and the feature that each has alone.
  void addFaces(int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
      requests.push_back(randomRequest(random, static_cast<FaceKind>(i % kFaceKinds)));
      wanted.push_back(extracted(batch->engine, requests.back()));
    }
  }

  // Puts requests first, first + 1, ... into the batch, extracts them and compares. What follows
  // the last feature stays as it was.
  void expectTheBitsOfEachAlone(int32_t count, size_t first = 0) {
    std::vector<FeatureVector> features = unwritten(kFaceBatchFaces + 1);
    const auto request = [&](int32_t i) {
      return (first + static_cast<size_t>(i)) % wanted.size();
    };
    for (int32_t i = 0; i < count; ++i) {
      ASSERT_EQ(kFaceBatchDone, put(batch.get(), i, requests[request(i)])) << i;
    }
    ASSERT_EQ(kFaceBatchDone, ExtractFaceBatch(batch.get(), count, features.data()));
    for (int32_t i = 0; i < count; ++i) {
      ASSERT_TRUE(sameFloats(wanted[request(i)].data(), features[static_cast<size_t>(i)].values,
                             kFeatureFloats))
          << "face " << i << " of " << count;
    }
    for (size_t i = static_cast<size_t>(count); i < features.size(); ++i) {
      ASSERT_EQ(kUnwritten, features[i].values[0]) << "face " << i << " of " << count;
    }
  }

  SeededRandom random;
  OwnBatch batch;
  std::vector<Request> requests;
  std::vector<std::vector<float>> wanted;
};

TEST_F(BatchOfFaces, HasTheBitsOfEachFaceAloneForEveryCount) {
  addFaces(2 * kFaceKinds);
  for (int32_t count = 1; count <= kFaceBatchFaces; ++count) {
    expectTheBitsOfEachAlone(count, static_cast<size_t>(random.integer(0, 2 * kFaceKinds - 1)));
    if (HasFatalFailure()) return;
  }
  // Fewer again, in rows and activations that held others.
  for (const int32_t count : {1, 5, 2}) expectTheBitsOfEachAlone(count, 3);
}

TEST_F(BatchOfFaces, HasTheSameBitsWithEveryKernelSet) {
  addFaces(3);
  for (const KernelSet* set : runnableKernelSets()) {
    const ScopedKernels scope(*set);
    SCOPED_TRACE(set->name);
    expectTheBitsOfEachAlone(3);
  }
}

TEST_F(BatchOfFaces, KeepsNothingOfThePhotographOrTheLandmarks) {
  addFaces(2);
  std::vector<FeatureVector> features = unwritten(2);
  for (int32_t i = 0; i < 2; ++i) {
    Request own = requests[static_cast<size_t>(i)];
    ASSERT_EQ(kFaceBatchDone, put(batch.get(), i, own));
    own.picture.storage.assign(own.picture.storage.size(), 0x55);
    for (Landmark& entry : own.face.entries) entry = {};
    own.face.set();
  }
  ASSERT_EQ(kFaceBatchDone, ExtractFaceBatch(batch.get(), 2, features.data()));
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_TRUE(sameFloats(wanted[i].data(), features[i].values, kFeatureFloats));
  }
}

TEST_F(BatchOfFaces, TakesTheLastFaceOfANumberInAnyOrder) {
  addFaces(4);
  std::vector<FeatureVector> features = unwritten(3);
  for (const auto& [index, request] : {std::pair<int32_t, size_t>{2, 0}, {0, 1}, {2, 2}, {1, 3}}) {
    ASSERT_EQ(kFaceBatchDone, put(batch.get(), index, requests[request]));
  }
  ASSERT_EQ(kFaceBatchDone, ExtractFaceBatch(batch.get(), 3, features.data()));
  const size_t request[] = {1, 3, 2};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(sameFloats(wanted[request[i]].data(), features[i].values, kFeatureFloats)) << i;
  }
}

TEST_F(BatchOfFaces, RejectsWhatExtractFeatureAnswersWithNaNs) {
  addFaces(1);
  Request& good = requests[0];
  const Picture& picture = good.picture;
  const LandmarkSet* face = good.face.set();
  FaceRecord shorter(good.face.entries);
  shorter.entries.erase(shorter.entries.begin());  // id 0, one of the 25
  FaceRecord unknownId(good.face.entries);
  unknownId.entries[0].id = 318;
  struct Call {
    const uint8_t* pixels;
    int32_t width, height;
    const LandmarkSet* landmarks;
  };
  for (const Call& call :
       {Call{nullptr, picture.width, picture.height, face},
        Call{picture.pixels(), 1, picture.height, face},
        Call{picture.pixels(), picture.width, INT_MIN, face},
        Call{picture.pixels(), picture.width, picture.height, nullptr},
        Call{picture.pixels(), picture.width, picture.height, shorter.set()},
        Call{picture.pixels(), picture.width, picture.height, unknownId.set()}}) {
    std::vector<FeatureVector> features = unwritten(1);
    facefeature::ExtractFeature(batch->engine, call.pixels, call.width, call.height, picture.stride,
                                call.landmarks, features[0].values);
    ASSERT_TRUE(isNaN(features[0]));
    // A face that was there before does not take its place.
    ASSERT_EQ(kFaceBatchDone, put(batch.get(), 0, good));
    EXPECT_EQ(kFaceBatchBadFace, PutFaceInBatch(batch.get(), 0, call.pixels, call.width,
                                                call.height, picture.stride, call.landmarks));
    features = unwritten(1);
    EXPECT_EQ(kFaceBatchBadArgument, ExtractFaceBatch(batch.get(), 1, features.data()));
    EXPECT_EQ(kUnwritten, features[0].values[0]);
  }
  expectTheBitsOfEachAlone(1);
}

TEST_F(BatchOfFaces, BadArgumentsChangeNothing) {
  addFaces(2);
  std::vector<FeatureVector> features = unwritten(kFaceBatchFaces + 1);
  for (int32_t i = 0; i < 2; ++i) {
    ASSERT_EQ(kFaceBatchDone, put(batch.get(), i, requests[static_cast<size_t>(i)]));
  }
  for (const int32_t index : {-1, static_cast<int32_t>(kFaceBatchFaces), INT_MIN, INT_MAX}) {
    EXPECT_EQ(kFaceBatchBadArgument, put(batch.get(), index, requests[0])) << index;
  }
  EXPECT_EQ(kFaceBatchBadArgument, put(nullptr, 0, requests[0]));
  for (const int32_t count : {0, -1, 3, kFaceBatchFaces + 1, INT_MIN, INT_MAX}) {
    EXPECT_EQ(kFaceBatchBadArgument, ExtractFaceBatch(batch.get(), count, features.data()))
        << count;
  }
  EXPECT_EQ(kFaceBatchBadArgument, ExtractFaceBatch(batch.get(), 2, nullptr));
  EXPECT_EQ(kFaceBatchBadArgument, ExtractFaceBatch(nullptr, 2, features.data()));
  for (const FeatureVector& feature : features) ASSERT_EQ(kUnwritten, feature.values[0]);

  ASSERT_EQ(kFaceBatchDone, ExtractFaceBatch(batch.get(), 2, features.data()));
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_TRUE(sameFloats(wanted[i].data(), features[i].values, kFeatureFloats)) << i;
  }
  EXPECT_EQ(kFaceBatchBadArgument, ExtractFaceBatch(batch.get(), 1, features.data()))
      << "a face was extracted twice";
  EXPECT_EQ(kFaceBatchBadArgument, CreateFaceBatch(nullptr));
  DestroyFaceBatch(nullptr);
}

TEST_F(BatchOfFaces, WithoutAProjectionIsNoModelAndEmptyAfterwards) {
  addFaces(2);
  ASSERT_EQ(kFaceBatchDone, put(batch.get(), 0, requests[0]));
  {
    const SpoiltFile missing("6-2");
    FaceBatch* none = batch.get();
    EXPECT_EQ(kFaceBatchNoModel, CreateFaceBatch(&none));
    EXPECT_EQ(nullptr, none);
  }
  std::vector<FeatureVector> features = unwritten(2);
  EXPECT_EQ(kFaceBatchNoModel, put(batch.get(), 1, requests[1]));
  EXPECT_EQ(kFaceBatchNoModel, ExtractFaceBatch(batch.get(), 1, features.data()));
  EXPECT_TRUE(isNaN(features[0]));
  EXPECT_EQ(kUnwritten, features[1].values[0]);

  // A later creation brings the projection back.
  const OwnBatch later = newBatch();
  EXPECT_EQ(kFaceBatchBadArgument, ExtractFaceBatch(batch.get(), 1, features.data()));
  expectTheBitsOfEachAlone(2);
}

TEST(FaceBatchModel, FileThatIsMissingIsNoModel) {
  haveModel();
  for (const char* name : {"0-1-0", "0-25-0", "6-0", "6-1"}) {
    const SpoiltFile missing(name);
    FaceBatch* batch = nullptr;
    EXPECT_EQ(kFaceBatchNoModel, CreateFaceBatch(&batch)) << name;
    EXPECT_EQ(nullptr, batch) << name;
    expectNoModel();
  }
}

TEST(FaceBatchModel, HeaderThatAsksForTooMuchIsNoMemory) {
#if defined(__SANITIZE_ADDRESS__)
  // An engine that is only partly built when memory runs out is leaked.
  const __lsan::ScopedDisabler lostEngine;
#endif
  haveModel();
  const int32_t header[] = {50000, 50000};
  const SpoiltFile enormous("1-1-1",
                            std::string(reinterpret_cast<const char*>(header), sizeof header));
  FaceBatch* batch = nullptr;
  EXPECT_EQ(kFaceBatchNoMemory, CreateFaceBatch(&batch));
  EXPECT_EQ(nullptr, batch);
}

// ExtractFeature ends the process here.
TEST(FaceBatchModel, MissingWeightsAreAStatusForAnyNumberOfFaces) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  const SpoiltFile missing("5-25-1");
  ::testing::internal::CaptureStdout();
  const OwnBatch batch = newBatch();
  EXPECT_NE(std::string::npos, ::testing::internal::GetCapturedStdout().find("5-25-1 failed\n"));
  for (const int32_t count : {1, 3, 1}) {
    std::vector<FeatureVector> features = unwritten(4);
    for (int32_t i = 0; i < count; ++i) ASSERT_EQ(kFaceBatchDone, put(batch.get(), i, request));
    EXPECT_EQ(kFaceBatchFailed, ExtractFaceBatch(batch.get(), count, features.data()));
    for (int32_t i = 0; i < 4; ++i) {
      const FeatureVector& feature = features[static_cast<size_t>(i)];
      EXPECT_TRUE(i < count ? isNaN(feature) : feature.values[0] == kUnwritten) << i;
    }
  }
}

TEST(FaceBatchModel, IsFreedWithTheLastBatch) {
  OwnBatch first = newBatch(), second = newBatch();
  first.reset();
  expectModelIsLoaded();
  second.reset();
  expectNoModel();
}

TEST(FaceBatchInterface, HasTheVersionOfItsHeader) {
  EXPECT_EQ(1, FaceBatchVersion());
  EXPECT_EQ(1, kFaceBatchVersion);
  EXPECT_EQ(16, kFaceBatchFaces);
  const int statuses[] = {kFaceBatchDone,    kFaceBatchBadArgument, kFaceBatchBadFace,
                          kFaceBatchNoModel, kFaceBatchNoMemory,    kFaceBatchFailed};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(i, statuses[i]);
}

}  // namespace
}  // namespace facefeature_test
