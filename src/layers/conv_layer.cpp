#include "layers/conv_layer.h"

#include <initializer_list>
#include <stdexcept>

#include "config/layer_parameters.h"
#include "config/net_documents.h"
#include "kernels/convolve.h"
#include "kernels/local.h"

namespace facefeature {

LocalLayer::LocalLayer(ConvNet* net, const char* layerName)
    : WeightLayer(net, layerName, true), modulesX(0), filters(0) {
  const ConfigSection& section = currentSection(name);
  padding = getIntList(name, "padding");
  stride = getIntList(name, "stride");
  channels = getIntList(name, "channels");
  filterSize = getIntList(name, "filterSize");
  section.getInt("filters", filters);
  filterPixels = getIntList(name, "filterPixels");
  imgSize = getIntList(name, "imgSize");
  imgPixels = getIntList(name, "imgPixels");
  section.getInt("modulesX", modulesX);
  // Only stored: the kernels square it themselves, and validate the result.
  modules = static_cast<int32_t>(static_cast<uint32_t>(modulesX) * static_cast<uint32_t>(modulesX));
}

LocalLayer::~LocalLayer() {
  delete padding;
  delete stride;
  delete filterSize;
  delete channels;
  delete imgSize;
  delete imgPixels;
  delete filterPixels;
}

void LocalLayer::checkInput(int32_t inputIndex) const {
  const size_t index = static_cast<size_t>(inputIndex);
  for (const std::vector<int32_t>* list : {channels, stride, padding, imgSize}) {
    if (index >= list->size()) throw std::out_of_range("invalid vector<T> subscript");
  }
}

ConvLayer::ConvLayer(ConvNet* net, const char* layerName) : LocalLayer(net, layerName) {}

ConvLayer::~ConvLayer() = default;

void ConvLayer::applyInput(int32_t inputIndex, float scale) {
  checkInput(inputIndex);
  const size_t i = static_cast<size_t>(inputIndex);
  convolveForward(*inputMatrices.at(i), weightMatrix(inputIndex), *biases->matrix,
                  *getActivations(), (*imgSize)[i], modulesX, modulesX, (*padding)[i], (*stride)[i],
                  (*channels)[i], scale, 1.0f);
}

LocalUnsharedLayer::LocalUnsharedLayer(ConvNet* net, const char* layerName)
    : LocalLayer(net, layerName) {}

LocalUnsharedLayer::~LocalUnsharedLayer() = default;

void LocalUnsharedLayer::applyInput(int32_t inputIndex, float scale) {
  checkInput(inputIndex);
  const size_t i = static_cast<size_t>(inputIndex);
  localForward(*inputMatrices.at(i), weightMatrix(inputIndex), *biases->matrix, *getActivations(),
               (*imgSize)[i], modulesX, modulesX, (*padding)[i], (*stride)[i], (*channels)[i],
               scale);
}

}  // namespace facefeature
