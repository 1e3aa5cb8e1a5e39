#include "net/conv_net.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>

#include "config/layer_parameters.h"
#include "config/net_definitions.h"
#include "config/net_documents.h"

namespace facefeature {
namespace {

constexpr std::less<const Layer*> kByAddress;

}  // namespace

ConvNet::ConvNet(int32_t netIndex) : ConvNet(netIndex, netDefinitions[netIndex]) {}

ConvNet::ConvNet(int32_t netIndex, const char* text) {
  try {
    build(netIndex, text);
  } catch (const std::string& reason) {
    // Ends the host's process on purpose: a net that can't be built is an error in the library
    // itself, and an engine without it would produce features that look valid.
    std::cout << "Error creating ConvNet: " << reason << std::endl;
    std::exit(1);
  }
}

void ConvNet::build(int32_t netIndex, const char* text) {
  currentNetIndex = static_cast<uint32_t>(netIndex);
  currentDocument().parse(text, static_cast<uint32_t>(std::strlen(text)));
  int32_t layerCount = 0;
  currentSection("Net").getInt("LayerCount", layerCount);
  const std::unique_ptr<std::vector<std::string>> names(getStringList("Net", "LayerNames"));
  // The count decides and not the length of the list; the two must agree.
  for (int32_t i = 0; i < layerCount; ++i) {
    buildLayer(*names, names->at(static_cast<size_t>(i)));
  }
  // A second pass, so that outputs are notified in ascending position in the net, whatever the
  // order in which inputs are named. This decides which of two readers of a matrix comes first.
  for (Layer* layer : layers) {
    for (Layer* input : layer->inputLayers) input->outputLayers.push_back(layer);
  }
  plan_ = newForwardPlan(*this);
}

void ConvNet::buildLayer(const std::vector<std::string>& names, const std::string& name) {
  std::string type;
  currentSection(name).getString("type", type);
  Layer* layer = createLayer(type, name);
  const std::unique_ptr<std::vector<std::string>> inputs(getStringList(name, "inputs"));
  for (const std::string& input : *inputs) {
    // Only layers that are already built can be an input: a later layer's index is past the end of
    // the list, and so is -1 (no such layer) as an unsigned number.
    const int32_t index = findLayerName(names, input);
    layer->inputLayers.push_back(layers.at(static_cast<size_t>(index)));
  }
}

void ConvNet::forward(std::vector<Matrix*>& dataMatrices) {
  if (plan_ != nullptr && plan_->run(dataMatrices)) return;
  for (Layer* layer : layers) {
    layer->resetForward();
    layer->isDeferred = false;
  }
  for (Layer* layer : dataLayers) layer->runForward(dataMatrices);
}

void ConvNet::completeForward() {
  if (plan_ != nullptr) plan_->complete();
}

// Layers are deleted once, also those in both lists, and in ascending address. The lists are sorted
// in place, since a set would allocate: an engine may be destroyed precisely because memory has run
// out, and an exception from a destructor ends the process.
ConvNet::~ConvNet() {
  std::sort(layers.begin(), layers.end(), kByAddress);
  std::sort(dataLayers.begin(), dataLayers.end(), kByAddress);
  auto layer = layers.begin();
  auto dataLayer = dataLayers.begin();
  while (layer != layers.end() || dataLayer != dataLayers.end()) {
    const bool isData =
        layer == layers.end() || (dataLayer != dataLayers.end() && kByAddress(*dataLayer, *layer));
    Layer* const next = isData ? *dataLayer : *layer;
    while (layer != layers.end() && *layer == next) ++layer;
    while (dataLayer != dataLayers.end() && *dataLayer == next) ++dataLayer;
    delete next;
  }
}

}  // namespace facefeature
