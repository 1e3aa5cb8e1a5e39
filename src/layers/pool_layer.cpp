#include "layers/pool_layer.h"

#include "config/net_documents.h"
#include "kernels/pooling.h"

namespace facefeature {

PoolLayer::PoolLayer(ConvNet* net, const char* layerName)
    : Layer(net, layerName), channels(0), sizeX(0), start(0), stride(0), outputsX(0) {
  const ConfigSection& section = currentSection(name);
  section.getInt("channels", channels);
  section.getInt("sizeX", sizeX);
  section.getInt("start", start);
  section.getInt("stride", stride);
  section.getInt("outputsX", outputsX);
  section.getString("pool", pool);
}

PoolLayer::~PoolLayer() = default;

AvgPoolLayer::AvgPoolLayer(ConvNet* net, const char* layerName) : PoolLayer(net, layerName) {}

void AvgPoolLayer::applyInput(int32_t /*inputIndex*/, float /*scale*/) {
  avgPoolForward(*inputMatrices.at(0), *getActivations(), channels, sizeX, start, stride, outputsX);
}

MaxPoolLayer::MaxPoolLayer(ConvNet* net, const char* layerName) : PoolLayer(net, layerName) {}

void MaxPoolLayer::applyInput(int32_t /*inputIndex*/, float /*scale*/) {
  maxPoolForward(*inputMatrices.at(0), *getActivations(), channels, sizeX, start, stride, outputsX);
}

Layer* createPoolLayer(ConvNet* owner, const std::string& sectionName) {
  std::string kind;
  currentSection(sectionName).getString("pool", kind);
  if (kind == "max") return new MaxPoolLayer(owner, sectionName.c_str());
  if (kind == "avg") return new AvgPoolLayer(owner, sectionName.c_str());
  throw std::string("Unknown pooling layer type " + kind);
}

}  // namespace facefeature
