#include "layers/eltwise_layers.h"

#include <stdexcept>

#include "config/layer_parameters.h"
#include "kernels/blas.h"

namespace facefeature {
namespace {

// Inputs should have the same shape. Only these two functions compare them, and only so far that
// nothing is read past the end of an input: the first for loops over the storage, the second for
// loops over rows and columns.
void requireStorageOf(const Matrix& wanted, const Matrix& other) {
  if (other.size < wanted.size) throw std::out_of_range("inputs of unlike shapes");
}

void requireElementsOf(const Matrix& wanted, const Matrix& other) {
  if (wanted.rows < 1 || wanted.cols < 1) return;
  const bool reaches = other.rows > 0 && other.cols > 0 &&
                       other.indexOf(wanted.rows - 1, wanted.cols - 1) < other.size;
  if (!reaches) throw std::out_of_range("inputs of unlike shapes");
}

bool isColumnMajor(const Matrix& matrix) { return matrix.order == kColumnMajor; }

// The maximum of two, where the target may be the second and then keeps its shape.
void maximum(const Matrix& first, const Matrix& second, Matrix& target) {
  requireElementsOf(first, second);
  if (&target == &second && (target.rows != first.rows || target.cols != first.cols)) {
    throw std::out_of_range("a maximum that reshapes its input");
  }
  first.maxElements(second, target);
}

}  // namespace

EltwiseSumLayer::EltwiseSumLayer(ConvNet* net, const char* layerName)
    : Layer(net, layerName), coeffs(getFloatList(name)) {}

void EltwiseSumLayer::applyInput(int32_t inputIndex, float scale) {
  const size_t i = static_cast<size_t>(inputIndex);
  if (i >= coeffs->size()) throw std::out_of_range("invalid vector<T> subscript");
  const float coefficient = (*coeffs)[i];
  const Matrix& in = *inputMatrices.at(i);
  Matrix& out = *getActivations();
  if (scale == 0.0f) {
    if (&out != &in) {
      out.resizeLike(in);
      in.copyTo(out);
    }
    cblas_sscal(in.size, coefficient, out.buffer, 1);
    return;
  }
  if (isColumnMajor(in) == isColumnMajor(out)) {
    requireStorageOf(out, in);
  } else {
    requireElementsOf(out, in);
  }
  out.addScaled(in, coefficient, out);
}

EltwiseMaxLayer::EltwiseMaxLayer(ConvNet* net, const char* layerName) : Layer(net, layerName) {}

void EltwiseMaxLayer::applyInput(int32_t inputIndex, float /*scale*/) {
  // Does nothing for input 0. The first pair is formed when input 1 arrives, with input 1 as the
  // first operand, which loses ties and NaNs.
  if (inputIndex <= 0) return;
  Matrix& out = *getActivations();
  const Matrix& in = *inputMatrices.at(static_cast<size_t>(inputIndex));
  if (inputIndex == 1) {
    maximum(in, *inputMatrices[0], out);
  } else {
    maximum(out, in, out);
  }
}

}  // namespace facefeature
