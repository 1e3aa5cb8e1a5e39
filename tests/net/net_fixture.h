// Nets from made-up texts, and layers that log the calls they receive.
#ifndef FACEFEATURE_TESTS_NET_NET_FIXTURE_H
#define FACEFEATURE_TESTS_NET_NET_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kernels/matrix.h"
#include "net/conv_net.h"
#include "net/layer.h"
#include "support/bits.h"
#include "support/model_folder.h"

namespace facefeature_test {

using Values = std::vector<float>;

// A layer's name and the lines of its section.
using LayerText = std::pair<std::string, std::string>;

// The text of a net with these layers, in this order.
inline std::string netText(const std::vector<LayerText>& layers) {
  std::string names;
  std::string sections;
  for (const LayerText& layer : layers) {
    names += (names.empty() ? "" : "_") + layer.first;
    sections += "[" + layer.first + "]\n" + layer.second + "\n";
  }
  return "[Net]\nLayerCount=" + std::to_string(layers.size()) + "\nLayerNames=" + names + "\n" +
         sections;
}

inline LayerText dataLayerText(const std::string& name = "data", int32_t dataIdx = 0) {
  return {name, "type=data\nactsTarget=0\ndataIdx=" + std::to_string(dataIdx)};
}

inline std::unique_ptr<facefeature::Matrix> matrixOf(int32_t rows, int32_t cols,
                                                     const Values& values) {
  auto matrix = std::make_unique<facefeature::Matrix>(rows, cols);
  for (size_t i = 0; i < values.size(); ++i) matrix->buffer[i] = values[i];
  return matrix;
}

// In storage order.
inline Values valuesOf(const facefeature::Matrix& matrix) {
  return matrix.buffer == nullptr ? Values() : Values(matrix.buffer, matrix.buffer + matrix.size);
}

inline ::testing::AssertionResult holds(const facefeature::Matrix& matrix, int32_t rows,
                                        int32_t cols, const Values& values) {
  if (matrix.rows != rows || matrix.cols != cols || matrix.size != rows * cols) {
    return ::testing::AssertionFailure()
           << "the matrix is " << matrix.rows << " x " << matrix.cols << " with size "
           << matrix.size << ", wanted " << rows << " x " << cols;
  }
  if (values.size() != static_cast<size_t>(matrix.size)) {
    return ::testing::AssertionFailure() << "the test gave " << values.size() << " values";
  }
  return sameFloats(values.data(), matrix.buffer, values.size());
}

// The layer called name, or null.
inline facefeature::Layer* layerNamed(const facefeature::ConvNet& net, const std::string& name) {
  for (facefeature::Layer* layer : net.layers) {
    if (layer->name == name) return layer;
  }
  return nullptr;
}

inline std::vector<std::string> namesOf(const std::vector<facefeature::Layer*>& layers) {
  std::vector<std::string> names;
  for (const facefeature::Layer* layer : layers) names.push_back(layer->name);
  return names;
}

// The text object that the call throws.
template <typename Call>
std::string thrownText(const Call& call) {
  try {
    call();
  } catch (const std::string& text) {
    return text;
  }
  return "(no text was thrown)";
}

template <typename Call>
std::string standardOutputOf(const Call& call) {
  ::testing::internal::CaptureStdout();
  call();
  return ::testing::internal::GetCapturedStdout();
}

using Log = std::vector<std::string>;

// Logs each operation that the protocol calls on it, and returns a matrix of its own.
class LoggingLayer : public facefeature::Layer {
 public:
  LoggingLayer(facefeature::ConvNet* net, const char* layerName, Log& log)
      : Layer(net, layerName), log_(log) {}
  ~LoggingLayer() override { log_.push_back(name + " dies"); }

  void applyInput(int32_t inputIndex, float scale) override {
    const std::string scaleText = scale == 0.0f ? "0" : scale == 1.0f ? "1" : "odd";
    log_.push_back(name + " applies " + std::to_string(inputIndex) + " by " + scaleText);
  }
  facefeature::Matrix* getActivations() override {
    log_.push_back(name + " is read");
    return Layer::getActivations();
  }

 private:
  Log& log_;
};

// A listener at the outputs of another layer. Logs each notification of that layer.
class Listener : public facefeature::Layer {
 public:
  Listener(facefeature::ConvNet* net, std::string entry, Log& log)
      : Layer(net, "listener"), entry_(std::move(entry)), log_(log) {}
  void applyInput(int32_t, float) override {}
  void notifyInputReady() override { log_.push_back(entry_); }

 private:
  std::string entry_;
  Log& log_;
};

// Logs the name of each layer of the net after it has run, before its outputs run.
class RunWatch {
 public:
  explicit RunWatch(facefeature::ConvNet& net) {
    for (facefeature::Layer* layer : net.layers) {
      listeners_.push_back(std::make_unique<Listener>(&net, layer->name, log));
      layer->outputLayers.insert(layer->outputLayers.begin(), listeners_.back().get());
    }
  }
  Log log;

 private:
  std::vector<std::unique_ptr<Listener>> listeners_;
};

}  // namespace facefeature_test

#endif
