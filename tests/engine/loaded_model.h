// The contents of the module's buffers.
#ifndef FACEFEATURE_TESTS_ENGINE_LOADED_MODEL_H
#define FACEFEATURE_TESTS_ENGINE_LOADED_MODEL_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/model_state.h"
#include "support/bits.h"
#include "support/test_engine.h"

namespace facefeature_test {

inline void expectBuffer(const float* buffer, const std::string& name) {
  ASSERT_NE(nullptr, buffer) << name;
  const std::vector<float> wanted = syntheticNumbers(modelFile(name), kModelSeed);
  EXPECT_TRUE(sameFloats(wanted.data(), buffer, wanted.size())) << name;
}

inline void expectModelIsLoaded() {
  expectBuffer(facefeature::featureMean, "6-0");
  expectBuffer(facefeature::selfProjection, "6-1");
  expectBuffer(facefeature::crossProjection, "6-2");
}

inline void expectNoModel() {
  EXPECT_EQ(nullptr, facefeature::featureMean);
  EXPECT_EQ(nullptr, facefeature::selfProjection);
  EXPECT_EQ(nullptr, facefeature::crossProjection);
}

}  // namespace facefeature_test

#endif
