// Memory that runs out in the batch library: every failed request is a status, and the same call
// succeeds afterwards.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "exhaustion/exhausted_host.h"
#include "facefeature/batch.h"

namespace facefeature_test {
namespace {

class BatchWithoutMemory : public ExhaustedHost {
 protected:
  void SetUp() override {
    ExhaustedHost::SetUp();
    handle = dlopen(FACEFEATURE_BATCH_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, handle) << dlerror();
    bind("CreateFaceBatch", create);
    bind("PutFaceInBatch", putFace);
    bind("ExtractFaceBatch", extractBatch);
    bind("DestroyFaceBatch", destroy);
  }

  void TearDown() override {
    EXPECT_EQ(0, dlclose(handle));
    ExhaustedHost::TearDown();
  }

  int32_t put(FaceBatch* batch, int32_t index) const {
    return putFace(batch, index, request.pixels.data(), request.width, request.height,
                   request.stride, request.landmarks());
  }

  // Extracts two faces. Returns "" if both features are those of the other library.
  std::string faultOf(FaceBatch* batch) const {
    FeatureVector features[2];
    if (put(batch, 0) != kFaceBatchDone || put(batch, 1) != kFaceBatchDone) return "no patches\n";
    if (extractBatch(batch, 2, features) != kFaceBatchDone) return "no features\n";
    for (const FeatureVector& one : features) {
      if (std::memcmp(&one, &goodFeature, sizeof one) != 0) return "another feature\n";
    }
    return "";
  }

  // One attempt at each call, the n-th request of which fails, with a batch that is then used
  // again. Each returns "done" if nothing failed.
  std::string faultOfCreation(int64_t failing, FailingFor length) const {
    FaceBatch* batch = nullptr;
    int32_t status;
    {
      const FailingMemory memory(MemorySource::kNew, failing, length);
      status = create(&batch);
      if (!FailingMemory::hasFailed()) return "done";
    }
    if (status != kFaceBatchNoMemory || batch != nullptr) return "no status\n";
    return faultOfNewBatch();
  }

  std::string faultOfPatches(int64_t failing, FailingFor length) const {
    FaceBatch* batch = nullptr;
    if (create(&batch) != kFaceBatchDone) return "no batch\n";
    int32_t status;
    {
      const FailingMemory memory(MemorySource::kNew, failing, length);
      status = put(batch, 0);
      if (!FailingMemory::hasFailed()) return "done";
    }
    if (status != kFaceBatchNoMemory) return "no status\n";
    FeatureVector got;
    if (extractBatch(batch, 1, &got) != kFaceBatchBadArgument) return "a face remains\n";
    return faultOf(batch);
  }

  std::string faultOfExtraction(int64_t failing, FailingFor length) const {
    FaceBatch* batch = nullptr;
    if (create(&batch) != kFaceBatchDone || put(batch, 0) != kFaceBatchDone) return "no batch\n";
    FeatureVector got;
    int32_t status;
    {
      const FailingMemory memory(MemorySource::kNew, failing, length);
      status = extractBatch(batch, 1, &got);
      if (!FailingMemory::hasFailed()) return "done";
    }
    if (status != kFaceBatchNoMemory && status != kFaceBatchFailed) return "no status\n";
    for (const float value : got.values) {
      if (!std::isnan(value)) return "a feature was written\n";
    }
    return faultOf(batch);
  }

  // Fails some requests of an attempt, fewer and fewer, until none is left to fail. Returns how
  // many failed.
  template <class Attempt>
  int64_t expectStatuses(FailingFor length, Attempt attempt) {
    int64_t count = 0;
    for (int64_t failing = 1;; failing += 1 + failing) {
      const ChildEnd end = inChild([&] { return attempt(failing, length); });
      if (end.err == "done") return count;
      expectGoodEnd(end);
      if (HasFailure()) return count;
      ++count;
    }
  }

  decltype(&CreateFaceBatch) create = nullptr;
  decltype(&PutFaceInBatch) putFace = nullptr;
  decltype(&ExtractFaceBatch) extractBatch = nullptr;
  decltype(&DestroyFaceBatch) destroy = nullptr;

 private:
  template <class Function>
  void bind(const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(handle, name));
    ASSERT_NE(nullptr, function) << name;
  }

  std::string faultOfNewBatch() const {
    FaceBatch* batch = nullptr;
    if (create(&batch) != kFaceBatchDone) return "no batch after the failure\n";
    const std::string fault = faultOf(batch);
    destroy(batch);
    return fault;
  }

  void* handle = nullptr;
};

TEST_F(BatchWithoutMemory, CreationIsAStatus) {
  const auto attempt = [this](int64_t n, FailingFor length) { return faultOfCreation(n, length); };
  EXPECT_GT(expectStatuses(FailingFor::kOnce, attempt), 10);
  EXPECT_GT(expectStatuses(FailingFor::kGood, attempt), 10);
}

TEST_F(BatchWithoutMemory, PatchesAreAStatus) {
  const auto attempt = [this](int64_t n, FailingFor length) { return faultOfPatches(n, length); };
  EXPECT_GT(expectStatuses(FailingFor::kOnce, attempt), 0);
  EXPECT_GT(expectStatuses(FailingFor::kGood, attempt), 0);
}

TEST_F(BatchWithoutMemory, FeaturesAreAStatus) {
  const auto attempt = [this](int64_t n, FailingFor length) {
    return faultOfExtraction(n, length);
  };
  EXPECT_GT(expectStatuses(FailingFor::kOnce, attempt), 0);
  EXPECT_GT(expectStatuses(FailingFor::kGood, attempt), 0);
}

}  // namespace
}  // namespace facefeature_test
