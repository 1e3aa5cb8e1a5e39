// DataLayer, the start of a run.
#ifndef FACEFEATURE_LAYERS_DATA_LAYER_H
#define FACEFEATURE_LAYERS_DATA_LAYER_H

#include "net/layer.h"

namespace facefeature {

// Its output is one of the matrices that the caller passes to ConvNet::forward; every net gets all
// of them and the data layer picks its own. Its text must say actsTarget=0: the value is never
// applied, but without it the layer would own a matrix, lose it at the first run, and free one of
// the caller's when it is destroyed.
class DataLayer : public Layer {
 public:
  DataLayer(ConvNet* owner, const char* name);

  void applyInput(int32_t inputIndex, float scale) override;  // does nothing

  // Takes inputs[dataIdx] and notifies the output layers. Throws std::out_of_range for an index
  // beyond inputs.
  void runForward(std::vector<Matrix*>& inputs) override;

  // Throws the text "No data given!": a data layer is never an output of another layer.
  void notifyInputReady() override;

  int32_t dataIdx;  // the key; 0 if absent
};

}  // namespace facefeature

#endif
