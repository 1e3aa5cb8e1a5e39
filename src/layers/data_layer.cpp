#include "layers/data_layer.h"

#include "config/net_documents.h"

namespace facefeature {

DataLayer::DataLayer(ConvNet* net, const char* layerName) : Layer(net, layerName), dataIdx(0) {
  currentSection(name).getInt("dataIdx", dataIdx);
}

void DataLayer::applyInput(int32_t /*inputIndex*/, float /*scale*/) {}

void DataLayer::runForward(std::vector<Matrix*>& inputs) {
  activations = inputs.at(static_cast<size_t>(dataIdx));
  for (Layer* output : outputLayers) output->notifyInputReady();
}

void DataLayer::notifyInputReady() { throw std::string("No data given!"); }

}  // namespace facefeature
