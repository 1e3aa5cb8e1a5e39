// Weighted sum and maximum of several inputs of the same shape.
#ifndef FACEFEATURE_LAYERS_ELTWISE_LAYERS_H
#define FACEFEATURE_LAYERS_ELTWISE_LAYERS_H

#include <vector>

#include "net/layer.h"

namespace facefeature {

// Type "eltsum": coeffs[0] * input 0 + coeffs[1] * input 1 + ..., summed in that order.
class EltwiseSumLayer : public Layer {
 public:
  EltwiseSumLayer(ConvNet* owner, const char* name);

  // Throws std::out_of_range with the text "invalid vector<T> subscript" if there is no coefficient
  // for the input, before anything is changed; also throws std::out_of_range for an input that is
  // smaller than the ones before it.
  void applyInput(int32_t inputIndex, float scale) override;

  std::vector<float>* coeffs;  // one per input; lives until the process ends
};

// Type "eltmax": the maximum by elementMax, first of input 1 and input 0, then of the result and
// each later input. With one input nothing is ever written.
class EltwiseMaxLayer : public Layer {
 public:
  EltwiseMaxLayer(ConvNet* owner, const char* name);

  // Throws std::out_of_range for an index beyond the inputs, and for inputs that are smaller than
  // the result or would have to reshape each other.
  void applyInput(int32_t inputIndex, float scale) override;
};

}  // namespace facefeature

#endif
