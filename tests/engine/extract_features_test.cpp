// Compares several faces in one pass with each face alone, bit by bit.
#include "engine/extract_features.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "support/bits.h"
#include "support/scoped_kernels.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

using facefeature::FaceRequest;
using facefeature::KernelSet;

class ExtractFeatures : public ::testing::Test {
 protected:
  void SetUp() override {
    haveModel();
    engine = std::make_unique<OwnEngine>();
  }

  void addFaces(int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
      made.push_back(
          std::make_unique<Request>(randomRequest(random, static_cast<FaceKind>(i % kFaceKinds))));
      Request& request = *made.back();
      requests.push_back({request.picture.pixels(), request.picture.width, request.picture.height,
                          request.picture.stride, request.face.set()});
    }
  }

  std::vector<std::vector<float>> alone() {
    std::vector<std::vector<float>> features;
    for (const auto& request : made) {
      features.push_back(extracted(engine->get(), request->picture, request->face));
    }
    return features;
  }

  std::vector<std::vector<float>> together(int32_t count) {
    std::vector<std::vector<float>> features(requests.size(), std::vector<float>(502, -1.0f));
    std::vector<float*> targets;
    for (std::vector<float>& feature : features) targets.push_back(feature.data());
    facefeature::ExtractFeatures(engine->get(), requests.data(), count, targets.data());
    return features;
  }

  SeededRandom random;
  std::unique_ptr<OwnEngine> engine;
  std::vector<std::unique_ptr<Request>> made;
  std::vector<FaceRequest> requests;
};

TEST_F(ExtractFeatures, GiveEachFaceTheBitsThatItHasAloneForEveryCount) {
  addFaces(19);
  const std::vector<std::vector<float>> wanted = alone();
  for (const int32_t count : {0, 1, 2, 3, 15, 16, 17, 19}) {
    const std::vector<std::vector<float>> got = together(count);
    for (int32_t i = 0; i < 19; ++i) {
      const size_t face = static_cast<size_t>(i);
      if (i < count) {
        ASSERT_TRUE(sameFloats(wanted[face].data(), got[face].data(), 502))
            << "face " << i << " of " << count;
      } else {
        ASSERT_EQ(-1.0f, got[face][0]) << "face " << i << " of " << count << " was written";
      }
    }
  }
}

TEST_F(ExtractFeatures, GiveTheSameBitsWithEveryKernelSet) {
  addFaces(3);
  const std::vector<std::vector<float>> wanted = alone();
  for (const KernelSet* set : runnableKernelSets()) {
    const ScopedKernels scope(*set);
    const std::vector<std::vector<float>> got = together(3);
    for (size_t face = 0; face < 3; ++face) {
      ASSERT_TRUE(sameFloats(wanted[face].data(), got[face].data(), 502))
          << set->name << ", face " << face;
    }
  }
}

TEST_F(ExtractFeatures, RejectedFacesGiveNaNsAndTheOthersTheirFeatures) {
  addFaces(3);
  const std::vector<std::vector<float>> wanted = alone();
  requests[1].width = 1;
  const std::vector<std::vector<float>> got = together(3);
  for (const float value : got[1]) ASSERT_TRUE(std::isnan(value));
  EXPECT_TRUE(sameFloats(wanted[0].data(), got[0].data(), 502));
  EXPECT_TRUE(sameFloats(wanted[2].data(), got[2].data(), 502));
}

}  // namespace
}  // namespace facefeature_test
