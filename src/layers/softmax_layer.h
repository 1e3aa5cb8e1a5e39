// SoftmaxLayer: turns each row of the input into a distribution.
#ifndef FACEFEATURE_LAYERS_SOFTMAX_LAYER_H
#define FACEFEATURE_LAYERS_SOFTMAX_LAYER_H

#include "net/layer.h"

namespace facefeature {

// Type "softmax". Reads the first input whatever the arguments. With more than one row the result
// is exp(x - max) * (1 / sum), the reciprocal rounded. With one row only its first element is
// shifted and divided; see the .cpp.
class SoftmaxLayer : public Layer {
 public:
  SoftmaxLayer(ConvNet* owner, const char* name);
  void applyInput(int32_t inputIndex, float scale) override;
};

}  // namespace facefeature

#endif
