// Patch means for the length of a test.
#ifndef FACEFEATURE_TESTS_SUPPORT_SCOPED_PATCH_MEANS_H
#define FACEFEATURE_TESTS_SUPPORT_SCOPED_PATCH_MEANS_H

#include <algorithm>

#include "engine/model_state.h"
#include "support/random.h"

namespace facefeature_test {

// Fills all slots completely, and leaves zeros at the end of its lifetime, as in a new process.
class ScopedPatchMeans {
 public:
  explicit ScopedPatchMeans(float value) { std::fill_n(all(), kFloats, value); }
  explicit ScopedPatchMeans(Random& random) {
    for (int32_t i = 0; i < kFloats; ++i) all()[i] = random.between(40.0f, 200.0f);
  }
  ~ScopedPatchMeans() { std::fill_n(all(), kFloats, 0.0f); }
  ScopedPatchMeans(const ScopedPatchMeans&) = delete;
  ScopedPatchMeans& operator=(const ScopedPatchMeans&) = delete;

  static float* slot(int32_t patch) { return facefeature::patchMeans[patch]; }
  static float* all() { return facefeature::patchMeans[0]; }

 private:
  static constexpr int32_t kFloats = facefeature::kPatchCount * facefeature::kLargestSample;
};

}  // namespace facefeature_test

#endif
