// NeuronLayer, an activation function as a node of the net.
#ifndef FACEFEATURE_LAYERS_NEURON_LAYER_H
#define FACEFEATURE_LAYERS_NEURON_LAYER_H

#include "layers/neuron.h"
#include "net/layer.h"

namespace facefeature {

// Rewrites its first input in place. It needs no matrix of its own: texts give it actsTarget=0, so
// that its output is its input's matrix.
class NeuronLayer : public Layer {
 public:
  // Throws a text for an unknown keyword.
  NeuronLayer(ConvNet* owner, const char* name);
  ~NeuronLayer() override;

  void applyInput(int32_t inputIndex, float scale) override;  // ignores both arguments

  Neuron* neuron;  // owned, freed as plain storage
};

}  // namespace facefeature

#endif
