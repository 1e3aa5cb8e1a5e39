#include "layers/fc_layer.h"

#include <stdexcept>

#include "kernels/multiply.h"

namespace facefeature {
FCLayer::FCLayer(ConvNet* net, const char* layerName) : WeightLayer(net, layerName, false) {}

void FCLayer::applyInput(int32_t inputIndex, float scale) {
  const Matrix& in = *inputMatrices.at(static_cast<size_t>(inputIndex));
  const Matrix& w = weightMatrix(inputIndex);
  Matrix& out = *getActivations();
  if (&in == &out) throw std::out_of_range("a fully connected layer that overwrites its input");
  if (in.cols > w.rows) throw std::out_of_range("an input wider than its weights");
  if (scale == 0.0f) out.resize(in.rows, w.cols);
  if (in.rows > out.rows || w.cols > out.cols) throw std::out_of_range("an output too small");
  multiply(in, w, in.rows, w.cols, in.cols, 1.0f, scale, out.buffer, out.cols);
  // Between the first product and the second: any other position would round differently.
  if (scale == 0.0f) addBiases(*biases->matrix, out.size, out);
}

}  // namespace facefeature
