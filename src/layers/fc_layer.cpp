#include "layers/fc_layer.h"

#include <stdexcept>

#include "kernels/multiply.h"

namespace facefeature {
namespace {

constexpr int32_t kLineFloats = 16;  // of a line of the cache

// Reads one float of each line of the weights, in order. A call reads 22 MB of them once, mostly
// from memory, and the product asks for them in an order that a processor does not foresee.
void readAhead(const Matrix& w) {
  const volatile float* floats = w.buffer;
  for (int32_t i = 0; i < w.size; i += kLineFloats) static_cast<void>(floats[i]);
}

}  // namespace

FCLayer::FCLayer(ConvNet* net, const char* layerName) : WeightLayer(net, layerName, false) {}

void FCLayer::applyInput(int32_t inputIndex, float scale) {
  const Matrix& in = *inputMatrices.at(static_cast<size_t>(inputIndex));
  const Matrix& w = weightMatrix(inputIndex);
  Matrix& out = *getActivations();
  if (&in == &out) throw std::out_of_range("a fully connected layer that overwrites its input");
  if (in.cols > w.rows) throw std::out_of_range("an input wider than its weights");
  if (scale == 0.0f) out.resize(in.rows, w.cols);
  if (in.rows > out.rows || w.cols > out.cols) throw std::out_of_range("an output too small");
  readAhead(w);
  multiply(in, w, in.rows, w.cols, in.cols, 1.0f, scale, out.buffer, out.cols);
  // Between the first product and the second: another place would round differently.
  if (scale == 0.0f) addBiases(*biases->matrix, out.size, out);
}

}  // namespace facefeature
