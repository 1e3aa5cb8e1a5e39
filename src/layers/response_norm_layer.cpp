#include "layers/response_norm_layer.h"

#include "config/net_documents.h"
#include "kernels/cross_map_norm.h"

namespace facefeature {

ResponseNormLayer::ResponseNormLayer(ConvNet* net, const char* layerName)
    : Layer(net, layerName), channels(0), sizeX(0), scale(0.0f), pow(0.0f) {
  const ConfigSection& section = currentSection(name);
  section.getInt("channels", channels);
  section.getInt("sizeX", sizeX);
  section.getFloat("scale", scale);
  section.getFloat("pow", pow);
}

// Normalisation within a plane does not exist in this system: the layer only continues the run.
void ResponseNormLayer::applyInput(int32_t /*inputIndex*/, float /*scale*/) {}

CrossMapResponseNormLayer::CrossMapResponseNormLayer(ConvNet* net, const char* layerName)
    : ResponseNormLayer(net, layerName) {}

void CrossMapResponseNormLayer::applyInput(int32_t /*inputIndex*/, float /*inputScale*/) {
  crossMapNormForward(*inputMatrices.at(0), *getActivations(), channels, sizeX, scale, pow);
}

ContrastNormLayer::ContrastNormLayer(ConvNet* net, const char* layerName)
    : ResponseNormLayer(net, layerName), imgSize(0) {
  currentSection(name).getInt("imgSize", imgSize);
}

ContrastNormLayer::~ContrastNormLayer() = default;

}  // namespace facefeature
