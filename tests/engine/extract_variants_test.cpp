// Compares whole extractions with every kernel set and every plan with the plain ones: the bits of
// the feature, and the engine's faces afterwards.
#include <gtest/gtest.h>
#include <omp.h>

#include <memory>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/sample_faces.h"
#include "support/sample_pictures.h"
#include "support/scoped_kernels.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

using facefeature::KernelSet;
using facefeature::PatchPlan;

// Sets the number of threads of the loop over the nets during its lifetime.
class ScopedThreads {
 public:
  explicit ScopedThreads(int count) : before_(omp_get_max_threads()) { omp_set_num_threads(count); }
  ~ScopedThreads() { omp_set_num_threads(before_); }
  ScopedThreads(const ScopedThreads&) = delete;
  ScopedThreads& operator=(const ScopedThreads&) = delete;

 private:
  int before_;
};

struct Outcome {
  std::vector<float> feature;
  std::vector<uint8_t> faces;
};

class ExtractVariants : public ::testing::Test {
 protected:
  void SetUp() override {
    haveModel();
    engine = std::make_unique<OwnEngine>();
    ASSERT_NE(nullptr, engine->get());
  }

  Outcome outcomeOf(const KernelSet& set, PatchPlan plan, int threads, const Picture& picture,
                    FaceRecord& face) {
    const ScopedKernels active(set);
    const ScopedThreads team(threads);
    Outcome outcome;
    const FeatureEngine& record = *engine->get();
    outcome.feature = extracted(engine->get(), picture, face, plan);
    outcome.faces.assign(record.grayFace, record.grayFace + sizeof record.grayFace);
    outcome.faces.insert(outcome.faces.end(), record.colorFace,
                         record.colorFace + sizeof record.colorFace);
    return outcome;
  }

  void expectVariants(const Picture& picture, FaceRecord& face) {
    const Outcome wanted =
        outcomeOf(facefeature::plainKernels(), PatchPlan::kPatchByPatch, 1, picture, face);
    ASSERT_NE(kUnwritten, wanted.feature[501]);
    for (const KernelSet* set : runnableKernelSets()) {
      for (const int threads : {1, 2}) {
        // The plain kernels run with the plain plan on two threads, all others with the library's
        // plan.
        const bool isPlain = set == &facefeature::plainKernels();
        if (isPlain && threads == 1) continue;
        const PatchPlan plan = isPlain ? PatchPlan::kPatchByPatch : PatchPlan::kSharedFrames;
        const Outcome got = outcomeOf(*set, plan, threads, picture, face);
        EXPECT_TRUE(sameFloats(wanted.feature.data(), got.feature.data(), kFeatureFloats))
            << set->name << ", threads: " << threads;
        EXPECT_TRUE(wanted.faces == got.faces) << set->name << ", threads: " << threads;
      }
    }
  }

  // One engine for all faces of a test, so that its state is carried from face to face.
  std::unique_ptr<OwnEngine> engine;
  SeededRandom random;
};

TEST_F(ExtractVariants, GiveTheSameFeatureForFacesOfAllKinds) {
  for (int32_t round = 0; round < kFaceKinds && !HasFailure(); ++round) {
    const FaceKind kind = static_cast<FaceKind>(round);
    SCOPED_TRACE(nameOf(kind));
    Request request = randomRequest(random, kind);
    expectVariants(request.picture, request.face);
  }
}

TEST_F(ExtractVariants, GiveTheSameFeatureForSmallAndLargePictures) {
  const int32_t sides[][2] = {{2, 2}, {2, 300}, {300, 3}, {640, 480}};
  for (const auto& side : sides) {
    SCOPED_TRACE(::testing::Message() << side[0] << " x " << side[1]);
    const Picture picture = randomPicture(random, side[0], side[1]);
    FaceRecord face = faceOfKind(random, FaceKind::kNoisy, side[0], side[1]);
    expectVariants(picture, face);
  }
}

TEST_F(ExtractVariants, GiveTheSameFeatureForPhotographs) {
  if (samplesFolder().empty()) GTEST_SKIP() << "there is no folder of samples";
  if (!kReadsPhotographs) GTEST_SKIP() << "this build has no reader of photographs";
  for (SampleFace& sample : sampleFaces(samplesFolder())) {
    SCOPED_TRACE(sample.name);
    expectVariants(samplePicture(samplesFolder() + "/" + sample.imageFile), sample.face);
  }
}

}  // namespace
}  // namespace facefeature_test
