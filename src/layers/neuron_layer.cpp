#include "layers/neuron_layer.h"

#include <new>

#include "config/net_documents.h"

namespace facefeature {

NeuronLayer::NeuronLayer(ConvNet* net, const char* layerName)
    : Layer(net, layerName), neuron(nullptr) {
  std::string keyword;
  currentSection(name).getString("neuron", keyword);
  neuron = createNeuron(name, keyword.c_str());
}

// A neuron has no virtual destructor and no members that need one: only its storage is freed.
NeuronLayer::~NeuronLayer() { ::operator delete(neuron); }

void NeuronLayer::applyInput(int32_t /*inputIndex*/, float /*scale*/) {
  neuron->run(inputMatrices.at(0));
}

}  // namespace facefeature
