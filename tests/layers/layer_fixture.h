// Fixture for layers that are built from a text and run on the test's own matrices.
#ifndef FACEFEATURE_TESTS_LAYERS_LAYER_FIXTURE_H
#define FACEFEATURE_TESTS_LAYERS_LAYER_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/net_documents.h"
#include "kernels/checked_matrix.h"
#include "net/layer.h"
#include "support/model_folder.h"

namespace facefeature_test {

using facefeature::Layer;

// Precedes the layer under test and holds one of its inputs as activations.
class SourceLayer : public Layer {
 public:
  SourceLayer() : Layer(nullptr, "source") {}
  void applyInput(int32_t, float) override {}
};

class LayerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    clearModelFolder();
    facefeature::currentNetIndex = 0;
    useText("[source]\ntype=test\n");
  }

  void TearDown() override {
    facefeature::netDocuments[0].clear();
    clearModelFolder();
  }

  void useText(const std::string& text) {
    facefeature::currentDocument().parse(text.c_str(), static_cast<uint32_t>(text.size()));
  }

  // Adds an input for the layers that run() runs.
  Matrix& addInput(int32_t rows, int32_t cols, const std::vector<float>& values) {
    sources_.push_back(std::make_unique<SourceLayer>());
    fillMatrix(*sources_.back()->activations, rows, cols, 111, values);
    return *sources_.back()->activations;
  }

  void clearInputs() { sources_.clear(); }

  // Runs the layer forward once on all inputs added so far and returns its output.
  Matrix& run(Layer& layer) {
    layer.inputLayers.clear();
    std::vector<Matrix*> matrices;
    for (const std::unique_ptr<SourceLayer>& source : sources_) {
      layer.inputLayers.push_back(source.get());
      matrices.push_back(source->getActivations());
    }
    layer.resetForward();
    layer.runForward(matrices);
    return *layer.getActivations();
  }

 private:
  std::vector<std::unique_ptr<SourceLayer>> sources_;
};

// Whether the call throws std::out_of_range with exactly this text.
template <typename Call>
::testing::AssertionResult throwsOutOfRange(const std::string& text, const Call& call) {
  try {
    call();
  } catch (const std::out_of_range& error) {
    if (error.what() == text) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the text is \"" << error.what() << '"';
  }
  return ::testing::AssertionFailure() << "nothing was thrown";
}

// Whether the call throws a std::string with exactly this text.
template <typename Call>
::testing::AssertionResult throwsText(const std::string& text, const Call& call) {
  try {
    call();
  } catch (const std::string& thrown) {
    if (thrown == text) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "the text is \"" << thrown << '"';
  }
  return ::testing::AssertionFailure() << "nothing was thrown";
}

constexpr char kBadIndex[] = "invalid vector<T> subscript";

}  // namespace facefeature_test

#endif
