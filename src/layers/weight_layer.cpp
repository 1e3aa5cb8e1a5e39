#include "layers/weight_layer.h"

#include <memory>
#include <stdexcept>

#include "config/layer_parameters.h"
#include "layers/weight_files.h"
#include "net/conv_net.h"

namespace facefeature {
namespace {

void freeRecord(WeightRef* record) {
  if (record == nullptr) return;
  if (record->source == nullptr) delete record->matrix;
  delete record;
}

}  // namespace

WeightLayer::WeightLayer(ConvNet* net, const char* layerName, bool transposeOnLoad)
    : Layer(net, layerName), biases(nullptr) {
  const std::unique_ptr<std::vector<Matrix*>> matrices(loadWeightMatrices(name, transposeOnLoad));
  std::unique_ptr<Matrix> biasMatrix(loadBiasMatrix(name));
  const std::unique_ptr<std::vector<int32_t>> sourceLayers(
      getIntList(name, "weightSourceLayerIndices"));
  const std::unique_ptr<std::vector<int32_t>> sourceMatrices(
      getIntList(name, "weightSourceMatrixIndices"));
  for (size_t i = 0; i < sourceLayers->size(); ++i) {
    WeightRef* source = sharedRecord((*sourceLayers)[i], sourceMatrices->at(i));
    weights.push_back(new WeightRef{source->matrix, source});
  }
  if (sourceLayers->empty()) {
    for (Matrix* matrix : *matrices) weights.push_back(new WeightRef{matrix, nullptr});
  }
  biases = new WeightRef{biasMatrix.release(), nullptr};
}

WeightLayer::~WeightLayer() {
  freeRecord(biases);
  biases = nullptr;
  for (WeightRef* record : weights) freeRecord(record);
}

WeightRef* WeightLayer::sharedRecord(int32_t layerIndex, int32_t matrixIndex) const {
  const std::vector<Layer*>& layers = owner->layers;
  const size_t layer = static_cast<size_t>(layerIndex);
  const size_t matrix = static_cast<size_t>(matrixIndex);
  // This layer is not in the net's list yet, so the length of the list is its own index.
  if (layer == layers.size()) return weights.at(matrix);
  const WeightLayer* source = dynamic_cast<const WeightLayer*>(layers.at(layer));
  if (source == nullptr) throw std::out_of_range("a source layer without weights");
  return source->weights.at(matrix);
}

const Matrix& WeightLayer::weightMatrix(int32_t inputIndex) const {
  return *weights.at(static_cast<size_t>(inputIndex))->matrix;
}

}  // namespace facefeature
