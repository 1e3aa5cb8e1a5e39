#include "layers/softmax_layer.h"

#include <limits>
#include <memory>

namespace facefeature {

SoftmaxLayer::SoftmaxLayer(ConvNet* net, const char* layerName) : Layer(net, layerName) {}

void SoftmaxLayer::applyInput(int32_t /*inputIndex*/, float /*scale*/) {
  const Matrix& in = *inputMatrices.at(0);
  Matrix& out = *getActivations();
  if (in.size < 1) {
    // The code below accesses the first element of a row, and here no row has one.
    in.copyTo(out);
    return;
  }

  // With one row, maxima and sums are 1 x 1, and Matrix treats any vector of one row as a row
  // vector: only the first element is shifted and divided, and the row does not sum to 1. This is
  // intentional: the rule belongs to Matrix, and a special case here would only hide it.
  const std::unique_ptr<Matrix> maxima(new Matrix(in.rows, 1));
  in.reduce(1, *maxima, elementMax, std::numeric_limits<float>::lowest());
  in.addBroadcast(*maxima, -1.0f, out);
  out.applyFunction(MatrixFunction::Exp, out);
  const std::unique_ptr<Matrix> sums(new Matrix(out.rows, 1));
  out.reduce(1, *sums, elementAdd, 0.0f);
  out.divideBroadcast(*sums, out);
}

}  // namespace facefeature
