// FCLayer, the fully connected layer.
#ifndef FACEFEATURE_LAYERS_FC_LAYER_H
#define FACEFEATURE_LAYERS_FC_LAYER_H

#include "layers/weight_layer.h"

namespace facefeature {

// output = input 0 * weights 0 + biases, then + input 1 * weights 1 and so on: the biases are added
// once and before the second product. Weights are stored as in their files, K x outputs; the output
// width is weights.cols, and the key outputs is never read. biases must be one row: a column would
// be treated as one value per sample.
class FCLayer : public WeightLayer {
 public:
  FCLayer(ConvNet* owner, const char* name);

  // Throws std::out_of_range if the input has no weights, or the shapes would leave them.
  void applyInput(int32_t inputIndex, float scale) override;
};

}  // namespace facefeature

#endif
